#pragma once

#include <cstddef>
#include <deque>
#include <string>

namespace AppConfigService {

/// What waits to be written to one client, up to a limit. Not thread-safe.
class SendQueue {
public:
    explicit SendQueue(std::size_t limit) : m_limit(limit) {}

    /// Puts \p bytes at the end. \return whether there was room; if not, nothing has changed.
    bool push(std::string bytes);

    /// Puts \p bytes at the end whatever the limit. For what a client has asked for: one reply at a time.
    void pushUnbounded(std::string bytes);

    bool empty() const { return m_entries.empty(); }

    /// \return the first entries, joined, up to about \p most bytes and at least one entry. They still count as queued
    /// until written() is called. The queue is not empty.
    std::string take(std::size_t most);

    /// What was taken is written.
    void written() { m_taken = 0; }

    /// \return bytes that are queued or taken and not written.
    std::size_t bytes() const { return m_bytes + m_taken; }

private:
    const std::size_t m_limit;
    std::size_t m_bytes = 0;
    std::size_t m_taken = 0;
    std::deque<std::string> m_entries;
};

}  // namespace AppConfigService
