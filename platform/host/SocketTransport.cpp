#include "SocketTransport.h"

#include <google/protobuf/message_lite.h>

#include <cerrno>
#include <cstdio>
#include <functional>
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
#include "wire/Escaped.h"

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

int finish(const std::string& endpoint, const Result<>& outcome) {
    std::string sentence;
    if (!outcome) {
        const Failure& why = outcome.error();
        sentence = endpoint + ": " + transportStatusText(why.code);
        if (!why.reason.empty()) sentence += " (" + why.reason + ")";
        // Applications log it, and the peer has chosen some of its words.
        sentence = AppConfigWire::escaped(sentence);
    }
    setLastTransportFailure(std::move(sentence));
    return statusOf(outcome);
}

/// Takes the frame that came for the request \p correlation and leaves the payload in \p response.
Result<> readReply(const Frame& frame, std::uint64_t correlation, google::protobuf::MessageLite* response) {
    if (frame.kind() != REPLY) return failure(unexpectedFrame(frame));
    if (frame.correlation() != correlation) {
        return failure(TRANSPORT_PROTOCOL_ERROR, "unexpected reply");
    }
    // A status of a later version must not read as the default, which is OK.
    if (!frame.has_status() && !frame.unknown_fields().empty()) {
        return failure(TRANSPORT_PROTOCOL_ERROR, "the reply has an unknown status");
    }
    if (frame.status() == UNSUPPORTED) return failure(TRANSPORT_UNSUPPORTED, frame.reason());
    if (frame.status() == UNREADABLE) return failure(TRANSPORT_UNREADABLE_REQUEST, frame.reason());
    if (response == nullptr) return {};
    const std::string type = response->GetTypeName();
    if (frame.message_id() != ConfigIF::messageId(type)) {
        const std::string came(ConfigIF::messageName(frame.message_id()));
        return failure(TRANSPORT_UNREADABLE_REPLY,
                       "received " + (came.empty() ? "message " + std::to_string(frame.message_id()) : came) +
                           " instead of " + type);
    }
    if (!response->ParseFromString(frame.payload())) {
        return failure(TRANSPORT_UNREADABLE_REPLY, "the payload is not a valid " + type);
    }
    return {};
}

/// \return the reason that the peer left behind when it closed the connection, else \p lost.
Failure whyLost(FrameStream& stream, const Failure& lost) {
    PlainWaiter waiter(nullptr);
    const Result<Frame> frame = stream.read(Deadline::after({}), waiter);
    return frame && frame->kind() == REFUSED ? unexpectedFrame(*frame) : lost;
}

/// \return whether the connection is in step with its peer after \p outcome.
bool isReusable(const Result<>& outcome) {
    switch (statusOf(outcome)) {
        case TRANSPORT_OK:
        case TRANSPORT_UNSUPPORTED:
        case TRANSPORT_UNREADABLE_REQUEST:
        case TRANSPORT_UNREADABLE_REPLY: return true;
        default: return false;
    }
}

}  // namespace

/// What a transport consists of. Each part synchronises itself. They are destroyed in reverse order: the delivery
/// thread before what it uses.
class SocketTransport::Parts {
public:
    Parts(std::unique_ptr<Connector> usedConnector, TransportOptions usedOptions)
        : options(std::move(usedOptions)), connector(std::move(usedConnector)) {}

    const TransportOptions options;
    const std::string localEndpoint = uniqueEndpointName();
    const std::unique_ptr<Connector> connector;
    EventFlag ended;
    CallCounter calls;
    ResumePoints resume{ResumePoints::PassOn{
        [this](const std::string& endpoint, std::uint64_t timeline, std::uint64_t number) {
            Handover::ofProcess().sawLate(member, endpoint, timeline, number);
        },
        [this](const std::string& endpoint) { Handover::ofProcess().joinedLate(member, endpoint); }}};
    RegistrationBook book{options};
    HandlerTable handlers;
    RequestConnections requests{*connector, resume, options, localEndpoint};
    Delivery delivery{
        *connector, resume,
        book,       handlers,
        options,    localEndpoint,
        ended,      [this](const std::string& endpoint) { Handover::ofProcess().settled(book, endpoint); }};
    HandoverMember member{handlers, book, resume, delivery, localEndpoint};

