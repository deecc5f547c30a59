#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "store/StateStore.h"

namespace AppConfigService {

/// The timelines of one state: whether a number that somebody remembers counts in this state or in one that was lost,
/// set back or copied. A service that starts draws a timeline of its own, which begins with the first change that it
/// stores; a start alone changes nothing. Not thread-safe.
class Timelines {
public:
    /// \p chain is what the store holds, at least one; \p own is this run's.
    void restore(std::vector<Timeline> chain, std::uint64_t own);

    /// \return the timeline that the newest stored change counts in.
    std::uint64_t newest() const { return m_chain.back().id; }

    /// \return this run's timeline, whether it has begun or not.
    std::uint64_t own() const { return m_own; }

    /// \return the timeline that begins when the counter is raised from \p changes; nothing when it has begun before.
    std::optional<Timeline> beginning(ChangeNumber changes) const;

    /// \p timeline, from beginning(), is stored.
    void begun(const Timeline& timeline);

    /// \return whether change \p number of \p timeline belongs to this state, whose counter is at \p changes.
    bool has(std::uint64_t timeline, ChangeNumber number, ChangeNumber changes) const;

private:
    std::vector<Timeline> m_chain;  ///< the oldest first
    std::uint64_t m_own = 0;
};

}  // namespace AppConfigService
