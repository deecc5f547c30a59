#include "core/ClientConnections.h"

#include "core/Limits.h"

namespace AppConfigService {

void ClientConnections::open(ConnectionId connection) {
    m_all.insert(connection);
    m_awaySince.reset();
}

void ClientConnections::deliverOver(ConnectionId connection, std::uint64_t number) {
    m_delivery = connection;
    m_deliveryNumber = number;
    m_deliveryLost.reset();
    ++m_claim;
    m_saidGoodbye = false;
}

void ClientConnections::lose(ConnectionId connection, Time now) {
    m_all.erase(connection);
    if (m_all.empty()) m_awaySince = now;
    if (m_delivery != connection) return;
    m_delivery.reset();
    m_deliveryLost = now;
}

bool ClientConnections::hasNewerThan(std::uint64_t number) const {
    return number < m_deliveryNumber && m_deliveryNumber - number <= mostLateConnections;
}

}  // namespace AppConfigService
