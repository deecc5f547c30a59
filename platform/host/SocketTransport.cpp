#include "SocketTransport.h"

#include <google/protobuf/message_lite.h>

#include <cerrno>
#include <cstdio>
#include <limits>
#include <random>
#include <utility>

#include "CallCounter.h"
#include "Connector.h"
#include "EventFlag.h"
#include "Handover.h"
#include "Handshake.h"
#include "MessageIds.h"
#include "RegistrationBook.h"
#include "RequestConnections.h"
#include "TransportStatus.h"
#include "delivery/Delivery.h"
#include "delivery/HandlerTable.h"
#include "delivery/ResumePoints.h"
#include "wire/Endpoint.h"

namespace PbUtility {

using namespace AppConfigHost;

namespace {

std::string uniqueEndpointName() {
    constexpr std::size_t longestProgram = 64;
    std::string name;
    for (const char* c = program_invocation_short_name; *c != '\0' && name.size() < longestProgram; ++c) {
        name += isEndpointName(std::string_view(c, 1)) || *c == '.' ? *c : '_';
    }
    if (name.empty()) name = "program";
    std::random_device random;
    char rest[32];
    std::snprintf(rest, sizeof rest, "-%d-%08x%08x", static_cast<int>(getpid()), random(), random());
    return name + rest;
}

int finish(const std::string& endpoint, const Outcome& outcome) {
    std::string sentence;
    if (!outcome.ok()) {
        sentence = endpoint + ": " + transportStatusText(outcome.status);
        if (!outcome.reason.empty()) sentence += " (" + outcome.reason + ")";
    }
    setLastTransportFailure(std::move(sentence));
    return outcome.status;
}

/// Takes the frame that came for the request \p correlation and leaves the payload in \p response.
Outcome readReply(const Frame& frame, std::uint64_t correlation, google::protobuf::MessageLite* response) {
    if (frame.kind() != REPLY) return unexpectedFrame(frame);
    if (frame.correlation() != correlation) {
        return {TRANSPORT_PROTOCOL_ERROR, "a reply came that nobody had asked for"};
    }
    // A status of a later version must not read as the default, which is OK.
    if (!frame.has_status() && !frame.unknown_fields().empty()) {
        return {TRANSPORT_PROTOCOL_ERROR, "the reply has a status that is not known here"};
    }
    if (frame.status() == UNSUPPORTED) return {TRANSPORT_UNSUPPORTED, frame.reason()};
    if (frame.status() == UNREADABLE) return {TRANSPORT_UNREADABLE_REQUEST, frame.reason()};
    if (response == nullptr) return {};
    const std::string type = response->GetTypeName();
    if (frame.message_id() != ConfigIF::messageId(type)) {
        const std::string came(ConfigIF::messageName(frame.message_id()));
        return {TRANSPORT_UNREADABLE_REPLY,
                (came.empty() ? "message " + std::to_string(frame.message_id()) : came) + " came instead of " + type};
    }
    if (!response->ParseFromString(frame.payload())) {
        return {TRANSPORT_UNREADABLE_REPLY, "the payload is not a valid " + type};
    }
    return {};
}

/// \return the reason that the peer left behind when it closed the connection, else \p brokenOff.
Outcome whyBrokenOff(FrameStream& stream, const Outcome& brokenOff) {
    PlainWaiter waiter(nullptr);
    Frame frame;
    const bool said = stream.read(frame, Deadline::after({}), waiter).ok() && frame.kind() == REFUSED;
    return said ? unexpectedFrame(frame) : brokenOff;
}

/// \return whether the connection is in step with its peer after \p outcome.
bool isReusable(const Outcome& outcome) {
    switch (outcome.status) {
        case TRANSPORT_OK:
        case TRANSPORT_UNSUPPORTED:
        case TRANSPORT_UNREADABLE_REQUEST:
        case TRANSPORT_UNREADABLE_REPLY: return true;
        default: return false;
    }
}

}  // namespace

SocketTransport::SocketTransport(std::unique_ptr<Connector> connector, TransportOptions options)
    : m_options(std::move(options)),
      m_localEndpoint(uniqueEndpointName()),
      m_connector(std::move(connector)),
      m_ended(std::make_unique<EventFlag>()),
      m_calls(std::make_unique<CallCounter>()),
      m_resume(std::make_unique<ResumePoints>(ResumePoints::PassOn{
          [this](const std::string& endpoint, std::uint64_t timeline, std::uint64_t number) {
              Handover::ofProcess().sawLate(*m_member, endpoint, timeline, number);
          },
          [this](const std::string& endpoint) { Handover::ofProcess().joinedLate(*m_member, endpoint); }})),
      m_book(std::make_unique<RegistrationBook>(m_options)),
      m_handlers(std::make_unique<HandlerTable>()),
      m_requests(std::make_unique<RequestConnections>(*m_connector, *m_resume, m_options, m_localEndpoint)),
      m_delivery(std::make_unique<Delivery>(
          *m_connector, *m_resume, *m_book, *m_handlers, m_options, m_localEndpoint, *m_ended,
          [this](const std::string& endpoint) { Handover::ofProcess().settled(*m_book, endpoint); })),
      m_member(std::make_unique<HandoverMember>(
          HandoverMember{*m_handlers, *m_book, *m_resume, *m_delivery, m_localEndpoint})) {
    MSG_BindOwner(m_localEndpoint.c_str(), &SocketTransport::carry, this);
}

SocketTransport::~SocketTransport() {
    end();
    m_calls->awaitRefused();
    Handover::ofProcess().leave(*m_member);
}

void SocketTransport::end() {
    if (!m_calls->close()) return;
    m_ended->set();
    m_delivery->end();
    m_calls->awaitNone();
    MSG_UnbindOwner(m_localEndpoint.c_str());
}

int SocketTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                      google::protobuf::MessageLite* response, const std::string& endpoint) {
    const CallCounter::Call call(*m_calls);
    const Outcome outcome = call.isAllowed() ? exchange(request, response, endpoint, true) : passOn(request, endpoint);
    if (!outcome.ok() && response != nullptr) response->Clear();
    return finish(endpoint, outcome);
}

int SocketTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint, void*) {
    const CallCounter::Call call(*m_calls);
    return finish(endpoint, call.isAllowed() ? exchange(message, nullptr, endpoint, false) : passOn(message, endpoint));
}

Outcome SocketTransport::passOn(const google::protobuf::MessageLite& message, const std::string& endpoint) {
    Outcome outcome{TRANSPORT_ENDED, {}};
    Frame frame;
    frame.set_kind(ONE_WAY);
    frame.set_message_id(ConfigIF::messageId(message.GetTypeName()));
    if (!RegistrationBook::concerns(frame)) return outcome;
    message.SerializePartialToString(frame.mutable_payload());
    RegistrationBook::Call registration(*m_book, endpoint, frame);
    registration.end(outcome, Frame());
    if (registration.isLate()) Handover::ofProcess().forward(*m_member, endpoint, registration);
    return outcome;
}

Outcome SocketTransport::exchange(const google::protobuf::MessageLite& message, google::protobuf::MessageLite* response,
                                  const std::string& endpoint, bool awaitReply) {
    const Deadline deadline = Deadline::after(m_options.deadline);
    Outcome outcome = m_connector->check(endpoint);
    if (!outcome.ok()) return outcome;

    Frame frame;
    frame.set_kind(awaitReply ? REQUEST : ONE_WAY);
    frame.set_message_id(ConfigIF::messageId(message.GetTypeName()));
    if (frame.message_id() == 0) return {TRANSPORT_UNKNOWN_MESSAGE, message.GetTypeName()};
    const std::size_t payloadBytes = message.ByteSizeLong();
    if (payloadBytes <= m_options.frameLimit) message.SerializePartialToString(frame.mutable_payload());
    // With the largest number of all, so that whether a message is too large does not depend on how many went before.
    frame.set_correlation(std::numeric_limits<std::uint64_t>::max());
    if (payloadBytes > m_options.frameLimit || frame.ByteSizeLong() > m_options.frameLimit) {
        return {TRANSPORT_TOO_LARGE, std::to_string(payloadBytes) + " bytes, and a frame of at most " +
                                         std::to_string(m_options.frameLimit) + " has to hold them"};
    }
    frame.clear_correlation();

    RegistrationBook::Call registration(*m_book, endpoint, frame);
    Frame reply;
    outcome = converse(
        frame, endpoint, deadline, [&registration] { registration.leaves(); }, reply, response);
    if (registration.end(outcome, reply)) {
        if (!outcome.ok()) m_resume->registeredInVain(endpoint);
        m_delivery->registrationsChanged();
    }
    if (registration.isLate()) Handover::ofProcess().forward(*m_member, endpoint, registration);
    return outcome;
}