    /// Carries a request or a one-way message out. \p response is filled on success, unless it is null.
    Result<> exchange(const google::protobuf::MessageLite& message, google::protobuf::MessageLite* response,
                      const std::string& endpoint, bool awaitReply);

    /// The transport has ended, but a thread may have looked it up before its link was given another: the other one
    /// takes over what that thread registers or unregisters. \return TRANSPORT_ENDED.
    Failure passOn(const google::protobuf::MessageLite& message, const std::string& endpoint);

private:
    /// Sends \p frame, a request or a one-way message. \p reply gets the frame that answered it. \p leaves is called
    /// before each attempt to send it.
    Result<> converse(Frame& frame, const std::string& endpoint, Deadline deadline, const std::function<void()>& leaves,
                      Frame& reply, google::protobuf::MessageLite* response);
};

SocketTransport::SocketTransport(std::unique_ptr<Connector> connector, TransportOptions options)
    : m_parts(std::make_unique<Parts>(std::move(connector), std::move(options))) {
    MSG_BindOwner(m_parts->localEndpoint.c_str(), &SocketTransport::carry, this);
}

SocketTransport::~SocketTransport() {
    end();
    m_parts->calls.awaitRefused();
    Handover::ofProcess().leave(m_parts->member);
}

void SocketTransport::end() {
    if (!m_parts->calls.close()) return;
    m_parts->ended.set();
    m_parts->delivery.end();
    m_parts->calls.awaitNone();
    MSG_UnbindOwner(m_parts->localEndpoint.c_str());
}

int SocketTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                      google::protobuf::MessageLite* response, const std::string& endpoint) {
    const CallCounter::Call call(m_parts->calls);
    const Result<> outcome = call.isAllowed() ? m_parts->exchange(request, response, endpoint, true)
                                              : failure(m_parts->passOn(request, endpoint));
    if (!outcome && response != nullptr) response->Clear();
    return finish(endpoint, outcome);
}

int SocketTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint, void*) {
    const CallCounter::Call call(m_parts->calls);
    return finish(endpoint, call.isAllowed() ? m_parts->exchange(message, nullptr, endpoint, false)
                                             : failure(m_parts->passOn(message, endpoint)));
}

Failure SocketTransport::Parts::passOn(const google::protobuf::MessageLite& message, const std::string& endpoint) {
    Failure hasEnded{TRANSPORT_ENDED, {}};
    Frame frame;
    frame.set_kind(ONE_WAY);
    frame.set_message_id(ConfigIF::messageId(message.GetTypeName()));
    if (!RegistrationBook::concerns(frame)) return hasEnded;
    message.SerializePartialToString(frame.mutable_payload());
    RegistrationBook::Call registration(book, endpoint, frame);
    registration.end(false, Frame());
    if (registration.isLate()) Handover::ofProcess().forward(member, endpoint, registration);
    return hasEnded;
}

Result<> SocketTransport::Parts::exchange(const google::protobuf::MessageLite& message,
                                          google::protobuf::MessageLite* response, const std::string& endpoint,
                                          bool awaitReply) {
    const Deadline deadline = Deadline::after(options.deadline);
    Result<> outcome = connector->check(endpoint);
    if (!outcome) return outcome;

    Frame frame;
    frame.set_kind(awaitReply ? REQUEST : ONE_WAY);
    frame.set_message_id(ConfigIF::messageId(message.GetTypeName()));
    if (frame.message_id() == 0) return failure(TRANSPORT_UNKNOWN_MESSAGE, message.GetTypeName());
    const std::size_t payloadBytes = message.ByteSizeLong();
    if (payloadBytes <= options.frameLimit) message.SerializePartialToString(frame.mutable_payload());
    // With the largest number of all, so that whether a message is too large does not depend on how many went before.
    frame.set_correlation(std::numeric_limits<std::uint64_t>::max());
    if (payloadBytes > options.frameLimit || frame.ByteSizeLong() > options.frameLimit) {
        return failure(TRANSPORT_TOO_LARGE, std::to_string(payloadBytes) + " bytes, a frame holds at most " +
                                                std::to_string(options.frameLimit));
    }
    frame.clear_correlation();

    RegistrationBook::Call registration(book, endpoint, frame);
    Frame reply;
    outcome = converse(
        frame, endpoint, deadline, [&registration] { registration.leaves(); }, reply, response);
    if (registration.end(outcome.has_value(), reply)) {
        if (!outcome) resume.registeredInVain(endpoint);
        delivery.registrationsChanged();
    }
    if (registration.isLate()) Handover::ofProcess().forward(member, endpoint, registration);
    return outcome;
}

