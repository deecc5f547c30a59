#include "FaultTransport.h"

#include <google/protobuf/message_lite.h>

#include <utility>

#include "ReplyError.h"
#include "TransportStatus.h"

namespace PbUtility {

using AppConfig::PlainLock;

namespace {

int fail(int status, const std::string& endpoint) {
    setLastTransportFailure(endpoint + ": " + transportStatusText(status) + " (as told)");
    return status;
}

}  // namespace

FaultTransport::FaultTransport(PbUtils& next) : ForwardingTransport(next) {}

FaultTransport::~FaultTransport() = default;

void FaultTransport::failWith(int status, std::string type, std::size_t times) {
    const PlainLock lock(m_mutex);
    m_faults.push_back({false, status, {}, std::move(type), times});
}

void FaultTransport::refuseWith(std::int32_t error, std::vector<std::string> messages, std::string type,
                                std::size_t times) {
    const PlainLock lock(m_mutex);
    m_faults.push_back({true, error, std::move(messages), std::move(type), times});
}

void FaultTransport::heal() {
    const PlainLock lock(m_mutex);
    m_faults.clear();
}

bool FaultTransport::strike(const std::string& type, bool refusalsToo, Fault& fault) {
    const PlainLock lock(m_mutex);
    for (auto it = m_faults.begin(); it != m_faults.end(); ++it) {
        if (it->left == 0 || (it->refusal && !refusalsToo) || (!it->type.empty() && it->type != type)) continue;
        fault = *it;
        if (it->left != always && --it->left == 0) m_faults.erase(it);
        return true;
    }
    return false;
}

int FaultTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                     google::protobuf::MessageLite* response, const std::string& endpoint) {
    Fault fault;
    if (!strike(request.GetTypeName(), true, fault))
        return ForwardingTransport::sendWaitResponse(request, response, endpoint);
    if (response != nullptr) response->Clear();
    if (!fault.refusal) return fail(fault.number, endpoint);
    if (response != nullptr) AppConfigHost::writeReplyError(*response, {fault.number, std::move(fault.messages)});
    setLastTransportFailure({});
    return TRANSPORT_OK;
}

int FaultTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) {
    Fault fault;
    if (!strike(message.GetTypeName(), false, fault)) return ForwardingTransport::send(message, endpoint, reserved);
    return fail(fault.number, endpoint);
}

}  // namespace PbUtility
