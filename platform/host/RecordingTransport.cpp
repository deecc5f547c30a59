#include "RecordingTransport.h"

#include <google/protobuf/message_lite.h>

#include <utility>

#include "ReplyError.h"
#include "TransportStatus.h"

namespace PbUtility {

using AppConfig::PlainLock;

RecordingTransport::RecordingTransport(PbUtils& next, std::size_t capacity)
    : ForwardingTransport(next), m_capacity(capacity) {}

RecordingTransport::~RecordingTransport() = default;

int RecordingTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                         google::protobuf::MessageLite* response, const std::string& endpoint) {
    const std::uint64_t number = begin(Exchange::Kind::request, request, endpoint);
    const int status = ForwardingTransport::sendWaitResponse(request, response, endpoint);
    end(number, status, response);
    return status;
}

int RecordingTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint,
                             void* reserved) {
    const std::uint64_t number = begin(Exchange::Kind::oneWay, message, endpoint);
    const int status = ForwardingTransport::send(message, endpoint, reserved);
    end(number, status, nullptr);
    return status;
}

std::uint64_t RecordingTransport::begin(Exchange::Kind kind, const google::protobuf::MessageLite& message,
                                        const std::string& endpoint) {
    Exchange exchange;
    exchange.kind = kind;
    exchange.endpoint = endpoint;
    exchange.type = message.GetTypeName();
    exchange.request = message.SerializePartialAsString();
    std::uint64_t number = 0;
    {
        const PlainLock lock(m_mutex);
        number = m_forgotten + m_exchanges.size();
        m_exchanges.push_back(std::move(exchange));
        if (m_exchanges.size() > m_capacity) {
            m_exchanges.pop_front();
            ++m_forgotten;
        }
    }
    noted();
    return number;
}

void RecordingTransport::end(std::uint64_t number, int status, const google::protobuf::MessageLite* reply) {
    const bool answered = status == TRANSPORT_OK && reply != nullptr;
    AppConfigHost::ReplyError outcome = answered ? AppConfigHost::readReplyError(*reply) : AppConfigHost::ReplyError();
    {
        const PlainLock lock(m_mutex);
        // Numbers count what ever began, so one that was forgotten while its call was under way is below the first
        // that is left, and never that of another exchange.
        if (number >= m_forgotten) {
            Exchange& exchange = m_exchanges[static_cast<std::size_t>(number - m_forgotten)];
            exchange.ended = true;
            exchange.status = status;
            if (status != TRANSPORT_OK) exchange.failure = lastTransportFailure();
            exchange.error = outcome.error;
            exchange.messages = std::move(outcome.messages);
        }
    }
    noted();
}

std::vector<Exchange> RecordingTransport::exchanges() const {
    const PlainLock lock(m_mutex);
    return {m_exchanges.begin(), m_exchanges.end()};
}

void RecordingTransport::clear() {
    const PlainLock lock(m_mutex);
    m_forgotten += m_exchanges.size();
    m_exchanges.clear();
}

}  // namespace PbUtility
