#include "core/Connections.h"

#include <algorithm>
#include <vector>

// How connections and clients end. Whatever waits for a client's answers continues as soon as they cannot come any
// more, and so does everything that waits behind it: requests end, others begin, clients are notified and asked. Each
// operation here therefore brings connections and clients into their final state before it lets these continue. Nothing
// that continues closes a connection or erases a client.

namespace AppConfigService {

using AppConfigWire::Frame;

void Connections::open(ConnectionId id, const Peer& peer, bool internal) {
    m_connections[id] = Connection{peer, internal, std::nullopt, AppConfigWire::REQUESTS, false};
    if (internal) return;
    m_silent[id] = m_with.clock.now() + helloDeadline;
    if (m_connections.size() > mostConnections) {
        refuse(id, "the service already has " + std::to_string(mostConnections) + " connections");
    }
}

const Connection* Connections::find(ConnectionId id) const {
    const auto found = m_connections.find(id);
    return found == m_connections.end() ? nullptr : &found->second;
}

void Connections::begin(ConnectionId id) {
    const auto found = m_connections.find(id);
    if (found != m_connections.end()) found->second.busy = true;
}

void Connections::end(ConnectionId id, const Frame* reply) {
    const auto found = m_connections.find(id);
    if (found == m_connections.end()) return;
    found->second.busy = false;
    if (reply != nullptr) m_with.outbox.send(id, *reply);
    m_with.outbox.idle(id);
}

void Connections::drained(ConnectionId id) {
    const Connection* const connection = find(id);
    if (connection == nullptr || !connection->client) return;
    const Client* const client = m_with.clients.find(*connection->client);
    if (client != nullptr && client->connections.delivery() == id) m_with.notifier.goOn(client->key);
}

std::string Connections::clientOf(ConnectionId id) const {
    const Connection* const connection = find(id);
    if (connection == nullptr) return "an unknown client";
    const Peer& peer = connection->peer;
    // It has not said its name yet.
    if (!connection->client) return displayName(ClientKey{peer.uid, "a client"}, peer.pid);
    return displayName(*connection->client, peer.pid);
}

void Connections::refuse(ConnectionId id, const std::string& reason) {
    if (find(id) == nullptr) return;
    m_with.log(LogLevel::warning, "closing a connection of " + clientOf(id) + ": " + reason);
    Frame frame;
    frame.set_kind(AppConfigWire::REFUSED);
    frame.set_reason(reason);
    m_with.outbox.send(id, frame);
    close(id);
}

void Connections::close(ConnectionId id) {
    m_with.outbox.close(id);
    lose(id);
}

void Connections::lose(ConnectionId id) {
    const auto found = m_connections.find(id);
    if (found == m_connections.end()) return;
    const Connection connection = found->second;
    m_silent.erase(id);
    m_connections.erase(found);
    Client* const client = connection.client ? m_with.clients.find(*connection.client) : nullptr;
    if (client == nullptr) return;
    const bool delivered = client->connections.delivery() == id;
    client->connections.lose(id, m_with.clock.now());
    const bool last = client->connections.all().empty();
    if (last && client->connections.saidGoodbye()) return forget(*connection.client, "said goodbye");
    if (last && connection.internal) return forget(*connection.client, "was internal");
    if (delivered) m_with.rounds.lost(*connection.client);
}

void Connections::closeClient(const std::string& endpoint) {
    std::vector<ConnectionId> ids;
    for (const auto& [id, connection] : m_connections) {
        if (connection.internal) continue;
        // Connections without HELLO so far are closed only along with all others.
        const bool named = connection.client && connection.client->endpoint == endpoint;
        if (endpoint.empty() || named) ids.push_back(id);
    }
    for (const ConnectionId id : ids) close(id);
}

void Connections::goodbye(ConnectionId delivery) {
    const Connection* const connection = find(delivery);
    Client* const client = connection != nullptr ? m_with.clients.find(*connection->client) : nullptr;
    if (client == nullptr) return;
    m_with.enrolment.forget(*client);
    // Its earlier messages on other connections may not have been read yet. They are still served.
    client->connections.noteGoodbye();
    close(delivery);
}

void Connections::forget(const ClientKey& key, const char* why) {
    Client* const client = m_with.clients.find(key);
    if (client == nullptr) return;
    m_with.log(LogLevel::info, "client " + displayName(key) + " is forgotten: it " + why);
    const std::set<ConnectionId> ids = client->connections.all();
    m_with.enrolment.forget(*client);
    m_with.clients.erase(key);
    for (const ConnectionId id : ids) {
        m_with.outbox.close(id);
        m_connections.erase(id);
    }
    m_with.rounds.lost(key);
}

void Connections::expire() {
    while (!m_silent.empty() && m_silent.begin()->second <= m_with.clock.now()) {
        refuse(m_silent.begin()->first, "no HELLO within " + std::to_string(helloDeadline.count()) + " seconds");
    }
    forgetOverdue();
}

void Connections::forgetOverdue() {
    const char* const why = "stayed away too long";
    bool adds = false;
    for (const ClientKey& key : m_with.clients.overdue(m_with.clock.now(), m_with.options.grace)) {
        if (!m_with.clients.find(key)->record.hasRow()) {
            forget(key, why);
            continue;
        }
        adds = true;
        // Not before it is removed from the store. Otherwise the next start would bring its registrations back, and a
        // client that came again meanwhile, and was told nothing, would seem to have had them all along.
        m_with.enrolment.forgetInStore(key, [this, key, why](const Result<>& stored) {
            if (stored) return forget(key, why);
            // Not at once, however short the grace time is: the disk is in trouble.
            const auto pause = std::max(std::chrono::milliseconds(0), storePause - m_with.options.grace);
            Client* const overdue = m_with.clients.find(key);
            if (overdue != nullptr) overdue->connections.countFrom(m_with.clock.now() + pause);
        });
    }
    // At once, since it could come back in between.
    if (adds) m_with.upcalls.store();
}

std::optional<Time> Connections::nextDeadline() const {
    const std::optional<Time> next = m_with.clients.nextDue(m_with.options.grace);
    if (m_silent.empty()) return next;
    const Time silent = m_silent.begin()->second;
    return next ? std::min(*next, silent) : silent;
}

}  // namespace AppConfigService