Result<> SocketTransport::Parts::converse(Frame& frame, const std::string& endpoint, Deadline deadline,
                                          const std::function<void()>& leaves, Frame& reply,
                                          google::protobuf::MessageLite* response) {
    const bool awaitReply = frame.kind() == REQUEST;
    // A write may wait for its provider, which this process may be about to register. The service asks it about the
    // write all the same, so a registration misses nothing by coming first.
    const bool mayOvertake = RegistrationBook::registers(frame);
    PlainWaiter plain(&ended);
    Waiter& waiter = delivery.isDeliveryThread() ? static_cast<Waiter&>(delivery) : plain;
    delivery.awaitConnection(endpoint, false, deadline);
    for (;;) {
        std::unique_ptr<RequestConnection> connection = requests.borrow(endpoint, mayOvertake);
        const bool fresh = connection == nullptr;
        if (fresh) {
            auto opened = requests.open(endpoint, deadline, waiter);
            if (!opened) return failure(std::move(opened.error()));
            connection = std::move(*opened);
            delivery.awaitConnection(endpoint, true, deadline);
        }
        if (awaitReply) frame.set_correlation(++connection->lastCorrelation);
        std::size_t taken = 0;
        leaves();
        Result<> outcome = connection->stream.write(encodeFrame(frame), deadline, waiter, &taken);
        if (statusOf(outcome) == TRANSPORT_BROKEN_OFF) {
            // The service ended after the connection had been checked, and before it received anything: this call is
            // not to blame.
            if (taken == 0 && !fresh) continue;
            return failure(whyLost(connection->stream, outcome.error()));
        }
        if (outcome && awaitReply) {
            Result<Frame> came = connection->stream.read(deadline, waiter);
            if (!came) return failure(std::move(came.error()));
            reply = std::move(*came);
            requests.noteSeen(endpoint, *connection, reply);
            outcome = readReply(reply, frame.correlation(), response);
        }
        if (!isReusable(outcome)) return outcome;
        if (awaitReply) {
            connection->reservedFor = {};
        } else {
            connection->reserve(frame.message_id() == ConfigIF::messageId("ConfigIF.WriteReq"));
        }
        requests.giveBack(endpoint, std::move(connection));
        return outcome;
    }
}

int SocketTransport::addRemoteEndpoint(const std::string& endpoint, int /*channel*/) {
    const CallCounter::Call call(m_parts->calls);
    if (!call.isAllowed()) return finish(endpoint, failure(TRANSPORT_ENDED));
    // Also when nothing can come from it: the table that follows must not get what is meant for another link.
    m_parts->handlers.nameEndpoint(endpoint);
    const Result<> outcome = m_parts->connector->check(endpoint);
    return finish(endpoint, outcome ? m_parts->delivery.add(endpoint) : outcome);
}

int SocketTransport::addHandlers(const MSG_Callback* table) {
    if (table == nullptr) return finish("addHandlers", failure(TRANSPORT_BAD_ARGUMENT, "the table is null"));
    Handover::ofProcess().tableAdded(m_parts->member, table, m_parts->handlers.add(table));
    return finish({}, {});
}

std::string SocketTransport::localEndpoint() const {
    return m_parts->localEndpoint;
}

int SocketTransport::carry(void* context, MSG_Address receiver, MSG_Message* message) {
    const auto* transport = static_cast<const SocketTransport*>(context);
    const std::unique_ptr<MSG_Message, void (*)(MSG_Message*)> owned(message, MSG_Destroy);
    std::string payload(static_cast<const char*>(MSG_GetPayload(message)), MSG_GetPayloadBytes(message));
    return transport->m_parts->delivery.answer(receiver, std::move(payload)) ? 0 : -1;
}

}  // namespace PbUtility
