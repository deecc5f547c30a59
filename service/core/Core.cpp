#include "core/Core.h"

#include <utility>

#include "MessageIds.h"
#include "core/Names.h"

// What comes in sets the clock and goes to one part. A part may call back up (see Upcalls) and so reach this file again
// in the middle of its work; the outbox never does. What a request needs of its connection is therefore copied into its
// Call before it is served, and the connection is looked up again when the request ends: it may have ended before.

namespace AppConfigService {

using AppConfigWire::Frame;

Core::Core(StateStore& store, Outbox& outbox, ServiceOptions options, Log log)
    : m_store(store),
      m_outbox(outbox),
      m_options(std::move(options)),
      m_log(std::move(log)),
      m_journal(store),
      m_messages(m_options, m_journal),
      m_rounds(m_options, m_clock, *this),
      m_roles(m_options, m_clients, m_journal, m_clock),
      m_deciders(m_roles, m_catalogue),
      m_notifier(
          {m_options, m_catalogue, m_registrations, m_clients, m_journal, m_messages, m_rounds, outbox, *this, m_log}),
      m_changes({m_options, m_registrations, m_clients, m_roles, m_deciders, m_messages, m_rounds, m_journal,
                 m_notifier, m_clock, m_log}),
      m_enrolment({m_options, m_registrations, m_clients, m_journal, m_notifier, m_changes}),
      m_requests({m_options, m_catalogue, m_registrations, m_clients, m_roles, m_deciders, m_changes, m_enrolment,
                  m_journal, m_notifier, m_messages, m_statistics, *this, m_log}),
      m_connections({m_options, m_registrations, m_clients, m_journal, m_rounds, m_notifier, m_changes, m_enrolment,
                     outbox, *this, m_clock, m_log}) {}

void Core::connected(ConnectionId connection, const Peer& peer, Time now, bool internal) {
    m_clock.set(now);
    m_connections.open(connection, peer, internal);
}

bool Core::busy(ConnectionId connection) const {
    const Connection* const found = m_connections.find(connection);
    return found != nullptr && found->busy;
}

void Core::receive(ConnectionId id, const Frame& frame, Time now) {
    m_clock.set(now);
    const Connection* const connection = m_connections.find(id);
    if (connection == nullptr) return;
    if (!connection->client) return m_connections.handshake(id, frame);

    // Serving the frame may close the connection, so it is not used afterwards.
    const bool delivery = connection->purpose == AppConfigWire::DELIVERY;
    switch (frame.kind()) {
        case AppConfigWire::REQUEST:
        case AppConfigWire::ONE_WAY:
            if (!delivery) return request(id, *connection, frame);
            break;
        case AppConfigWire::ANSWER:
            if (delivery) {
                const ClientKey client = *connection->client;
                return m_rounds.answer(client, frame.correlation(), {frame.answer().begin(), frame.answer().end()});
            }
            break;
        case AppConfigWire::REGISTRATIONS:
            if (delivery) return registrations(id, *connection, frame);
            break;
        case AppConfigWire::HANDLED:
            if (delivery) return m_notifier.handled(*connection->client, frame.correlation());
            break;
        case AppConfigWire::GOODBYE:
            if (delivery) return m_connections.goodbye(id);
            break;
        default: break;
    }
    m_connections.refuse(id,
                         "a " + AppConfigWire::Kind_Name(frame.kind()) + " frame is not allowed on this connection");
}

void Core::request(ConnectionId id, const Connection& connection, const Frame& frame) {
    if (ConfigIF::messageName(frame.message_id()).empty()) {
        return m_connections.refuse(id, "message id " + std::to_string(frame.message_id()) + " is unknown");
    }
    ++m_statistics.received[frame.message_id()];
    const Call call{id,
                    frame.correlation(),
                    frame.message_id(),
                    frame.kind() == AppConfigWire::REQUEST,
                    *connection.client,
                    connection.peer.pid,
                    connection.internal};
    // Before it is served, since it may have ended before that returns.
    m_connections.begin(id);
    const Interception decision = intercepted(call, frame.payload());
    switch (decision.action) {
        case Interception::Action::serve: break;
        case Interception::Action::ignore: return m_connections.end(id, nullptr);
        case Interception::Action::refuse:
            return m_requests.refuse(call, frame.payload(), {decision.error, decision.message});
        case Interception::Action::disconnect: return m_connections.close(id);
    }
    m_requests.serve(call, frame.payload());
}

void Core::registrations(ConnectionId id, const Connection& connection, const Frame& frame) {
    const auto rows =
        static_cast<std::size_t>(frame.registration_size()) + static_cast<std::size_t>(frame.withdrawn_size());
    if (rows > mostRegistrationsAtOnce) {
        return m_connections.refuse(
            id, "a REGISTRATIONS frame has more than " + std::to_string(mostRegistrationsAtOnce) + " rows");
    }
    const Call call{id,
                    frame.correlation(),
                    ConfigIF::messageId("ConfigIF.RegisterClientCallbackReq"),
                    true,
                    *connection.client,
                    connection.peer.pid,
                    connection.internal};
    m_connections.begin(id);
    const auto done = [this, id](const Frame& reply) { m_connections.end(id, &reply); };
    if (frame.registration_size() > 0) {
        // An interceptor of registrations is asked about these as well.
        ConfigIF::RegisterClientCallbackReq first;
        first.set_client_name(frame.registration(0).requester());
        first.set_var_name(frame.registration(0).name());
        first.set_callback_name(frame.registration(0).callback());
        const Interception decision = intercepted(call, first.SerializeAsString());
        if (decision.action == Interception::Action::ignore) return m_connections.end(id, nullptr);
        if (decision.action == Interception::Action::disconnect) return m_connections.close(id);
        if (decision.action == Interception::Action::refuse) {
            Frame refused;
            refused.set_kind(AppConfigWire::REGISTERED);
            refused.set_correlation(frame.correlation());
            for (std::size_t i = 0; i < rows + (frame.complete() ? 1 : 0); ++i) {
                AppConfigWire::Refusal* refusal = refused.add_refusal();
                refusal->set_index(static_cast<std::uint32_t>(i));
                refusal->set_error(decision.error);
            }
            return done(refused);
        }
    }
    m_requests.enrol(call, frame, done);
}

Interception Core::intercepted(const Call& call, const std::string& payload) const {
    if (!m_interceptor || call.internal) return {};
    return m_interceptor({call.client.endpoint, call.messageId, payload, call.awaited});
}

void Core::reply(const Call& call, const google::protobuf::MessageLite& response) {
    finish(call, AppConfigWire::OK, &response);
}

void Core::fail(const Call& call, AppConfigWire::Status status) {
    finish(call, status, nullptr);
}

void Core::deliver(ConnectionId delivery, const Frame& frame) {
    ++m_statistics.sent[frame.message_id()];
    m_outbox.send(delivery, frame);
}

void Core::finish(const Call& call, AppConfigWire::Status status, const google::protobuf::MessageLite* response) {
    // Its client did not wait for the end.
    if (m_connections.find(call.connection) == nullptr) return;
    if (!call.awaited) return m_connections.end(call.connection, nullptr);
    Frame frame;
    frame.set_kind(AppConfigWire::REPLY);
    frame.set_correlation(call.correlation);
    frame.set_status(status);
    if (response != nullptr) {
        frame.set_message_id(ConfigIF::messageId(response->GetTypeName()));
        frame.set_payload(response->SerializeAsString());
        ++m_statistics.sent[frame.message_id()];
        m_messages.stamp(frame);
    }
    m_connections.end(call.connection, &frame);
}

void Core::refuse(ConnectionId connection, const std::string& reason, Time now) {
    m_clock.set(now);
    m_connections.refuse(connection, reason);
}

void Core::disconnected(ConnectionId connection, Time now) {
    m_clock.set(now);
    m_connections.lose(connection);
}

void Core::drained(ConnectionId connection, Time now) {
    m_clock.set(now);
    m_connections.drained(connection);
}

void Core::disconnectClient(const std::string& endpoint, Time now) {
    m_clock.set(now);
    m_connections.closeClient(endpoint);
}

void Core::flush(Time now) {
    m_clock.set(now);
    store();
}

// Entries that are told that they are stored may add further ones, such as writes that waited. These wait for the next
// call, so that each turn of the loop stores once and a long chain does not delay anybody.
void Core::store() {
    const Result<> stored = m_journal.flush();
    if (!stored) m_log(LogLevel::error, "could not store: " + stored.error().reason);
}

void Core::tick(Time now) {
    m_clock.set(now);
    m_rounds.expire();
    m_changes.expire();
    m_roles.storeAgain();
    // Last, since it stores, along with its own, what the others have added.
    m_connections.expire();
}

std::optional<Time> Core::nextDeadline() const {
    std::optional<Time> next = m_rounds.nextDeadline();
    for (const std::optional<Time>& other :
         {m_changes.nextDeadline(), m_roles.nextDeadline(), m_connections.nextDeadline()}) {
        if (other && (!next || *other < *next)) next = other;
    }
    return next;
}

}  // namespace AppConfigService
