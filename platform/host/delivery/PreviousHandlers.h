#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "EventFlag.h"
#include "delivery/HandlerActivity.h"

namespace AppConfigHost {

/// Application code of transports whose place this one took, for as long as it goes on: what it was told is older than
/// what comes here, so nothing is delivered before it has returned. Thread-safe; no operation blocks.
class PreviousHandlers {
public:
    /// What \p other watches now has to return first; \p wake is set then.
    void add(const std::shared_ptr<HandlerActivity>& other, const std::shared_ptr<EventFlag>& wake)
        APPCONFIG_EXCLUDES(m_mutex);

    /// \return whether all of it has returned.
    bool haveReturned() APPCONFIG_EXCLUDES(m_mutex);

private:
    AppConfig::PlainMutex m_mutex;
    std::vector<std::pair<std::shared_ptr<HandlerActivity>, HandlerActivity::Run>> m_running
        APPCONFIG_GUARDED_BY(m_mutex);
    std::atomic<bool> m_any{false};  ///< m_running is not empty
};

}  // namespace AppConfigHost
