#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "EventFlag.h"

namespace AppConfigHost {

/// Whether application code runs on a delivery thread, and who wants to know when it ends. Thread-safe; no operation
/// blocks.
class HandlerActivity {
public:
    /// One stretch of application code, from the outermost call to its return.
    using Run = std::uint64_t;

    // By the delivery thread, around the outermost call.
    void began() { m_run.fetch_add(1); }
    void ended() {
        m_run.fetch_add(1);
        // Each side writes its own flag before it reads the other's, so one of them sees that nobody waits in vain.
        if (!m_awaited.load()) return;
        const AppConfig::PlainLock lock(m_mutex);
        m_awaited.store(false);
        for (const auto& flag : std::exchange(m_flags, {})) flag->set();
    }

    bool hasEnded(Run run) const { return m_run.load() != run; }

    /// \return the run that goes on now, if one does. Then \p flag is set when it has ended; a later one is no reason
    /// to.
    std::optional<Run> setWhenEnded(std::shared_ptr<EventFlag> flag) {
        const AppConfig::PlainLock lock(m_mutex);
        m_flags.push_back(std::move(flag));
        m_awaited.store(true);
        const Run run = m_run.load();
        return run % 2 == 1 ? std::optional<Run>(run) : std::nullopt;
    }

private:
    std::atomic<Run> m_run{0};  ///< odd while code runs
    std::atomic<bool> m_awaited{false};
    AppConfig::PlainMutex m_mutex;
    std::vector<std::shared_ptr<EventFlag>> m_flags APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
