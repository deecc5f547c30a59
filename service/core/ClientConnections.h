#pragma once

#include <cstdint>
#include <optional>
#include <set>

#include "core/Types.h"

namespace AppConfigService {

/// The connections of one client, at most one of which is a delivery connection, and since when it has none. Written by
/// Connections alone, and by Clients when a client comes from the store. Not thread-safe.
class ClientConnections {
public:
    /// \p connection, of the process \p pid, has said HELLO.
    void open(ConnectionId connection, std::int32_t pid);

    /// The open \p connection is the delivery connection from now on; there is no other. \p number is the client's own
    /// number of the connection, 0 if it does not number them. A client that opens a delivery connection takes back an
    /// earlier goodbye.
    void deliverOver(ConnectionId connection, std::uint64_t number);

    /// \p connection ended at \p now.
    void lose(ConnectionId connection, Time now);

    /// The client said goodbye: it is forgotten with its last connection.
    void noteGoodbye() { m_saidGoodbye = true; }

    /// The client is known from an earlier run of the service. It is unknown when its connections were lost, so its
    /// grace time counts from \p now.
    void restore(Time now) { m_awaySince = m_deliveryLost = now; }

    /// Counts the time that the client has been away from \p since on.
    void countFrom(Time since) { m_awaySince = since; }

    /// \return whether the client has made a delivery connection after its own number \p number. A number that is far
    /// lower comes from another transport, which counts by itself.
    bool hasNewerThan(std::uint64_t number) const;

    const std::set<ConnectionId>& all() const { return m_all; }
    std::size_t forRequests() const { return m_all.size() - (m_delivery ? 1U : 0U); }

    /// \return the delivery connection; nothing while there is none.
    std::optional<ConnectionId> delivery() const { return m_delivery; }

    /// \return when the last delivery connection was lost; nothing while there is one, and when there was none.
    std::optional<Time> deliveryLost() const { return m_deliveryLost; }

    /// \return how many delivery connections the client has had, including the current one. A registration keeps the
    /// number with which it was made or repeated last; see Registration::claim.
    std::uint32_t claim() const { return m_claim; }

    /// \return the process that has connected last; 0 when there was none in this run.
    std::int32_t pid() const { return m_pid; }

    /// \return since when the client has no connection; nothing while it has one.
    std::optional<Time> awaySince() const { return m_awaySince; }

    bool saidGoodbye() const { return m_saidGoodbye; }

private:
    std::set<ConnectionId> m_all;
    std::optional<ConnectionId> m_delivery;  ///< one of these
    std::uint64_t m_deliveryNumber = 0;
    std::optional<Time> m_deliveryLost;
    std::uint32_t m_claim = 0;
    std::int32_t m_pid = 0;
    std::optional<Time> m_awaySince;
    bool m_saidGoodbye = false;
};

}  // namespace AppConfigService
