#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "os/Time.h"

namespace Simulation {

class Fibre;

/// Where the thread-local variables of a process's code lie, and what they hold in a thread that has just begun. All
/// threads of the simulation are fibres of one thread, so the contents are exchanged whenever another one goes on.
struct ThreadLocals {
    char* address = nullptr;
    std::size_t size = 0;
    const char* initial = nullptr;
};

/// One simulated process, as the operating system sees it. Owned by whoever starts it; outlives the scheduler's use of
/// it. One thread.
struct Process {
    std::string name;           ///< in traces, such as "p2"
    int pid = 0;                ///< what getpid() returns in it
    std::uint32_t uid = 0;      ///< what a service learns of it
    ThreadLocals locals;        ///< of the code that runs in it
    bool ended = false;         ///< its threads never go on, and its descriptors are closed
    bool stopped = false;       ///< its threads do not go on for now
    Time stoppedAt{};           ///< while it is stopped: since when
    Time stoppedFor{};          ///< how long it has been stopped in all, without the present stop
    int threads = 0;            ///< how many it has started
    int running = 0;            ///< how many of them have not finished
    std::vector<int> open;      ///< its descriptors
    std::vector<Fibre*> ready;  ///< while it is stopped: the threads that could go on
    Fibre* loaded = nullptr;    ///< whose thread-local variables stand at locals.address

    /// \return how long it has been stopped in all until \p now.
    Time stoppedUntil(Time now) const { return stopped ? stoppedFor + (now - stoppedAt) : stoppedFor; }
};

}  // namespace Simulation
