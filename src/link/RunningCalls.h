#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <thread>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfig {

/// The calls to application handlers that are running, so that a thread that has removed a handler can wait until it is
/// safe to delete it. Thread-safe.
///
/// A caller makes a Call first and only then checks whether the handler is still registered; whatever ends a handler
/// removes it first and then waits. So either the caller finds it removed, or it is waited for.
class RunningCalls {
public:
    /// One call, from before the handler was looked up to its return.
    class [[nodiscard]] Call {
    public:
        Call(RunningCalls& calls, const void* handler) : m_calls(calls), m_entry(calls.begin(handler)) {}
        ~Call() { m_calls.end(m_entry); }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

    private:
        friend class RunningCalls;
        struct Entry {
            const void* handler;
            std::thread::id thread;
            std::uint64_t number;
        };
        RunningCalls& m_calls;
        const std::list<Entry>::iterator m_entry;
    };

    /// Returns when every call to \p handler that is running now has ended, apart from those that this thread is in:
    /// a handler that ends itself, or another one further down its own stack, would wait for ever.
    void awaitEnd(const void* handler) {
        const PlainLock lock(m_mutex);
        const std::uint64_t last = m_last;
        const std::thread::id me = std::this_thread::get_id();
        const auto runs = [&](const Call::Entry& entry) {
            return entry.handler == handler && entry.number <= last && entry.thread != me;
        };
        while (std::any_of(m_entries.begin(), m_entries.end(), runs)) m_ended.wait(m_mutex);
    }

private:
    std::list<Call::Entry>::iterator begin(const void* handler) {
        const PlainLock lock(m_mutex);
        return m_entries.insert(m_entries.end(), {handler, std::this_thread::get_id(), ++m_last});
    }

    void end(std::list<Call::Entry>::iterator entry) {
        const PlainLock lock(m_mutex);
        m_entries.erase(entry);
        m_ended.notify_all();
    }

    PlainMutex m_mutex;
    std::condition_variable_any m_ended;
    std::list<Call::Entry> m_entries APPCONFIG_GUARDED_BY(m_mutex);
    std::uint64_t m_last APPCONFIG_GUARDED_BY(m_mutex) = 0;
};

}  // namespace AppConfig
