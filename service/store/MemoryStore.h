#pragma once

#include <map>

#include "store/StateStore.h"

namespace AppConfigService {

/// Keeps the state as long as the object lives: for test benches, and for a service that is to forget.
class MemoryStore final : public StateStore {
public:
    MemoryStore();

    bool load(StoredState& state, std::string& error) override;
    bool commit(const Batch& batch, std::string& error) override;

    /// From now on commit() fails with \p reason; with an empty reason it works again.
    void failWith(std::string reason) { m_failure = std::move(reason); }

private:
    struct Apply;

    std::string m_id;
    std::string m_failure;
    ChangeNumber m_changes = 0;
    std::map<ConfigVar, VariableRow> m_variables;
    std::map<ClientKey, ClientRow> m_clients;
    std::vector<RegistrationRow> m_registrations;
};

}  // namespace AppConfigService
