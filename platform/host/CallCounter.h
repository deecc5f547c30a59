#pragma once

#include <condition_variable>
#include <cstddef>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfigHost {

/// Counts the calls that are under way in a transport, so that its end can wait for them. Thread-safe.
class CallCounter {
public:
    /// One call, from its start to its return.
    class [[nodiscard]] Call {
    public:
        explicit Call(CallCounter& counter) : m_counter(counter), m_allowed(counter.enter()) {}
        ~Call() { m_counter.leave(m_allowed); }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        /// \return false when the counter was closed before.
        bool isAllowed() const { return m_allowed; }

    private:
        CallCounter& m_counter;
        const bool m_allowed;
    };

    /// Lets no further call in. \return false when it was closed before.
    bool close() {
        const AppConfig::PlainLock lock(m_mutex);
        const bool first = !m_closed;
        m_closed = true;
        return first;
    }

    /// Blocks until no call is under way that was let in. Only after close().
    void awaitNone() {
        const AppConfig::PlainLock lock(m_mutex);
        while (m_calls != 0) m_left.wait(m_mutex);
    }

    /// Blocks until none is under way at all: what is not let in may have something to pass on. Only after close().
    void awaitRefused() {
        const AppConfig::PlainLock lock(m_mutex);
        while (m_calls + m_refused != 0) m_left.wait(m_mutex);
    }

private:
    bool enter() {
        const AppConfig::PlainLock lock(m_mutex);
        ++(m_closed ? m_refused : m_calls);
        return !m_closed;
    }

    void leave(bool allowed) {
        const AppConfig::PlainLock lock(m_mutex);
        --(allowed ? m_calls : m_refused);
        if (m_calls == 0 && m_closed) m_left.notify_all();
    }

    AppConfig::PlainMutex m_mutex;
    std::condition_variable_any m_left;
    bool m_closed APPCONFIG_GUARDED_BY(m_mutex) = false;
    std::size_t m_calls APPCONFIG_GUARDED_BY(m_mutex) = 0;
    std::size_t m_refused APPCONFIG_GUARDED_BY(m_mutex) = 0;
};

}  // namespace AppConfigHost
