#pragma once

#include <cstdint>
#include <optional>
#include <set>

#include "core/Types.h"

namespace AppConfigService {

/// The connections of one client, of which one at most is for deliveries, and since when it has none. Written by
/// Connections alone, and by Clients when a client comes from the store. Not thread-safe.
class ClientConnections {
public:
    /// \p connection has said HELLO.
    void open(ConnectionId connection);

    /// The open \p connection takes the deliveries from here on; there is no other. \p number is its place among those
    /// of the client's own count, 0 when the client does not count. Whoever connects for deliveries stays, whatever it
    /// said before.
    void deliverOver(ConnectionId connection, std::uint64_t number);

    /// \p connection is gone at \p now.
    void lose(ConnectionId connection, Time now);

    /// The client said goodbye: it is forgotten with its last connection.
    void noteGoodbye() { m_saidGoodbye = true; }

    /// The client is known from an earlier run of the service. When its connections were lost nobody knows any more:
    /// all of its time counts from \p now.
    void restore(Time now) { m_awaySince = m_deliveryLost = now; }

    /// Counts the time that the client has been away from \p since on.
    void countFrom(Time since) { m_awaySince = since; }

    /// \return whether the client has made a delivery connection after its own number \p number. A number that is far
    /// behind comes from another transport, which began to count anew.
    bool hasNewerThan(std::uint64_t number) const;

    const std::set<ConnectionId>& all() const { return m_all; }
    std::size_t forRequests() const { return m_all.size() - (m_delivery ? 1U : 0U); }

    /// \return the one that takes notifications and questions; nothing while there is none.
    std::optional<ConnectionId> delivery() const { return m_delivery; }

    /// \return when the last delivery connection was lost; nothing while there is one, and when there was none.
    std::optional<Time> deliveryLost() const { return m_deliveryLost; }

    /// \return how many delivery connections there were, the present one included; see Registration::claim.
    std::uint32_t claim() const { return m_claim; }

    /// \return since when the client has no connection; nothing while it has one.
    std::optional<Time> awaySince() const { return m_awaySince; }

    bool saidGoodbye() const { return m_saidGoodbye; }

private:
    std::set<ConnectionId> m_all;
    std::optional<ConnectionId> m_delivery;  ///< one of these
    std::uint64_t m_deliveryNumber = 0;
    std::optional<Time> m_deliveryLost;
    std::uint32_t m_claim = 0;
    std::optional<Time> m_awaySince;
    bool m_saidGoodbye = false;
};

}  // namespace AppConfigService
