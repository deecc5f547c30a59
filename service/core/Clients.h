#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/Backlog.h"
#include "core/Knowledge.h"
#include "core/Limits.h"
#include "store/StateStore.h"

namespace AppConfigService {

/// One client, for as long as it is remembered.
struct Client {
    ClientKey key;
    int claimedRole = 0;         ///< the highest that it has claimed
    int role = 0;                ///< what that is worth now; decides what it is told and asked; kept by Roles
    ChangeNumber roleSince = 0;  ///< see ClientRow
    bool stored = false;         ///< the store has its row
    bool joinedKnown = false;    ///< it has connected since the service started
    /// What it was never told of is news only if it changed after this; nothing when it came from another state, so
    /// that all of this one is news.
    std::optional<ChangeNumber> joined;
    /// Where the present delivery connection began: all that it was registered for then has reached it up to here.
    /// Nothing when it knows nothing of this state.
    std::optional<ChangeNumber> resumedAt;
    Knowledge knowledge;

    // What goes over the present delivery connection.
    Backlog due{mostDue};
    Backlog applies{mostDue};
    std::size_t appliesAsked = 0;           ///< questions about missed values that have no answer yet
    bool owedPoint = false;                 ///< once nothing is due, it is told how far it has got
    std::optional<ChangeNumber> lastPoint;  ///< the highest that it was sent or began with
    std::size_t sinceMark = 0;              ///< notifications since the last mark
    std::deque<std::uint64_t> openMarks;    ///< sent, and not said to be handled
    std::uint64_t marks = 0;                ///< sent in all
    std::uint32_t claim = 0;                ///< grows with each delivery connection; see Registration

    std::set<ConnectionId> connections;    ///< all of them
    std::optional<ConnectionId> delivery;  ///< the one that takes notifications and questions
    std::uint64_t deliveryNumber = 0;      ///< which of the client's own that is, or was; 0 when it does not say
    std::optional<Time> deliveryLost;      ///< when the last one of these was lost; set while there is none
    std::optional<Time> goneSince;         ///< set while it has no connection
    bool leaving = false;                  ///< it said goodbye, and is forgotten with its last connection
    std::size_t pendingRegistrations = 0;  ///< asked for and not stored yet

    /// \return whether the store has its row, or will have it with what is pending.
    bool hasRow() const { return stored || pendingRegistrations != 0; }
    ClientRow row() const { return {key, claimedRole, role, roleSince}; }
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
