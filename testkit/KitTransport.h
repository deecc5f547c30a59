#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfig/SentRequest.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "ForwardingTransport.h"
#include "StandIn.h"

namespace AppConfigTest {

/// Stands between the library and a transport: remembers requests and tells when a delivery has been handled.
/// Thread-safe. Does not own the transport, which it must not outlive while calls run.
class KitTransport : public PbUtility::ForwardingTransport {
public:
    explicit KitTransport(PbUtility::PbUtils& next) : ForwardingTransport(next) {}

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;
    int addHandlers(const MSG_Callback* table) override;

    std::vector<SentRequest> requests() const;
    void forgetRequests();

    /// Waits until \p condition holds; asks again whenever a handler has returned.
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
    void remember(const google::protobuf::MessageLite& message, bool awaited);

    mutable AppConfig::PlainMutex m_mutex;
    std::condition_variable_any m_delivered;
    std::vector<SentRequest> m_requests APPCONFIG_GUARDED_BY(m_mutex);
    std::list<Target> m_targets APPCONFIG_GUARDED_BY(m_mutex);  ///< addresses are handed to the transport
};

}  // namespace AppConfigTest
