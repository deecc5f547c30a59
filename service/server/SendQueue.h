#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace AppConfigService {

/// What waits to be written to one client. Past half its limit it keeps only the newest of those entries that stand for
/// the same state; past its limit it takes nothing more. What an operation costs does not grow with what is queued, but
/// that each entry is dropped once. Not thread-safe.
class SendQueue {
public:
    explicit SendQueue(std::size_t limit) : m_limit(limit) {}

    /// Puts \p bytes at the end. \p replaces names the state that they stand for; empty: none, and they are always
    /// kept. \return whether there was room; if not, nothing has changed but that older entries may have made way for
    /// newer.
    bool push(std::string bytes, const std::string& replaces);

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
    struct Entry {
        std::string bytes;
        std::string replaces;
    };
    using Entries = std::list<Entry>;

    void dropOlder(const std::string& replaces, std::size_t keep);
    void eraseFirst();

    std::size_t m_limit;
    std::size_t m_bytes = 0;
    std::size_t m_taken = 0;
    Entries m_entries;
    std::unordered_map<std::string, std::deque<Entries::iterator>> m_byState;  ///< each from old to new
    std::unordered_set<std::string> m_repeated;  ///< states that may have more than one entry
};

}  // namespace AppConfigService
