#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "AppConfig/PlainMutex.h"
#include "AppConfig/ThreadAnnotations.h"
#include "EventFlag.h"

namespace AppConfigHost {

/// Whether application code runs on a delivery thread, and who wants to know when it ends. Thread-safe; no operation
/// blocks.
class HandlerActivity {
public:
    // By the delivery thread, around the outermost call.
    void began() { m_running.store(true); }
    void ended() {
        m_running.store(false);
        // Each side writes its own flag before it reads the other's, so one of them sees that nobody waits in vain.
        if (!m_awaited.load()) return;
        const AppConfig::PlainLock lock(m_mutex);
        m_awaited.store(false);
        for (const auto& flag : std::exchange(m_flags, {})) flag->set();
    }

    bool isRunning() const { return m_running.load(); }

    /// \return whether code runs. If so, \p flag is set when it has ended.
    bool setWhenEnded(std::shared_ptr<EventFlag> flag) {
        const AppConfig::PlainLock lock(m_mutex);
        m_flags.push_back(std::move(flag));
        m_awaited.store(true);
        return m_running.load();
    }

private:
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_awaited{false};
    AppConfig::PlainMutex m_mutex;
    std::vector<std::shared_ptr<EventFlag>> m_flags APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
