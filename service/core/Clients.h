#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "store/StateStore.h"

namespace AppConfigService {

struct Variable;

/// One client, for as long as it is remembered.
struct Client {
    /// Numbers of the changes that a client knows of, by kind: of what it read, and of what it was notified.
    struct Told {
        std::array<ChangeNumber, changeKinds> read{};
        std::array<ChangeNumber, changeKinds> notified{};
        /// Once the client has taken this point for delivered, it has what it was notified of. An old change that is
        /// sent again travels under a point that the client may have reached already, so the point beyond that counts.
        std::array<ChangeNumber, changeKinds> provenBy{};
    };

    ClientKey key;
    int role = 0;             ///< highest that it has presented, capped
    bool stored = false;      ///< the store has its row
    int storedRole = 0;       ///< role in that row
    ChangeNumber joined = 0;  ///< what it was never told of is news only if it changed after this
    std::map<const Variable*, Told> told;
    ChangeNumber lastSent = 0;  ///< highest point that the delivery connection has carried or begun with
    bool missed = false;        ///< while there was no delivery connection, more came into its reach than what changed
    std::set<ConnectionId> connections;    ///< all of them
    std::optional<ConnectionId> delivery;  ///< the one that takes notifications and questions
    std::optional<Time> goneSince;         ///< set while it has no connection
    bool joinedKnown = false;              ///< it has connected since the service started
    bool leaving = false;                  ///< it said goodbye, and is forgotten with its last connection
    std::size_t pendingRegistrations = 0;  ///< asked for and not stored yet

    /// \return the number of the last change of that kind that the client knows of.
    ChangeNumber toldOf(const Variable& variable, ChangeKind kind) const;

    void noteRead(const Variable& variable, ChangeKind kind);

    /// The client was sent the present state of \p variable under the point \p sequence.
    void noteNotified(const Variable& variable, ChangeKind kind, ChangeNumber sequence);

    /// The connection broke, and the client stands at \p delivered: whatever that does not prove may have been lost on
    /// the way.
    void forgetNotifiedAfter(ChangeNumber delivered);

    /// \return whether the last notification of it may have been lost on the way, and none was sent since.
    bool mayHaveLost(const Variable& variable, ChangeKind kind) const;
};

/// Every client that is connected or within its grace time. Not thread-safe.
class Clients {
public:
    /// \return the client; null when it is unknown.
    Client* find(const ClientKey& key) const;

    Client& insert(const ClientKey& key);
    void erase(const ClientKey& key);

    std::size_t size() const { return m_clients.size(); }
    std::size_t withDelivery() const;

    /// \return the clients that have been gone for \p grace at \p now.
    std::vector<ClientKey> overdue(Time now, std::chrono::milliseconds grace) const;

    /// \return when the next client is due; nothing when none is gone.
    std::optional<Time> nextDue(std::chrono::milliseconds grace) const;

    /// \return the client that has been gone longest among those that \p dispensable accepts; null when there is none.
    Client* longestGone(const std::function<bool(const Client&)>& dispensable) const;

    auto begin() const { return m_clients.begin(); }
    auto end() const { return m_clients.end(); }

private:
    std::map<ClientKey, std::unique_ptr<Client>> m_clients;
};

}  // namespace AppConfigService
