#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "core/ClientConnections.h"
#include "core/ClientRecord.h"
#include "core/Marks.h"
#include "core/Progress.h"
#include "store/StateStore.h"

namespace AppConfigService {

/// One client, as long as it is remembered. Each of its parts has one owner, which alone writes it; the others get the
/// client as const.
struct Client {
    explicit Client(ClientKey its) : key(std::move(its)) {}

    const ClientKey key;
    ClientConnections connections;  ///< Connections'
    Progress progress;              ///< Notifier's
    Marks marks;                    ///< Notifier's
    ClientRecord record;            ///< Roles' and Enrolment's
};

/// \return \p client for the log, with the process that has connected last.
inline std::string displayName(const Client& client) {
    return displayName(client.key, client.connections.pid());
}

/// Every client that is connected or within its grace time. Not thread-safe.
class Clients {
public:
    /// \return the client; null when it is unknown. Valid until it is erased.
    Client* find(const ClientKey& key);
    const Client* find(const ClientKey& key) const;

    Client& insert(const ClientKey& key);
    void erase(const ClientKey& key);

    /// Adds the clients that the store has, none of which is connected at \p now.
    void restore(const std::vector<ClientRow>& rows, Time now);

    std::size_t size() const { return m_clients.size(); }
    std::size_t withDelivery() const;

    /// \return the clients that have been away for \p grace at \p now.
    std::vector<ClientKey> overdue(Time now, std::chrono::milliseconds grace) const;

    /// \return when the next client is due; nothing if none is away.
    std::optional<Time> nextDue(std::chrono::milliseconds grace) const;

    /// \return the client that has been away longest among those that \p dispensable accepts; null if there is none.
    const Client* longestAway(const std::function<bool(const Client&)>& dispensable) const;

    auto begin() { return m_clients.begin(); }
    auto end() { return m_clients.end(); }

private:
    // Behind a pointer each, so that a client stays where it is while others come and go.
    std::map<ClientKey, std::unique_ptr<Client>> m_clients;
};

}  // namespace AppConfigService
