#pragma once

#include <functional>
#include <mutex>
#include <string>

#include "ForwardingTransport.h"

namespace AppConfigTest {

/// Passes everything on to another transport, and lets something happen just before the next message of one type: what
/// a test needs to place an event between two messages of one operation. Thread-safe.
class IntrudingTransport : public PbUtility::ForwardingTransport {
public:
    using ForwardingTransport::ForwardingTransport;

    /// Calls \p intrusion once, on the thread that sends, before the next message of the full name \p type.
    void before(const std::string& type, std::function<void()> intrusion);

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;

private:
    void intrude(const std::string& type);

    std::mutex m_mutex;
    std::string m_type;
    std::function<void()> m_intrusion;
};

}  // namespace AppConfigTest
