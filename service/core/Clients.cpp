#include "core/Clients.h"

#include <algorithm>

namespace AppConfigService {

Client* Clients::find(const ClientKey& key) {
    const auto found = m_clients.find(key);
    return found == m_clients.end() ? nullptr : found->second.get();
}

const Client* Clients::find(const ClientKey& key) const {
    const auto found = m_clients.find(key);
    return found == m_clients.end() ? nullptr : found->second.get();
}

Client& Clients::insert(const ClientKey& key) {
    std::unique_ptr<Client>& slot = m_clients[key];
    if (!slot) slot = std::make_unique<Client>(key);
    return *slot;
}

void Clients::erase(const ClientKey& key) {
    m_clients.erase(key);
}

void Clients::restore(const std::vector<ClientRow>& rows, Time now) {
    for (const ClientRow& row : rows) {
        Client& client = insert(row.client);
        client.record.restore(row);
        client.connections.restore(now);
    }
}

std::size_t Clients::withDelivery() const {
    return static_cast<std::size_t>(std::count_if(m_clients.begin(), m_clients.end(), [](const auto& entry) {
        return entry.second->connections.delivery().has_value();
    }));
}

// Keys, since the caller erases these clients one by one.
std::vector<ClientKey> Clients::overdue(Time now, std::chrono::milliseconds grace) const {
    std::vector<ClientKey> keys;
    for (const auto& [key, client] : m_clients) {
        const std::optional<Time> since = client->connections.awaySince();
        if (since && *since + grace <= now) keys.push_back(key);
    }
    return keys;
}

std::optional<Time> Clients::nextDue(std::chrono::milliseconds grace) const {
    std::optional<Time> next;
    for (const auto& entry : m_clients) {
        const std::optional<Time> since = entry.second->connections.awaySince();
        if (since && (!next || *since + grace < *next)) next = *since + grace;
    }
    return next;
}

const Client* Clients::longestAway(const std::function<bool(const Client&)>& dispensable) const {
    const Client* longest = nullptr;
    for (const auto& entry : m_clients) {
        const Client& client = *entry.second;
        const std::optional<Time> since = client.connections.awaySince();
        if (!since || !dispensable(client)) continue;
        if (longest == nullptr || *since < *longest->connections.awaySince()) longest = &client;
    }
    return longest;
}

}  // namespace AppConfigService
