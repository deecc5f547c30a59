#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <string>
#include <thread>

#include "AppConfig/ConfigVar.h"
#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "registry/Reach.h"

namespace AppConfig {

/// The handlers that are about to be added: the service has been asked to notify them, and they are added to the
/// registry when it has replied. What it sends in between would find no handler, so the dispatching thread waits for
/// the addition. Thread-safe.
class HandlersBeingAdded {
public:
    /// What a handler is added for: a consumer's kind of event, or this for a provider.
    static constexpr int provider = -1;

    /// One handler, from before the request leaves until it is added.
    class [[nodiscard]] Addition {
    public:
        Addition(HandlersBeingAdded& additions, const ConfigVar& var, int kind)
            : m_additions(additions), m_row(additions.begin(var, kind)) {}
        ~Addition() { m_additions.end(m_row); }
        Addition(const Addition&) = delete;
        Addition& operator=(const Addition&) = delete;

    private:
        friend class HandlersBeingAdded;
        struct Row {
            ConfigVar var;
            int kind;
            std::thread::id thread;
            std::uint64_t number;
        };
        HandlersBeingAdded& m_additions;
        const std::list<Row>::iterator m_row;
    };

    /// Returns when every handler that another thread is adding now, and that is called for \p kind of the variable,
    /// has been added: no later than when that thread's request ends. Additions of the calling thread itself lie
    /// further down its own stack and are not waited for.
    void await(const std::string& node, const std::string& attribute, int kind) {
        const PlainLock lock(m_mutex);
        if (m_rows.empty()) return;
        const ConfigVar var(0, node, 0, attribute, 0);
        const std::string name = var.getFQName();
        const std::uint64_t last = m_last;
        const std::thread::id me = std::this_thread::get_id();
        const auto concerns = [&](const Addition::Row& row) {
            return row.kind == kind && row.number <= last && row.thread != me &&
                   reach(row.var, var, name) != Reach::none;
        };
        while (std::any_of(m_rows.begin(), m_rows.end(), concerns)) m_ended.wait(m_mutex);
    }

private:
    std::list<Addition::Row>::iterator begin(const ConfigVar& var, int kind) {
        const PlainLock lock(m_mutex);
        return m_rows.insert(m_rows.end(), {var, kind, std::this_thread::get_id(), ++m_last});
    }

    void end(std::list<Addition::Row>::iterator row) {
        const PlainLock lock(m_mutex);
        m_rows.erase(row);
        m_ended.notify_all();
    }

    PlainMutex m_mutex;
    std::condition_variable_any m_ended;
    std::list<Addition::Row> m_rows APPCONFIG_GUARDED_BY(m_mutex);
    std::uint64_t m_last APPCONFIG_GUARDED_BY(m_mutex) = 0;
};

}  // namespace AppConfig
