#include "core/Clients.h"

#include <algorithm>
#include <limits>

#include "core/Catalogue.h"

namespace AppConfigService {

namespace {

/// No point proves what is known to be lost.
constexpr ChangeNumber lost = std::numeric_limits<ChangeNumber>::max();

}  // namespace

ChangeNumber Client::toldOf(const Variable& variable, ChangeKind kind) const {
    const auto found = told.find(&variable);
    if (found == told.end()) return joined;
    const auto index = static_cast<std::size_t>(kind);
    const ChangeNumber known = std::max(found->second.read[index], found->second.notified[index]);
    // A number below 1 is no change: of this kind, the client was never told.
    return known == 0 ? joined : known;
}

void Client::noteRead(const Variable& variable, ChangeKind kind) {
    const auto index = static_cast<std::size_t>(kind);
    told[&variable].read[index] = variable.row.changes[index];
}

void Client::noteNotified(const Variable& variable, ChangeKind kind, ChangeNumber sequence) {
    const auto index = static_cast<std::size_t>(kind);
    Told& entry = told[&variable];
    entry.notified[index] = variable.row.changes[index];
    // Frames keep their order: the first with a point proves itself, those behind it need a higher one.
    const ChangeNumber provenBy = sequence > lastSent ? sequence : lastSent + 1;
    lastSent = std::max(lastSent, sequence);
    ChangeNumber& known = entry.provenBy[index];
    // An earlier frame may have made way for this one, or be for another callback.
    known = known == lost ? provenBy : std::max(known, provenBy);
}

void Client::forgetNotifiedAfter(ChangeNumber delivered) {
    for (auto& entry : told) {
        for (std::size_t kind = 0; kind < changeKinds; ++kind) {
            ChangeNumber& notified = entry.second.notified[kind];
            ChangeNumber& provenBy = entry.second.provenBy[kind];
            if (provenBy > delivered) {
                provenBy = lost;
                notified = 0;
            }
            notified = std::min(notified, delivered);
        }
    }
}

bool Client::mayHaveLost(const Variable& variable, ChangeKind kind) const {
    const auto found = told.find(&variable);
    return found != told.end() && found->second.provenBy[static_cast<std::size_t>(kind)] == lost;
}

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
