#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "os/Network.h"
#include "os/Scheduler.h"
#include "process/ProcessCode.h"

namespace Simulation {

/// What the world does to a simulation, besides carrying it.
enum class FaultKind : std::uint8_t {
    killService,    ///< number: see StateAfter; comes back after its time
    breakRequests,  ///< of one process
    breakDeliveries,
    breakAll,       ///< of every process
    refuse,         ///< connects, for its time; number: with which error
    killProcess,    ///< comes back after its time and goes on where it was
    stopProcess,    ///< does not go on for its time
    failCommits,    ///< for its time
    reload,         ///< number: which definitions
    backUp,         ///< keeps a copy of the state for StateAfter::older
    changeWeather,  ///< of new connections; number: see weatherOf()
};

/// On what a killed service comes back.
enum class StateAfter : std::uint8_t { kept, keptAndLosing, older, forgotten };

/// A fault and when it happens. A plain value.
struct Fault {
    FaultKind kind = FaultKind::breakAll;
    int after = 0;  ///< how many operations must have ended
    int service = 0;
    int process = 0;
    int milliseconds = 0;
    int number = 0;
};

/// What a simulated service does wrong on purpose, to show that it is noticed.
enum class Sabotage : std::uint8_t { none, losesNotifications, storesNothing, forgetsRoles };

/// One thread: what it begins with each time its process is started, and what it does once.
struct ThreadScript {
    std::vector<Operation> setUp;
    std::vector<Operation> operations;
};

struct ProcessScript {
    std::uint32_t uid = 0;
    int deadline = 5000;  ///< milliseconds
    std::vector<ThreadScript> threads;
    std::vector<HandlerPlan> consumers;
    std::vector<HandlerPlan> providers;
};

/// Everything that a seed decides beforehand, so that parts of it can be left out. What is decided by chance while it
/// runs comes from the seed as well. A plain value.
struct Script {
    std::uint64_t seed = 0;
    Policy policy;
    int weather = 0;
    int services = 1;
    int grace = 300'000;          ///< milliseconds
    int providerDeadline = 2000;  ///< milliseconds
    Sabotage sabotage = Sabotage::none;
    std::vector<ProcessScript> processes;
    std::vector<Fault> faults;  ///< in the order of Fault::after
};

/// \return one of a few ways in which a network behaves.
Weather weatherOf(int number);
inline constexpr int weathers = 5;

/// \return the script of \p seed.
Script generate(std::uint64_t seed);

}  // namespace Simulation
