#include <algorithm>
#include <utility>

#include "Endpoint.h"
#include "Handshake.h"
#include "MessageIds.h"
#include "core/Core.h"

// How a client begins: the first frame of each connection, what its delivery connection is sent at once, and the
// registrations that it tells over that when they are not known here.

namespace AppConfigService {

using AppConfigHost::Frame;
using AppConfigHost::frameVersion;
using AppConfigHost::Hello;

std::string Core::checkHello(const Frame& frame, const ClientKey& key, bool internal) {
    if (frame.kind() != AppConfigHost::HELLO) return "a connection begins with HELLO";
    if (frame.hello().version() != frameVersion) {
        return "version " + std::to_string(frame.hello().version()) + " is not spoken here, only version " +
               std::to_string(frameVersion);
    }
    if (!AppConfigHost::isEndpointName(key.endpoint)) {
        return "the client's endpoint is no endpoint's name";
    }
    if (!frame.hello().has_purpose()) return "HELLO names no purpose that is known here";
    const Client* known = m_clients.find(key);
    const bool delivers = frame.hello().purpose() == AppConfigHost::DELIVERY;
    // Points prove what was sent over connections before, so one that the client has given up must not come in between.
    const std::uint64_t number = frame.hello().connection();
    if (delivers && known != nullptr && frame.hello().has_connection() && number < known->deliveryNumber &&
        known->deliveryNumber - number <= mostLateConnections) {
        return "the client has a newer connection for deliveries";
    }
    // A delivery connection takes the place of the one before, so it needs no limit.
    const bool limited = !internal && !delivers;
    if (limited && known != nullptr &&
        known->connections.size() >= mostConnectionsOfOne + (known->delivery ? 1U : 0U)) {
        return "the client has " + std::to_string(mostConnectionsOfOne) + " connections for requests already";
    }
    if (known != nullptr || m_clients.size() < mostClients) return {};
    // A client that left without registrations loses nothing by being forgotten early.
    const Client* dispensable =
        m_clients.longestGone([this](const Client& client) { return m_registrations.count(client.key) == 0; });
    if (dispensable == nullptr) return "the service knows " + std::to_string(mostClients) + " clients already";
    const ClientKey forgotten = dispensable->key;
    forget(forgotten, "made room for another");
    return {};
}

void Core::hello(ConnectionId id, Connection& connection, const Frame& frame) {
    const ClientKey key{connection.uid, frame.hello().endpoint()};
    const std::string refusal = checkHello(frame, key, connection.internal);
    if (!refusal.empty()) return rejectNow(id, refusal);

    const bool known = m_clients.find(key) != nullptr;
    Client& client = m_clients.insert(key);
    if (!known) m_log(LogLevel::info, "client " + key.endpoint + " of user " + std::to_string(key.uid) + " is new");
    Standing standing = standingOf(frame.hello());
    if (!std::exchange(client.joinedKnown, true)) {
        client.joined = standing.joined;
    } else if (frame.hello().purpose() == AppConfigHost::DELIVERY) {
        // A transport that took another's place in its process has known this state for longer than it had told.
        client.joined = std::min(client.joined, standing.joined);
    }
    // One without a point began with its first connection, whichever that was.
    if (standing.fresh && client.joined) standing.joined = standing.delivered = client.joined;
    client.goneSince.reset();
    client.connections.insert(id);
    m_silent.erase(id);
    connection.client = key;
    connection.purpose = frame.hello().purpose();

    welcome(id, client, frame.hello(), standing);
    if (connection.purpose == AppConfigHost::DELIVERY) {
        client.leaving = false;
        client.deliveryNumber = frame.hello().connection();
        deliverOn(id, client, standing);
    }
}

Core::Standing Core::standingOf(const Hello& hello) const {
    if (!hello.has_timeline()) {
        const ChangeNumber begins = hello.has_joined() ? 0 : m_notifier.sequence();
        return {true, begins, begins};
    }
    // Each number that the client was told counts: one that this state does not have was told by another.
    bool ours = m_journal.has(hello.timeline(), hello.delivered()) && hello.joined() <= hello.delivered() &&
                static_cast<std::size_t>(hello.seen_size()) <= mostSeenPoints;
    for (int i = 0; ours && i < hello.seen_size(); ++i) {
        ours = m_journal.has(hello.seen(i).timeline(), hello.seen(i).number());
    }
    if (!ours) return {};
    Standing standing;
    if (hello.has_joined()) standing.joined = hello.joined();
    standing.delivered = hello.delivered();
    return standing;
}

void Core::welcome(ConnectionId id, const Client& client, const Hello& hello, const Standing& standing) {
    Frame frame;
    frame.set_kind(AppConfigHost::WELCOME);
    AppConfigHost::Welcome& welcome = *frame.mutable_welcome();
    welcome.set_changes(standing.fresh ? *standing.delivered : m_notifier.sequence());
    welcome.set_timeline(m_journal.timeline());
    welcome.set_point_known(standing.delivered.has_value());
    if (hello.has_registrations()) {
        const std::size_t held = m_registrations.count(client.key);
        const bool known =
            hello.registrations() == held && hello.registrations_digest() == m_registrations.digest(client.key);
        welcome.set_registrations_known(known);
        if (!known) {
            m_log(LogLevel::info, "client " + client.key.endpoint + " holds " + std::to_string(hello.registrations()) +
                                      " registrations, the service " + std::to_string(held) +
                                      " that are not the same: the client tells them anew");
        }
    }
    m_outbox.send(id, frame);
}

void Core::deliverOn(ConnectionId id, Client& client, const Standing& standing) {
    if (client.delivery) {
        const ConnectionId old = *client.delivery;
        m_outbox.close(old);
        m_connections.erase(old);
        client.connections.erase(old);
        loseDelivery(client);
    }
    client.delivery = id;
    client.deliveryLost.reset();
    ++client.claim;
    m_notifier.resume(client, standing.delivered);
    m_changes.providerArrived();
}

void Core::registrations(ConnectionId id, Connection& connection, const Frame& frame) {
    const auto rows =
        static_cast<std::size_t>(frame.registration_size()) + static_cast<std::size_t>(frame.withdrawn_size());
    if (rows > mostRegistrationsAtOnce) {
        return rejectNow(id, "a REGISTRATIONS frame has more than " + std::to_string(mostRegistrationsAtOnce) + " rows");
    }
    const Call call{id,   frame.correlation(), ConfigIF::messageId("ConfigIF.RegisterClientCallbackReq"),
                    true, *connection.client,  connection.internal};
    connection.busy = true;
    const auto done = [this, id](const Frame& reply) {
        const auto found = m_connections.find(id);
        if (found == m_connections.end()) return;
        found->second.busy = false;
        m_outbox.send(id, reply);
        m_outbox.idle(id);
    };
    if (frame.registration_size() > 0) {
        // Whoever intercepts registrations means these as well.
        ConfigIF::RegisterClientCallbackReq first;
        first.set_client_name(frame.registration(0).requester());
        first.set_var_name(frame.registration(0).name());
        first.set_callback_name(frame.registration(0).callback());
        const Interception decision = intercepted(connection, call, first.SerializeAsString());
        if (decision.action == Interception::Action::ignore) {
            connection.busy = false;
            return m_outbox.idle(id);
        }
        if (decision.action == Interception::Action::disconnect) return drop(id);
        if (decision.action == Interception::Action::refuse) {
            Frame refused;
            refused.set_kind(AppConfigHost::REGISTERED);
            refused.set_correlation(frame.correlation());
            for (std::size_t i = 0; i < rows + (frame.complete() ? 1 : 0); ++i) {
                AppConfigHost::Refusal* refusal = refused.add_refusal();
                refusal->set_index(static_cast<std::uint32_t>(i));
                refusal->set_error(decision.error);
            }
            return done(refused);
        }
    }
    m_requests.enrol(call, frame, done);
}

}  // namespace AppConfigService
