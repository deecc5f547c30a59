#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <unordered_set>

#include "core/Types.h"
#include "wire/SharedTexts.h"

namespace AppConfigService {

struct Variable;

/// What one client is due to be told and has not been sent, in the order in which it became due: each state once, and
/// each submit. The state itself is looked up when it is sent, so a slow client gets the newest one. Not thread-safe.
class Backlog {
public:
    struct Due {
        const Variable* variable = nullptr;
        Topic topic = Topic::value;
        AppConfigWire::Text callback;  ///< null: the client itself, not one of its callbacks
        int submitType = 0;            ///< of an event
        std::uint64_t event = 0;       ///< tells one event from the others; 0 for a state
    };

    explicit Backlog(std::size_t limit) : m_limit(limit) {}

    /// Adds \p due at the end unless it is already there. Beyond the limit it is dropped, and overflown() holds.
    void add(const Due& due);

    /// Takes out the first. There is one.
    Due take();

    bool empty() const { return m_order.empty(); }
    bool full() const { return m_order.size() >= m_limit; }

    /// \return whether something was dropped that has to be looked for again once there is room.
    bool overflown() const { return m_overflown; }

    void clear();

private:
    struct Hash {
        std::size_t operator()(const Due& due) const;
    };
    struct Same {
        bool operator()(const Due& a, const Due& b) const;
    };

    const std::size_t m_limit;
    bool m_overflown = false;
    std::deque<Due> m_order;
    std::unordered_set<Due, Hash, Same> m_members;  ///< the same, for looking up
};

}  // namespace AppConfigService
