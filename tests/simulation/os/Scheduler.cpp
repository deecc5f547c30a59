#include "os/Scheduler.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace Simulation {

namespace {

/// Whatever is done takes a little time, so that nothing goes on for ever within one moment.
constexpr Time effort{1000};

/// Nobody goes on past so many points at a stretch: timers are looked at in between.
constexpr int longestStretch = 64;

constexpr std::uint32_t whole = 1024;

void* exceptionState() {
    return abi::__cxa_get_globals();
}

}  // namespace

Scheduler::Scheduler(Random random, Policy policy, Trace& trace) : m_random(random), m_policy(policy), m_trace(trace) {}

Fibre& Scheduler::start(Process& process, std::function<void()> body) {
    m_fibres.push_back(std::make_unique<Fibre>(process, static_cast<int>(m_fibres.size()) + 1, std::move(body)));
    Fibre& fibre = *m_fibres.back();
    fibre.m_slow = m_random.chance(m_policy.slowChance, whole);
    fibre.m_context = boost::context::fiber(std::allocator_arg, StackPool(),
                                            [this, &fibre](boost::context::fiber&& main) -> boost::context::fiber {
                                                m_main = std::move(main);
                                                fibre.m_body();
                                                fibre.m_state = Fibre::State::finished;
                                                --fibre.m_process.running;
                                                wake(&fibre);
                                                return std::move(m_main);
                                            });
    ++process.running;
    makeReady(fibre);
    return fibre;
}

Fibre* Scheduler::find(std::uint64_t handle) const {
    for (const auto& fibre : m_fibres) {
        if (fibre->m_handle == handle) return fibre.get();
    }
    return nullptr;
}

void Scheduler::makeReady(Fibre& fibre) {
    fibre.m_state = Fibre::State::ready;
    (fibre.m_process.stopped ? fibre.m_process.ready : m_ready).push_back(&fibre);
}

/// Goes back to run(); returns when the fibre is chosen again.
void Scheduler::leave() {
    m_main = std::move(m_main).resume();
}

void Scheduler::point() {
    m_now += effort;
    if (++m_stayed < longestStretch && !m_random.chance(m_policy.switchChance, whole)) return;
    makeReady(*m_current);
    leave();
}

bool Scheduler::wait(const void* key, Time deadline, const char* reason) {
    Fibre& self = *m_current;
    self.m_state = Fibre::State::blocked;
    self.m_key = key;
    self.m_reason = reason;
    self.m_timedOut = false;
    ++self.m_wait;
    if (deadline != never) m_timers.push({deadline, ++m_order, &self, self.m_wait, nullptr});
    m_waiting.push_back(&self);
    leave();
    self.m_key = nullptr;
    return !self.m_timedOut;
}

void Scheduler::wake(Fibre& fibre) {
    if (fibre.m_state != Fibre::State::blocked || fibre.m_process.ended) return;
    m_waiting.erase(std::find(m_waiting.begin(), m_waiting.end(), &fibre));
    makeReady(fibre);
}

void Scheduler::wake(const void* key, bool onlyFirst) {
    for (std::size_t i = 0; i < m_waiting.size();) {
        Fibre& fibre = *m_waiting[i];
        if (fibre.m_key != key) {
            ++i;
            continue;
        }
        m_waiting.erase(m_waiting.begin() + static_cast<std::ptrdiff_t>(i));
        makeReady(fibre);
        if (onlyFirst) return;
    }
}

void Scheduler::at(Time when, std::function<void()> action) {
    m_timers.push({when, ++m_order, nullptr, 0, std::move(action)});
}

void Scheduler::stop(Process& process) {
    if (process.stopped || process.ended) return;
    m_trace.note(m_now, process.name, "is stopped");
    process.stopped = true;
    process.stoppedAt = m_now;
    const auto kept = std::stable_partition(m_ready.begin(), m_ready.end(),
                                            [&](const Fibre* fibre) { return &fibre->process() != &process; });
    process.ready.assign(kept, m_ready.end());
    m_ready.erase(kept, m_ready.end());
}

