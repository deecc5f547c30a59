#include "core/Roles.h"

#include <algorithm>
#include <utility>

namespace AppConfigService {

int Roles::effectiveRole(const ClientKey& client, int claimed) const {
    const auto limit = m_limits.find(client.uid);
    if (limit != m_limits.end()) return std::min(claimed, limit->second);
    const bool trusted = client.uid == 0 || client.uid == m_options.ownUid;
    return std::min(claimed, trusted ? highestRole : 1);
}

Roles::Changed Roles::limit(std::map<std::uint32_t, int> limits) {
    m_limits = std::move(limits);
    Changed changed;
    for (const auto& entry : m_clients) {
        Client& client = *entry.second;
        const int role = effectiveRole(client.key, client.record.claimedRole());
        if (role == client.record.role()) continue;
        const bool risen = role > client.record.role();
        client.record.setRole(role);
        store(client, risen);
        (risen ? changed.risen : changed.fallen).push_back(client.key);
    }
    return changed;
}

bool Roles::claim(const ClientKey& key, int role) {
    Client& client = *m_clients.find(key);
    if (role <= client.record.claimedRole()) return false;
    client.record.claim(role);
    const int effective = effectiveRole(key, role);
    const bool risen = effective > client.record.role();
    client.record.setRole(effective);
    store(client, risen);
    return risen && client.record.hasRow();
}

/// Has the store keep the roles of \p client. If its role has risen, it may be told now what it registered for and
/// could not be told so far. The number keeps the client's point below it until what the role reveals has arrived.
void Roles::store(Client& client, bool risen) {
    // Without registrations there is nothing to be told; the row comes with the first of them.
    if (!client.record.hasRow()) return;
    // No point that the client was sent is as high, so it counts from here on, whenever the number is drawn.
    if (risen) client.record.countRoleFrom(m_journal.changes() + 1);
    m_journal.add(
        [this, key = client.key, risen](Batch& batch) {
            // Several entries may wait, and each stores the newest state; the client may have been forgotten, too.
            Client* kept = m_clients.find(key);
            if (kept == nullptr || !kept->record.hasRow()) return;
            if (risen) kept->record.countRoleFrom(Journal::nextChange(batch));
            batch.entries.emplace_back(kept->record.row(key));
        },
        [this, key = client.key, risen](const Result<>& stored) {
            if (stored) return;
            // Not delayed by others that fail meanwhile.
            if (m_owed.empty()) m_next = m_clock.now() + storePause;
            m_owed[key] = risen || m_owed[key];
        });
}

void Roles::storeAgain() {
    if (m_next > m_clock.now()) return;
    for (const auto& [key, risen] : std::exchange(m_owed, {})) {
        if (Client* const client = m_clients.find(key)) store(*client, risen);
    }
}

std::optional<Time> Roles::nextDeadline() const {
    return m_owed.empty() ? std::nullopt : std::optional<Time>(m_next);
}

}  // namespace AppConfigService
