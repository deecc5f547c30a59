#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <queue>
#include <string>
#include <vector>

#include "os/Fibre.h"
#include "os/Random.h"
#include "os/Time.h"
#include "os/Trace.h"

namespace Simulation {

/// Something that goes on without a stack of its own, one short piece at a time: a service.
class Steps {
public:
    virtual ~Steps() = default;

    /// \return how many pieces could run now.
    virtual std::size_t ready() const = 0;

    /// Runs one of them.
    virtual void run() = 0;
};

/// How a seed schedules.
struct Policy {
    std::uint32_t switchChance = 512;  ///< of 1024: how often a thread gives way at a point where it could go on
    std::uint32_t slowChance = 0;      ///< of 1024: how many threads are slow, that is, mostly passed over
};

/// Lets exactly one of the simulated threads and services go on at a time, chosen by chance, and keeps the virtual
/// clock, which jumps to the next deadline when nobody can go on.
///
/// Not thread-safe: there is one real thread. What is said to be called in a fibre runs on a fibre's stack; everything
/// else, such as timers and steps, runs on the stack of run().
class Scheduler {
public:
    Scheduler(Random random, Policy policy, Trace& trace);

    Time now() const { return m_now; }
    Trace& trace() { return m_trace; }

    /// \return the fibre that runs; null while none does.
    Fibre* current() const { return m_current; }

    /// Starts a thread of \p process, which goes on when its turn comes. Anywhere.
    Fibre& start(Process& process, std::function<void()> body);
    /// \return the fibre with that handle; null when there is none.
    Fibre* find(std::uint64_t handle) const;

    /// In a fibre: here another one may go on.
    void point();
    /// In a fibre: waits until somebody wakes \p key or \p deadline has passed. \p reason, a literal, is for people.
    /// \return whether it was woken.
    bool wait(const void* key, Time deadline, const char* reason);
    /// Lets everybody go on who waits for \p key; with \p onlyFirst the one who has waited longest. Anywhere.
    void wake(const void* key, bool onlyFirst = false);
    /// Lets \p fibre go on, if it waits. Anywhere.
    void wake(Fibre& fibre);

    /// Calls \p action at \p when, on the stack of run(). Anywhere.
    void at(Time when, std::function<void()> action);
    /// From now on \p steps, not owned, take part.
    void add(Steps& steps) { m_steps.push_back(&steps); }

    // A process's life; not in a fibre.
    void stop(Process& process);
    void resume(Process& process);
    void kill(Process& process);

    /// Runs until nobody can go on before \p horizon, or until end(). The clock then stands at \p horizon at the
    /// latest.
    void run(Time horizon);
    /// Lets run() return after the present step. Anywhere.
    void end() { m_ended = true; }
    /// After so many turns nobody goes on any more.
    void limit(std::uint64_t turns) { m_mostSwitches = turns; }
    bool isExhausted() const { return m_switches >= m_mostSwitches; }

    /// \return every fibre that was started, in order.
    const std::vector<std::unique_ptr<Fibre>>& fibres() const { return m_fibres; }
    std::uint64_t switches() const { return m_switches; }

private:
    struct Timer {
        Time when{};
        std::uint64_t order = 0;
        Fibre* fibre = nullptr;
        std::uint64_t wait = 0;
        std::function<void()> action;

        bool operator<(const Timer& other) const {  // the earliest is the greatest, as std::priority_queue wants it
            return when != other.when ? when > other.when : order > other.order;
        }
    };

    void fireDue();
    bool advance(Time horizon);
    void pick();
    void resumeFibre(Fibre& fibre);
    void leave();
    void makeReady(Fibre& fibre);

    Random m_random;
    const Policy m_policy;
    Trace& m_trace;
    Time m_now{};
    bool m_ended = false;
    Fibre* m_current = nullptr;
    boost::context::fiber m_main;  ///< run(), while a fibre runs
    std::vector<std::unique_ptr<Fibre>> m_fibres;
    std::vector<Fibre*> m_ready;
    std::vector<Fibre*> m_waiting;  ///< those that wait, who has waited longest first
    std::vector<Steps*> m_steps;
    std::priority_queue<Timer> m_timers;
    std::uint64_t m_order = 0;
    std::uint64_t m_switches = 0;
    std::uint64_t m_mostSwitches = ~std::uint64_t{0};
    int m_stayed = 0;  ///< how often the current fibre could have given way and did not
};

}  // namespace Simulation
