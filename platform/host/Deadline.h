#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

namespace AppConfigHost {

/// The moment at which waiting ends. A value; the clock never jumps.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    static Deadline after(Clock::duration time) { return Deadline(Clock::now() + time); }
    static Deadline at(Clock::time_point time) { return Deadline(time); }
    static Deadline never() { return Deadline(Clock::time_point::max()); }

    Clock::time_point time() const { return m_time; }
    bool passed() const { return Clock::now() >= m_time; }

    Deadline orEarlier(Deadline other) const { return Deadline(std::min(m_time, other.m_time)); }

    /// \return the moment in the middle of what is left.
    Deadline halfway() const {
        const Clock::time_point now = Clock::now();
        return Deadline(m_time <= now ? now : now + (m_time - now) / 2);
    }

    /// \return what is left as poll(2) takes it: rounded up, so that poll does not return before the deadline; -1 for
    /// never.
    int pollTimeout() const {
        if (m_time == Clock::time_point::max()) return -1;
        const Clock::time_point now = Clock::now();
        if (now >= m_time) return 0;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_time - now).count();
        return static_cast<int>(std::min<decltype(left)>(left, std::numeric_limits<int>::max()));
    }

private:
    explicit Deadline(Clock::time_point time) : m_time(time) {}

    Clock::time_point m_time;
};

}  // namespace AppConfigHost
