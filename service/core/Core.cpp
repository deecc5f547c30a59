#include "core/Core.h"

#include <algorithm>
#include <utility>

#include "MessageIds.h"
#include "core/Wire.h"

namespace AppConfigService {

using AppConfigHost::Frame;

Core::Core(StateStore& store, Outbox& outbox, ServiceOptions options, Log log)
    : m_store(store),
      m_outbox(outbox),
      m_options(std::move(options)),
      m_log(std::move(log)),
      m_journal(store),
      m_messages(m_options, m_journal),
      m_rounds(m_options, m_clock, *this),
      m_roles(m_options, m_clients, m_journal, m_clock),
      m_notifier({m_options, m_catalogue, m_registrations, m_clients, m_journal, m_messages, m_rounds, outbox, *this,
                  m_log}),
      m_changes({m_options, m_registrations, m_clients, m_roles, m_messages, m_rounds, m_journal, m_notifier, m_clock,
                 m_log}),
      m_requests({m_options, m_catalogue, m_registrations, m_clients, m_roles, m_changes, m_journal, m_notifier,
                  m_messages, m_statistics, *this, m_log}) {}

void Core::connected(ConnectionId connection, std::uint32_t uid, Time now, bool internal) {
    m_clock.set(now);
    m_connections[connection] = Connection{uid, internal, std::nullopt, AppConfigHost::REQUESTS, false};
    if (internal) return;
    m_silent[connection] = now + helloDeadline;
    if (m_connections.size() > mostConnections) {
        rejectNow(connection, "the service has " + std::to_string(mostConnections) + " connections already");
    }
}

bool Core::busy(ConnectionId connection) const {
    const auto found = m_connections.find(connection);
    return found != m_connections.end() && found->second.busy;
}

void Core::receive(ConnectionId id, const Frame& frame, Time now) {
    m_clock.set(now);
    const auto found = m_connections.find(id);
    if (found == m_connections.end()) return;
    Connection& connection = found->second;
    if (!connection.client) return hello(id, connection, frame);

    const bool delivery = connection.purpose == AppConfigHost::DELIVERY;
    switch (frame.kind()) {
        case AppConfigHost::REQUEST:
        case AppConfigHost::ONE_WAY:
            if (!delivery) return request(id, connection, frame);
            break;
        case AppConfigHost::ANSWER:
            if (delivery) {
                const ClientKey client = *connection.client;
                return m_rounds.answer(client, frame.correlation(), {frame.answer().begin(), frame.answer().end()});
            }
            break;
        case AppConfigHost::REGISTRATIONS:
            if (delivery) return registrations(id, connection, frame);
            break;
        case AppConfigHost::HANDLED:
            if (delivery) return m_notifier.handled(*m_clients.find(*connection.client), frame.correlation());
            break;
        case AppConfigHost::GOODBYE:
            if (delivery) return farewell(id, *connection.client);
            break;
        default: break;
    }
    rejectNow(id, "a " + AppConfigHost::Kind_Name(frame.kind()) + " frame has no place on this connection");
}

void Core::request(ConnectionId id, Connection& connection, const Frame& frame) {
    if (ConfigIF::messageName(frame.message_id()).empty()) {
        return rejectNow(id, "message id " + std::to_string(frame.message_id()) + " is unknown");
    }
    ++m_statistics.received[frame.message_id()];
    const Call call{id,
                    frame.correlation(),
                    frame.message_id(),
                    frame.kind() == AppConfigHost::REQUEST,
                    *connection.client,
                    connection.internal};
    connection.busy = true;
    const Interception decision = intercepted(connection, call, frame.payload());
    switch (decision.action) {
        case Interception::Action::serve: break;
        case Interception::Action::ignore: connection.busy = false; return m_outbox.idle(id);
        case Interception::Action::refuse:
            return m_requests.refuse(call, frame.payload(), decision.error, decision.message);
        case Interception::Action::disconnect: return drop(id);
    }
    m_requests.serve(call, frame.payload());
}

Interception Core::intercepted(const Connection& connection, const Call& call, const std::string& payload) const {
    if (!m_interceptor || connection.internal) return {};
    return m_interceptor({call.client.endpoint, call.messageId, payload, call.awaited});
}

void Core::reply(const Call& call, const google::protobuf::MessageLite& response) {
    finish(call, AppConfigHost::OK, &response);
}

void Core::fail(const Call& call, AppConfigHost::Status status) {
    finish(call, status, nullptr);
}

void Core::deliver(ConnectionId delivery, const Frame& frame) {
    ++m_statistics.sent[frame.message_id()];
    m_outbox.send(delivery, frame);
}

void Core::finish(const Call& call, AppConfigHost::Status status, const google::protobuf::MessageLite* response) {
    const auto found = m_connections.find(call.connection);
    if (found == m_connections.end()) return;
    found->second.busy = false;
    if (call.awaited) {
        Frame frame;
        frame.set_kind(AppConfigHost::REPLY);
        frame.set_correlation(call.correlation);
        frame.set_status(status);
        if (response != nullptr) {
            frame.set_message_id(ConfigIF::messageId(response->GetTypeName()));
            frame.set_payload(response->SerializeAsString());
            ++m_statistics.sent[frame.message_id()];
            m_messages.stamp(frame);
        }
        m_outbox.send(call.connection, frame);
    }
    m_outbox.idle(call.connection);
}

std::string Core::clientOf(ConnectionId connection) const {
    const auto found = m_connections.find(connection);
    const bool named = found != m_connections.end() && found->second.client;
    return named ? found->second.client->endpoint : "a client without a name";
}

void Core::reject(ConnectionId id, const std::string& reason, Time now) {
    m_clock.set(now);
    rejectNow(id, reason);
}

void Core::rejectNow(ConnectionId id, const std::string& reason) {
    const auto found = m_connections.find(id);
    if (found == m_connections.end()) return;
    m_log(LogLevel::warning, "closing a connection of " + clientOf(id) + ": " + reason);
    Frame frame;
    frame.set_kind(AppConfigHost::REFUSED);
    frame.set_reason(reason);
    m_outbox.send(id, frame);
    drop(id);
}

void Core::disconnected(ConnectionId id, Time now) {
    m_clock.set(now);
    lose(id);
}

void Core::lose(ConnectionId id) {
    const auto found = m_connections.find(id);
    if (found == m_connections.end()) return;
    const Connection connection = found->second;
    m_silent.erase(id);
    m_connections.erase(found);
    if (!connection.client) return;
    Client* client = m_clients.find(*connection.client);
    if (client == nullptr) return;
    client->connections.erase(id);
    const bool last = client->connections.empty();
    if (last && client->leaving) return forget(*connection.client, "said goodbye");
    if (last && connection.internal) return forget(*connection.client, "was internal");
    if (last) client->goneSince = m_clock.now();
    // At the end: whoever waits for its answers goes on in there.
    if (client->delivery == id) loseDelivery(*client);
}

void Core::drained(ConnectionId connection, Time now) {
    m_clock.set(now);
    const auto found = m_connections.find(connection);
    if (found == m_connections.end() || !found->second.client) return;
    Client* client = m_clients.find(*found->second.client);
    if (client != nullptr && client->delivery == connection) m_notifier.goOn(*client);
}

void Core::loseDelivery(Client& client) {
    client.delivery.reset();
    client.deliveryLost = m_clock.now();
    m_rounds.lost(client.key);
}

void Core::drop(ConnectionId id) {
    m_outbox.close(id);
    lose(id);
}

void Core::disconnectClient(const std::string& endpoint, Time now) {
    m_clock.set(now);
    std::vector<ConnectionId> ids;
    for (const auto& entry : m_connections) {
        const Connection& connection = entry.second;
        if (connection.internal) continue;
        // Those that have not said yet whose they are go with all of them.
        const bool named = connection.client && connection.client->endpoint == endpoint;
        if (endpoint.empty() || named) ids.push_back(entry.first);
    }
    for (const ConnectionId id : ids) drop(id);
}

void Core::farewell(ConnectionId delivery, ClientKey key) {
    Client* client = m_clients.find(key);
    if (client == nullptr) return;
    forgetStored(*client);
    // What it sent before on its other connections may not have been read yet, and was handed over: it is still served.
    client->leaving = true;
    drop(delivery);
}

void Core::forgetStored(Client& client) {
    m_registrations.removeClient(client.key);
    if (!client.hasRow()) return;
    const bool had = std::exchange(client.stored, false);
    m_journal.add([key = client.key](Batch& batch) { batch.entries.emplace_back(ClientForgotten{key}); },
                  [this, key = client.key, had](bool stored) {
                      // Registrations that were under way have been entered just before, and are not stored any more.
                      if (stored) m_registrations.removeClient(key);
                      // It may have come again meanwhile.
                      if (Client* const again = m_clients.find(key)) again->stored = !stored && had;
                  });
}

void Core::forget(const ClientKey& key, const char* why) {
    Client* client = m_clients.find(key);
    if (client == nullptr) return;
    m_log(LogLevel::info, "client " + key.endpoint + " is forgotten: it " + why);
    const std::vector<ConnectionId> connections(client->connections.begin(), client->connections.end());
    forgetStored(*client);
    m_clients.erase(key);
    for (const ConnectionId id : connections) {
        m_outbox.close(id);
        m_connections.erase(id);
    }
    m_rounds.lost(key);
}

void Core::flush(Time now) {
    m_clock.set(now);
    store();
}

void Core::store() {
    const std::string error = m_journal.flush();
    if (!error.empty()) m_log(LogLevel::error, "could not store: " + error);
}

void Core::tick(Time now) {
    m_clock.set(now);
    m_rounds.expire();
    m_changes.expire();
    m_roles.storeAgain();
    while (!m_silent.empty() && m_silent.begin()->second <= now) {
        rejectNow(m_silent.begin()->first,
                  "it did not say HELLO within " + std::to_string(helloDeadline.count()) + " seconds");
    }
    forgetOverdue();
}

void Core::forgetOverdue() {
    const char* const why = "stayed away too long";
    bool adds = false;
    for (const ClientKey& key : m_clients.overdue(m_clock.now(), m_options.grace)) {
        const Client& client = *m_clients.find(key);
        if (!client.hasRow()) {
            forget(key, why);
            continue;
        }
        adds = true;
        // Not before the store has: the next start would bring its registrations back, and take the client, which may
        // have come again and been told nothing, for one that has had them all along.
        m_journal.add([key](Batch& batch) { batch.entries.emplace_back(ClientForgotten{key}); },
                      [this, key, why](bool stored) {
                          Client* overdue = m_clients.find(key);
                          if (overdue == nullptr) return;
                          if (!stored) {
                              // Not at once, however short the grace time is: the disk is in trouble.
                              overdue->goneSince =
                                  m_clock.now() + std::max(std::chrono::milliseconds(0), storePause - m_options.grace);
                              return;
                          }
                          overdue->stored = false;
                          forget(key, why);
                      });
    }
    // At once, since it could come back in between.
    if (adds) store();
}

std::optional<Time> Core::nextDeadline() const {
    std::optional<Time> next = m_rounds.nextDeadline();
    for (const std::optional<Time>& other :
         {m_changes.nextDeadline(), m_roles.nextDeadline(), m_clients.nextDue(m_options.grace)}) {
        if (other && (!next || *other < *next)) next = other;
    }
    if (!m_silent.empty() && (!next || m_silent.begin()->second < *next)) next = m_silent.begin()->second;
    return next;
}

}  // namespace AppConfigService
