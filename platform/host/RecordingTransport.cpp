#include "RecordingTransport.h"

#include <google/protobuf/message_lite.h>

#include <utility>

#include "ReplyError.h"
#include "TransportStatus.h"

namespace PbUtility {

using AppConfig::PlainLock;

namespace {

Exchange describe(Exchange::Kind kind, const google::protobuf::MessageLite& message, const std::string& endpoint) {
    Exchange exchange;
    exchange.kind = kind;
    exchange.endpoint = endpoint;
    exchange.type = message.GetTypeName();
    exchange.request = message.SerializePartialAsString();
    return exchange;
}

}  // namespace

RecordingTransport::RecordingTransport(PbUtils& next, std::size_t capacity)
    : ForwardingTransport(next), m_capacity(capacity) {}

RecordingTransport::~RecordingTransport() = default;

int RecordingTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                         google::protobuf::MessageLite* response, const std::string& endpoint) {
    Exchange exchange = describe(Exchange::Kind::request, request, endpoint);
    const int status = ForwardingTransport::sendWaitResponse(request, response, endpoint);
    exchange.status = status;
    if (status != TRANSPORT_OK) {
        exchange.failure = lastTransportFailure();
    } else if (response != nullptr) {
        exchange.replyType = response->GetTypeName();
        exchange.reply = response->SerializePartialAsString();
        AppConfigHost::ReplyError outcome = AppConfigHost::readReplyError(*response);
        exchange.error = outcome.error;
        exchange.messages = std::move(outcome.messages);
    }
    remember(std::move(exchange));
    return status;
}

int RecordingTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint,
                             void* reserved) {
    Exchange exchange = describe(Exchange::Kind::oneWay, message, endpoint);
    const int status = ForwardingTransport::send(message, endpoint, reserved);
    exchange.status = status;
    if (status != TRANSPORT_OK) exchange.failure = lastTransportFailure();
    remember(std::move(exchange));
    return status;
}

void RecordingTransport::remember(Exchange exchange) {
    const PlainLock lock(m_mutex);
    m_lastOutcomes[std::this_thread::get_id()] = exchange;
    m_exchanges.push_back(std::move(exchange));
    if (m_exchanges.size() > m_capacity) m_exchanges.pop_front();
}

std::vector<Exchange> RecordingTransport::exchanges() const {
    const PlainLock lock(m_mutex);
    return {m_exchanges.begin(), m_exchanges.end()};
}

std::optional<Exchange> RecordingTransport::lastOutcome() const {
    const PlainLock lock(m_mutex);
    const auto found = m_lastOutcomes.find(std::this_thread::get_id());
    return found == m_lastOutcomes.end() ? std::nullopt : std::optional<Exchange>(found->second);
}

void RecordingTransport::clear() {
    const PlainLock lock(m_mutex);
    m_exchanges.clear();
    m_lastOutcomes.clear();
}

}  // namespace PbUtility
