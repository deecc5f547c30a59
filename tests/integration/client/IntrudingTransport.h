#pragma once

#include <functional>
#include <mutex>
#include <string>

#include "PbUtils.h"

namespace AppConfigTest {

/// Passes everything on to another transport, and lets something happen just before the next message of one type: what
/// a test needs to place an event between two messages of one operation. Thread-safe.
class IntrudingTransport : public PbUtility::PbUtils {
public:
    /// \p next is not owned and outlives this object.
    explicit IntrudingTransport(PbUtility::PbUtils& next) : m_next(next) {}

    /// Calls \p intrusion once, on the thread that sends, before the next message of the full name \p type.
    void before(const std::string& type, std::function<void()> intrusion);

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;
    int addRemoteEndpoint(const std::string& endpoint, int channel) override {
        return m_next.addRemoteEndpoint(endpoint, channel);
    }
    int addHandlers(const MSG_Callback* table) override { return m_next.addHandlers(table); }
    std::string localEndpoint() const override { return m_next.localEndpoint(); }

private:
    void intrude(const std::string& type);

    PbUtility::PbUtils& m_next;
    std::mutex m_mutex;
    std::string m_type;
    std::function<void()> m_intrusion;
};

}  // namespace AppConfigTest
