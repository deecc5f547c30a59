#pragma once

#include <atomic>
#include <string>

#include "ForwardingTransport.h"

namespace PbUtility {

/// Passes every call on to another transport until it is told to let messages fail. For tests of what an application
/// does when things go wrong. Thread-safe.
class FaultTransport final : public ForwardingTransport {
public:
    using ForwardingTransport::ForwardingTransport;

    /// From now on no request or one-way message is passed on. The call returns \p status at once, such as
    /// TRANSPORT_TIMED_OUT for a service that does not answer or TRANSPORT_BROKEN_OFF for a lost connection; a response
    /// is cleared, and lastTransportFailure() has a sentence. Takes the place of an earlier status.
    void failWith(int status);

    /// From now on everything is passed on again.
    void heal();

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;

private:
    std::atomic<int> m_status{0};  ///< 0, which is success: nothing fails
};

}  // namespace PbUtility
