#include "FaultTransport.h"

#include <google/protobuf/message_lite.h>

#include "TransportStatus.h"

namespace PbUtility {

namespace {

int fail(int status, const std::string& endpoint) {
    setLastTransportFailure(endpoint + ": " + transportStatusText(status) + " (injected)");
    return status;
}

}  // namespace

void FaultTransport::failWith(int status) {
    m_status = status;
}

void FaultTransport::heal() {
    m_status = TRANSPORT_OK;
}

int FaultTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                     google::protobuf::MessageLite* response, const std::string& endpoint) {
    const int status = m_status;
    if (status == TRANSPORT_OK) return ForwardingTransport::sendWaitResponse(request, response, endpoint);
    if (response != nullptr) response->Clear();
    return fail(status, endpoint);
}

int FaultTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) {
    const int status = m_status;
    return status == TRANSPORT_OK ? ForwardingTransport::send(message, endpoint, reserved) : fail(status, endpoint);
}

}  // namespace PbUtility