Outcome SocketTransport::converse(Frame& frame, const std::string& endpoint, Deadline deadline,
                                  const std::function<void()>& leaves, Frame& reply,
                                  google::protobuf::MessageLite* response) {
    const bool awaitReply = frame.kind() == REQUEST;
    // A write may wait until its provider is there, which this process may be about to register. The service tells it
    // of the write all the same, so a registration misses nothing by coming first.
    const bool mayOvertake = RegistrationBook::registers(frame);
    Outcome outcome;
    PlainWaiter plain(m_ended.get());
    Waiter& waiter = m_delivery->isDeliveryThread() ? static_cast<Waiter&>(*m_delivery) : plain;
    m_delivery->awaitConnection(endpoint, false, deadline);
    for (;;) {
        std::unique_ptr<RequestConnection> connection = m_requests->borrow(endpoint, mayOvertake);
        const bool fresh = connection == nullptr;
        if (fresh) {
            outcome = m_requests->open(endpoint, deadline, waiter, connection);
            if (!outcome.ok()) return outcome;
            m_delivery->awaitConnection(endpoint, true, deadline);
        }
        if (awaitReply) frame.set_correlation(++connection->lastCorrelation);
        std::size_t taken = 0;
        leaves();
        outcome = connection->stream.write(encodeFrame(frame), deadline, waiter, &taken);
        // The service ended after the connection had been looked at, and before it got anything: not this call's fault.
        if (outcome.status == TRANSPORT_BROKEN_OFF && taken == 0 && !fresh) continue;
        if (outcome.status == TRANSPORT_BROKEN_OFF) return whyBrokenOff(connection->stream, outcome);
        if (outcome.ok() && awaitReply) {
            outcome = connection->stream.read(reply, deadline, waiter);
            if (outcome.ok()) m_requests->noteSeen(endpoint, *connection, reply);
            if (outcome.ok()) outcome = readReply(reply, frame.correlation(), response);
        }
        if (!isReusable(outcome)) return outcome;
        if (awaitReply) {
            connection->reservedFor = {};
        } else {
            connection->reserve(frame.message_id() == ConfigIF::messageId("ConfigIF.WriteReq"));
        }
        m_requests->giveBack(endpoint, std::move(connection));
        return outcome;
    }
}

int SocketTransport::addRemoteEndpoint(const std::string& endpoint, int /*channel*/) {
    const CallCounter::Call call(*m_calls);
    if (!call.isAllowed()) return finish(endpoint, {TRANSPORT_ENDED, {}});
    // Also when nothing can come from it: the table that follows must not get what is meant for another link.
    m_handlers->nameEndpoint(endpoint);
    const Outcome outcome = m_connector->check(endpoint);
    return finish(endpoint, outcome.ok() ? m_delivery->add(endpoint) : outcome);
}

int SocketTransport::addHandlers(const MSG_Callback* table) {
    if (table == nullptr) return finish("addHandlers", {TRANSPORT_BAD_ARGUMENT, "no table"});
    Handover::ofProcess().claim(*m_member, table, m_handlers->add(table));
    return finish({}, {});
}

std::string SocketTransport::localEndpoint() const {
    return m_localEndpoint;
}

int SocketTransport::carry(void* context, MSG_Address receiver, MSG_Message* message) {
    const auto* transport = static_cast<const SocketTransport*>(context);
    const std::unique_ptr<MSG_Message, void (*)(MSG_Message*)> owned(message, MSG_Destroy);
    std::string payload(static_cast<const char*>(MSG_GetPayload(message)), MSG_GetPayloadBytes(message));
    return transport->m_delivery->answer(receiver, std::move(payload)) ? 0 : -1;
}

}  // namespace PbUtility
