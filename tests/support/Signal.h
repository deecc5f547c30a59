#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

namespace Support {

/// Something that one thread says, once, and others wait for. Thread-safe.
class Signal {
public:
    void give() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_given = true;
        m_changed.notify_all();
    }

    /// Waits; a signal that does not come within half a minute ends the process.
    void await() {
        if (!comesWithin(std::chrono::seconds(30))) std::abort();
    }

    /// \return whether it was given, now or by the end of \p time.
    bool comesWithin(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, time, [this] { return m_given; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_given = false;  // guarded by m_mutex
};

}  // namespace Support
