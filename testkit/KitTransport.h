#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <vector>

#include "AppConfig/SentRequest.h"
#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "RecordingTransport.h"
#include "StandIn.h"

namespace AppConfigTest {

/// Stands between the library and a transport: remembers every request, and lets a test wait for what passes.
/// Thread-safe. Does not own the transport, which it must not outlive while calls run.
class KitTransport final : public PbUtility::RecordingTransport {
public:
    /// How long waitUntil() goes without asking when nothing passes.
    static constexpr std::chrono::milliseconds defaultPatience{100};

    explicit KitTransport(PbUtility::PbUtils& next, std::chrono::milliseconds patience = defaultPatience);

    int addHandlers(const MSG_Callback* table) override;

    /// \return the requests that were begun since the last clear(), in their order.
    std::vector<SentRequest> requests() const;

    /// Waits until \p condition holds, \p deadline at most. It is asked on the calling thread, without a lock: at once,
    /// whenever a request has been begun or answered or a handler has returned, and after the patience without any of
    /// these, since it may look at what does not pass here. What it sends itself does not count. \return what it said
    /// last.
    bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline);

private:
    /// What a row calls; the transport below is given rows that call deliver() with one of these.
    struct Target {
        MSG_Entry entry;
        void* context;
        KitTransport* owner;
        AppConfigHost::StandIn inFront;

        Target(const MSG_Callback& row, KitTransport* transport)
            : entry(row.entry), context(row.context), owner(transport), inFront(this, row.context) {}
    };

    static void deliver(void* context, const MSG_Message* message);
    Target& targetOf(const MSG_Callback& row) APPCONFIG_REQUIRES(m_mutex);
    void noted() override;

    const std::chrono::milliseconds m_patience;
    AppConfig::PlainMutex m_mutex;
    std::condition_variable_any m_changed;
    std::uint64_t m_events APPCONFIG_GUARDED_BY(m_mutex) = 0;   ///< how much has passed
    std::list<Target> m_targets APPCONFIG_GUARDED_BY(m_mutex);  ///< addresses are handed to the transport
};

}  // namespace AppConfigTest