void Scheduler::resume(Process& process) {
    if (!process.stopped || process.ended) return;
    m_trace.note(m_now, process.name, "goes on");
    process.stoppedFor += m_now - process.stoppedAt;
    process.stopped = false;
    m_ready.insert(m_ready.end(), process.ready.begin(), process.ready.end());
    process.ready.clear();
}

void Scheduler::kill(Process& process) {
    if (process.ended) return;
    m_trace.note(m_now, process.name, "is killed");
    process.ended = true;
    const auto ofProcess = [&](const Fibre* fibre) { return &fibre->process() == &process; };
    m_ready.erase(std::remove_if(m_ready.begin(), m_ready.end(), ofProcess), m_ready.end());
    m_waiting.erase(std::remove_if(m_waiting.begin(), m_waiting.end(), ofProcess), m_waiting.end());
    process.ready.clear();
}

void Scheduler::fireDue() {
    while (!m_timers.empty() && m_timers.top().when <= m_now) {
        // Moved out of the queue: the action may start further timers.
        const Timer timer = std::move(const_cast<Timer&>(m_timers.top()));
        m_timers.pop();
        if (timer.fibre == nullptr) {
            timer.action();
        } else if (timer.fibre->m_wait == timer.wait && timer.fibre->m_state == Fibre::State::blocked) {
            timer.fibre->m_timedOut = true;
            wake(*timer.fibre);
        }
    }
}

/// Nobody can go on. \return whether the clock has moved to the next timer.
bool Scheduler::advance(Time horizon) {
    if (m_timers.empty() || m_timers.top().when > horizon) {
        m_now = std::max(m_now, horizon);
        return false;
    }
    m_now = std::max(m_now, m_timers.top().when);
    return true;
}

void Scheduler::pick() {
    std::size_t candidates = m_ready.size();
    for (const Steps* steps : m_steps) candidates += steps->ready();
    constexpr int attempts = 3;
    std::size_t chosen = 0;
    for (int i = 0; i < attempts; ++i) {
        chosen = m_random.below(static_cast<std::uint32_t>(candidates));
        if (chosen >= m_ready.size() || !m_ready[chosen]->m_slow) break;
    }
    m_now += effort;
    ++m_switches;
    if (chosen < m_ready.size()) {
        Fibre& fibre = *m_ready[chosen];
        m_ready.erase(m_ready.begin() + static_cast<std::ptrdiff_t>(chosen));
        return resumeFibre(fibre);
    }
    chosen -= m_ready.size();
    for (Steps* steps : m_steps) {
        if (chosen < steps->ready()) return steps->run();
        chosen -= steps->ready();
    }
}

void Scheduler::resumeFibre(Fibre& fibre) {
    m_stayed = 0;
    m_trace.note(m_now, fibre.m_name, "goes on", std::int64_t{fibre.m_number});
    fibre.exchangeLocals();
    fibre.m_state = Fibre::State::running;
    m_current = &fibre;
    unsigned char own[sizeof fibre.m_exceptions];
    std::memcpy(own, exceptionState(), sizeof own);
    std::memcpy(exceptionState(), fibre.m_exceptions, sizeof own);
    fibre.m_context = std::move(fibre.m_context).resume();
    std::memcpy(fibre.m_exceptions, exceptionState(), sizeof own);
    std::memcpy(exceptionState(), own, sizeof own);
    m_current = nullptr;
}

void Scheduler::run(Time horizon) {
    m_ended = false;
    while (!m_ended && !isExhausted()) {
        fireDue();
        bool idle = m_ready.empty();
        for (const Steps* steps : m_steps) idle = idle && steps->ready() == 0;
        if (!idle) {
            pick();
        } else if (!advance(horizon)) {
            return;
        }
    }
}

}  // namespace Simulation
