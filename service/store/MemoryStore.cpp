#include "store/MemoryStore.h"

#include <algorithm>

#include "store/StoreId.h"

namespace AppConfigService {

namespace {

bool same(const RegistrationRow& a, const RegistrationRow& b) {
    return a.client == b.client && a.requester == b.requester && a.name == b.name && a.type == b.type &&
           a.callback == b.callback;
}

}  // namespace

/// Carries one entry of a batch out.
struct MemoryStore::Apply {
    MemoryStore& store;

    void operator()(const VariableRow& row) { store.m_variables[row.name] = row; }
    void operator()(const ClientRow& row) { store.m_clients[row.client] = row; }
    void operator()(const ClientForgotten& forgotten) {
        store.m_clients.erase(forgotten.client);
        drop([&](const RegistrationRow& row) { return row.client == forgotten.client; });
    }
    void operator()(const RegistrationRow& row) {
        drop([&](const RegistrationRow& other) { return same(row, other); });
        store.m_registrations.push_back(row);
    }
    void operator()(const RegistrationRemoved& removed) {
        drop([&](const RegistrationRow& row) { return same(row, removed.registration); });
    }

    template <typename Predicate>
    void drop(Predicate predicate) {
        auto& rows = store.m_registrations;
        rows.erase(std::remove_if(rows.begin(), rows.end(), predicate), rows.end());
    }
};

MemoryStore::MemoryStore() : m_id(newStoreId()) {}

bool MemoryStore::load(StoredState& state, std::string&) {
    state = {};
    state.id = m_id;
    state.changes = m_changes;
    for (const auto& entry : m_variables) state.variables.push_back(entry.second);
    for (const auto& entry : m_clients) state.clients.push_back(entry.second);
    state.registrations = m_registrations;
    return true;
}

bool MemoryStore::commit(const Batch& batch, std::string& error) {
    if (!m_failure.empty()) {
        error = m_failure;
        return false;
    }
    for (const StoredChange& entry : batch.entries) std::visit(Apply{*this}, entry);
    m_changes = batch.changes;
    return true;
}

}  // namespace AppConfigService
