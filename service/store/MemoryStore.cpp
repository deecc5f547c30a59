#include "store/MemoryStore.h"

#include <tuple>

namespace AppConfigService {

bool MemoryStore::Less::operator()(const RegistrationRow& a, const RegistrationRow& b) const {
    return std::tie(a.client, a.requester, a.name, a.type, a.callback) <
           std::tie(b.client, b.requester, b.name, b.type, b.callback);
}

/// Carries one entry of a batch out.
struct MemoryStore::Apply {
    MemoryStore& store;

    void operator()(const VariableRow& row) { store.m_variables[row.name] = row; }
    void operator()(const ClientRow& row) { store.m_clients[row.client] = row; }
    void operator()(const ClientForgotten& forgotten) {
        store.m_clients.erase(forgotten.client);
        auto& rows = store.m_registrations;
        // An empty name comes before every other.
        RegistrationRow first;
        first.client = forgotten.client;
        auto at = rows.lower_bound(first);
        while (at != rows.end() && at->client == forgotten.client) at = rows.erase(at);
    }
    void operator()(const RegistrationRow& row) {
        store.m_registrations.erase(row);
        store.m_registrations.insert(row);
    }
    void operator()(const RegistrationRemoved& removed) { store.m_registrations.erase(removed.registration); }
};

Result<StoredState> MemoryStore::load() {
    StoredState state;
    state.timelines = m_timelines;
    state.changes = m_changes;
    for (const auto& entry : m_variables) state.variables.push_back(entry.second);
    for (const auto& entry : m_clients) state.clients.push_back(entry.second);
    state.registrations.assign(m_registrations.begin(), m_registrations.end());
    return state;
}

Result<> MemoryStore::commit(const Batch& batch) {
    if (!m_failure.empty()) return failure(CommonIF::ERROR_STORAGE, m_failure);
    for (const StoredChange& entry : batch.entries) std::visit(Apply{*this}, entry);
    m_changes = batch.changes;
    if (batch.timeline) {
        m_timelines.push_back(*batch.timeline);
        if (m_timelines.size() > mostTimelines) m_timelines.erase(m_timelines.begin());
    }
    return {};
}

}  // namespace AppConfigService
