#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Simulation {

/// What a simulation checks. The names (see nameOf()) are what a failing seed is shrunk by.
enum class Check : std::uint8_t {
    acknowledged,  ///< an acknowledged write is never lost
    role,          ///< the service sends nobody what its role may not know
    deadline,      ///< no request outlives its deadline
    ownWrite,      ///< own writes are read back
    invented,      ///< a read gives what the service held at some time
    cachedValue,   ///< at quiet, every cached item equals the service's
    cachedFlag,
    cachedOptions,
    cachedIndex,
    cachedLevels,
    unread,    ///< at quiet, whatever may be read can be read, and is what the service holds
    consumer,  ///< every consumer was told the newest state of all that it registered for
    provider,  ///< every provider applied the newest value
    judged,    ///< a provider that is there is asked
    deleted,   ///< a handler that was deleted is not called
    stuck,     ///< every operation comes to its end
    crashed,
};
inline constexpr int checks = static_cast<int>(Check::crashed) + 1;
const char* nameOf(Check check);

/// The kinds of races that the simulation is there for.
enum class Race : std::uint8_t {
    overtakenAnswer,       ///< a newer announcement is dispatched while a read is under way
    oldAnnouncement,       ///< an announcement comes that is older than an own acknowledged write
    unknownRegistrations,  ///< a client comes back to a service that does not know its registrations
    providerBehind,        ///< a provider comes back that has missed a change
    handlerBeforeTransport,
    deletedInDispatch,       ///< a handler is deleted by another one that was called before it
    endedWhileRunning,       ///< a handler is removed by another thread while it runs
    newsDuringMove,          ///< a message arrives over the new primary link while that is being moved
    twoSetters,              ///< two threads hand a transport over at once
    swapped,                 ///< a link gets another transport
    newsDuringRegistration,  ///< news arrives between a registration and its entry
};
inline constexpr int races = static_cast<int>(Race::newsDuringRegistration) + 1;
const char* nameOf(Race race);

/// One thing that must not be.
struct Finding {
    Check check = Check::stuck;
    std::string sentence;
};

/// What came of one seed. Not thread-safe.
class Findings {
public:
    /// The most findings that are kept; further ones are only counted.
    static constexpr std::size_t mostKept = 24;

    void add(Check check, const std::string& sentence);
    void count(Race race) { ++m_races[static_cast<std::size_t>(race)]; }

    const std::vector<Finding>& all() const { return m_findings; }
    bool has(Check check) const { return m_counts[static_cast<std::size_t>(check)] != 0; }
    std::uint32_t of(Race race) const { return m_races[static_cast<std::size_t>(race)]; }
    std::uint32_t of(Check check) const { return m_counts[static_cast<std::size_t>(check)]; }

    int operations = 0;  ///< that were carried out
    int faults = 0;      ///< that took effect

private:
    std::vector<Finding> m_findings;
    std::array<std::uint32_t, checks> m_counts{};
    std::array<std::uint32_t, races> m_races{};
};

}  // namespace Simulation
