#include "core/Clients.h"

#include <algorithm>

namespace AppConfigService {

Client* Clients::find(const ClientKey& key) const {
    const auto found = m_clients.find(key);
    return found == m_clients.end() ? nullptr : found->second.get();
}

Client& Clients::insert(const ClientKey& key) {
    std::unique_ptr<Client>& slot = m_clients[key];
    if (!slot) {
        slot = std::make_unique<Client>();
        slot->key = key;
    }
    return *slot;
}

void Clients::erase(const ClientKey& key) {
    m_clients.erase(key);
}

std::size_t Clients::withDelivery() const {
    return static_cast<std::size_t>(std::count_if(
        m_clients.begin(), m_clients.end(), [](const auto& entry) { return entry.second->delivery.has_value(); }));
}

std::vector<ClientKey> Clients::overdue(Time now, std::chrono::milliseconds grace) const {
    std::vector<ClientKey> keys;
    for (const auto& entry : m_clients) {
        if (entry.second->goneSince && *entry.second->goneSince + grace <= now) keys.push_back(entry.first);
    }
    return keys;
}

std::optional<Time> Clients::nextDue(std::chrono::milliseconds grace) const {
    std::optional<Time> next;
    for (const auto& entry : m_clients) {
        if (entry.second->goneSince && (!next || *entry.second->goneSince + grace < *next)) {
            next = *entry.second->goneSince + grace;
        }
    }
    return next;
}

Client* Clients::longestGone(const std::function<bool(const Client&)>& dispensable) const {
    Client* longest = nullptr;
    for (const auto& entry : m_clients) {
        Client& client = *entry.second;
        if (!client.goneSince || !dispensable(client)) continue;
        if (longest == nullptr || *client.goneSince < *longest->goneSince) longest = &client;
    }
    return longest;
}

}  // namespace AppConfigService
