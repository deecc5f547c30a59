#include <utility>

#include "Endpoint.h"
#include "core/Core.h"

// How a client begins: the first frame of each connection, and what its delivery connection is sent at once.

namespace AppConfigService {

using AppConfigHost::Frame;
using AppConfigHost::Hello;

std::string Core::checkHello(const Frame& frame, const ClientKey& key, bool internal) {
    constexpr std::uint32_t version = 1;
    if (frame.kind() != AppConfigHost::HELLO) return "a connection begins with HELLO";
    if (frame.hello().version() != version) {
        return "version " + std::to_string(frame.hello().version()) + " is not spoken here, only version 1";
    }
    if (!AppConfigHost::isEndpointName(key.endpoint)) {
        return "the client's endpoint is no endpoint's name";
    }
    if (!frame.hello().has_purpose()) return "HELLO names no purpose that is known here";
    const Client* known = m_clients.find(key);
    // A delivery connection takes the place of the one before, so it needs no limit.
    const bool limited = !internal && frame.hello().purpose() != AppConfigHost::DELIVERY;
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
    if (!refusal.empty()) return reject(id, refusal, m_now);

    const bool known = m_clients.find(key) != nullptr;
    Client& client = m_clients.insert(key);
    if (!known) m_log(LogLevel::info, "client " + key.endpoint + " of user " + std::to_string(key.uid) + " is new");
    joinStore(client, frame.hello());
    client.goneSince.reset();
    client.connections.insert(id);
    m_silent.erase(id);
    connection.client = key;
    connection.purpose = frame.hello().purpose();

    Frame welcome;
    welcome.set_kind(AppConfigHost::WELCOME);
    welcome.mutable_welcome()->set_store(m_storeId);
    welcome.mutable_welcome()->set_changes(m_notifier.sequence());
    m_outbox.send(id, welcome, {});
    if (connection.purpose == AppConfigHost::DELIVERY) {
        client.leaving = false;
        deliverOn(id, client, frame.hello());
    }
}

bool Core::knowsNumbersOf(const Hello& hello) const {
    // Numbers beyond the counter are those of a store that was set back since.
    return hello.store() == m_storeId && hello.joined() <= m_journal.changes() &&
           hello.delivered() <= m_journal.changes();
}

void Core::joinStore(Client& client, const Hello& hello) const {
    if (client.joinedKnown) return;
    client.joinedKnown = true;
    if (hello.store().empty()) {
        client.joined = m_notifier.sequence();
    } else {
        client.joined = knowsNumbersOf(hello) ? hello.joined() : 0;
    }
}

void Core::deliverOn(ConnectionId id, Client& client, const Hello& hello) {
    if (client.delivery) {
        const ConnectionId old = *client.delivery;
        m_outbox.close(old);
        m_connections.erase(old);
        client.connections.erase(old);
        client.delivery.reset();
        m_rounds.lost(client.key);
    }
    client.delivery = id;
    ChangeNumber delivered = 0;
    if (hello.store().empty()) {
        delivered = client.joined;
    } else if (knowsNumbersOf(hello)) {
        delivered = hello.delivered();
    }
    // Whoever is new to the store begins at its welcome's point, so no frame up to there proves itself.
    client.lastSent = knowsNumbersOf(hello) ? delivered : m_notifier.sequence();
    m_notifier.resume(client, delivered);
}

}  // namespace AppConfigService
