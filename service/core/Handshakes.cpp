#include "core/Connections.h"
#include "wire/Endpoint.h"
#include "wire/FrameVersion.h"

// How a client begins: the first frame of each connection, and what is sent at once on a delivery connection.
//
// The numbers in HELLO decide only what this one client is told. If they do not fit the state, it is told more than
// necessary, never less.

namespace AppConfigService {

using AppConfigWire::Frame;
using AppConfigWire::frameVersion;
using AppConfigWire::Hello;

std::string Connections::refusal(const Frame& frame, const ClientKey& key, bool internal) {
    if (frame.kind() != AppConfigWire::HELLO) return "a connection begins with HELLO";
    if (frame.hello().version() != frameVersion) {
        return "version " + std::to_string(frame.hello().version()) + " is not supported, only version " +
               std::to_string(frameVersion);
    }
    if (!AppConfigWire::isEndpointName(key.endpoint)) {
        return "the client's endpoint is not a valid endpoint name";
    }
    if (!frame.hello().has_purpose()) return "HELLO has an unknown purpose";
    const Client* known = m_with.clients.find(key);
    if (known == nullptr) return makeRoom();
    const ClientConnections& connections = known->connections;
    const bool delivers = frame.hello().purpose() == AppConfigWire::DELIVERY;
    // Points prove what was sent over earlier connections, so a connection that the client has already closed must not
    // be accepted after a newer one.
    if (delivers && frame.hello().has_connection() && connections.hasNewerThan(frame.hello().connection())) {
        return "the client has a newer delivery connection";
    }
    // A delivery connection replaces the one before, so it needs no limit.
    if (!internal && !delivers && connections.forRequests() >= mostConnectionsOfOne) {
        return "the client already has " + std::to_string(mostConnectionsOfOne) + " request connections";
    }
    return {};
}

/// Makes room for one more client. \return why there is none; empty when there is.
std::string Connections::makeRoom() {
    if (m_with.clients.size() < mostClients) return {};
    // A client without registrations that is away loses nothing by being forgotten early.
    const Client* dispensable = m_with.clients.longestAway(
        [this](const Client& client) { return m_with.registrations.count(client.key) == 0; });
    if (dispensable == nullptr) return "the service already knows " + std::to_string(mostClients) + " clients";
    const ClientKey forgotten = dispensable->key;
    forget(forgotten, "made room for another");
    return {};
}

void Connections::handshake(ConnectionId id, const Frame& frame) {
    Connection& connection = m_connections.at(id);
    const Hello& hello = frame.hello();
    const ClientKey key{connection.peer.uid, hello.endpoint()};
    // Refused before anything of it is noted, although another client may have been forgotten to make room.
    const std::string why = refusal(frame, key, connection.internal);
    if (!why.empty()) return refuse(id, why);

    const bool known = m_with.clients.find(key) != nullptr;
    Client& client = m_with.clients.insert(key);
    if (!known) {
        m_with.log(LogLevel::info, "client " + displayName(key, connection.peer.pid) + " is new");
    }
    const bool delivers = hello.purpose() == AppConfigWire::DELIVERY;
    ResumeState resumeState = resumeStateOf(hello);
    client.progress.join(resumeState.joined, delivers);
    // A client without a point began with its first connection, of whichever purpose.
    if (resumeState.fresh && client.progress.joined()) resumeState.delivered = client.progress.joined();
    client.connections.open(id, connection.peer.pid);
    m_silent.erase(id);
    connection.client = key;
    connection.purpose = hello.purpose();

    // Before anything that it is due: a client expects WELCOME as the first frame.
    welcome(id, key, hello, resumeState);
    if (delivers) deliverOver(id, client, hello.connection(), resumeState);
}

Connections::ResumeState Connections::resumeStateOf(const Hello& hello) const {
    if (!hello.has_timeline()) {
        // It has never had a point, so it begins now and has missed nothing. If it registered before it ever reached a
        // service, it begins before all changes.
        const ChangeNumber begins = hello.has_joined() ? 0 : m_with.notifier.sequence();
        return {true, begins, begins};
    }
    // Every number that the client has got counts: one that this state does not have came from another.
    bool ours = m_with.journal.has(hello.timeline(), hello.delivered()) && hello.joined() <= hello.delivered() &&
                static_cast<std::size_t>(hello.seen_size()) <= mostSeenPoints;
    for (int i = 0; ours && i < hello.seen_size(); ++i) {
        ours = m_with.journal.has(hello.seen(i).timeline(), hello.seen(i).number());
    }
    if (!ours) return {};
    ResumeState resumeState;
    if (hello.has_joined()) resumeState.joined = hello.joined();
    resumeState.delivered = hello.delivered();
    return resumeState;
}

void Connections::welcome(ConnectionId id, const ClientKey& key, const Hello& hello, const ResumeState& resumeState) {
    Frame frame;
    frame.set_kind(AppConfigWire::WELCOME);
    AppConfigWire::Welcome& welcome = *frame.mutable_welcome();
    // A client without a point takes this as its point, so it must be where resume() lets it begin.
    welcome.set_changes(resumeState.fresh ? *resumeState.delivered : m_with.notifier.sequence());
    welcome.set_timeline(m_with.journal.timeline());
    welcome.set_point_known(resumeState.delivered.has_value());
    if (hello.has_registrations()) {
        const std::size_t held = m_with.registrations.count(key);
        const bool known =
            hello.registrations() == held && hello.registrations_digest() == m_with.registrations.digest(key);
        welcome.set_registrations_known(known);
        if (!known) {
            m_with.log(LogLevel::info, "client " + displayName(key) + " holds " +
                                           std::to_string(hello.registrations()) + " registrations, the service " +
                                           std::to_string(held) +
                                           " that are not the same: the client sends them again");
        }
    }
    m_with.outbox.send(id, frame);
}

void Connections::deliverOver(ConnectionId id, Client& client, std::uint64_t number, const ResumeState& resumeState) {
    if (const std::optional<ConnectionId> old = client.connections.delivery()) {
        m_with.outbox.close(*old);
        m_connections.erase(*old);
        client.connections.lose(*old, m_with.clock.now());
        // Before the new connection is used: whatever continues now must not send over it what resume() considers
        // unsent.
        m_with.rounds.lost(client.key);
    }
    client.connections.deliverOver(id, number);
    m_with.notifier.resume(client.key, resumeState.delivered);
    // After resume(), so that the questions of a round follow WELCOME and what the client has missed.
    m_with.changes.providerArrived();
}

}  // namespace AppConfigService
