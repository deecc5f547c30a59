#pragma once

#include <functional>
#include <memory>
#include <string>

#include "store/MemoryStore.h"

namespace Simulation {

/// The disk of a simulated service: keeps the state across restarts, can fail, and can be put back to an older copy.
class ServiceStore final : public AppConfigService::StateStore {
public:
    /// Called after each batch that was stored.
    std::function<void(const AppConfigService::Batch&)> onStored;

    AppConfigService::Result<AppConfigService::StoredState> load() override { return m_state->load(); }

    AppConfigService::Result<> commit(const AppConfigService::Batch& batch) override {
        if (m_failing) return AppConfigService::failure(CommonIF::ERROR_STORAGE, "the simulated disk fails");
        if (m_pretending) return {};
        AppConfigService::Result<> stored = m_state->commit(batch);
        if (stored && onStored) onStored(batch);
        return stored;
    }

    /// While \p failing nothing can be stored.
    void fail(bool failing) { m_failing = failing; }

    /// While \p pretending, what is to be stored is dropped.
    void pretend(bool pretending) { m_pretending = pretending; }

    /// Keeps a copy of the state as it is.
    void backUp() { m_copy = std::make_unique<AppConfigService::MemoryStore>(*m_state); }
    /// The state is the copy again, or another one without contents when there is no copy. Not while a service runs.
    void putBack() { m_state = m_copy ? std::make_unique<AppConfigService::MemoryStore>(*m_copy) : empty(); }
    /// The state is another one, without contents. Not while a service runs.
    void forget() { m_state = empty(); }

private:
    static std::unique_ptr<AppConfigService::MemoryStore> empty() {
        return std::make_unique<AppConfigService::MemoryStore>();
    }

    std::unique_ptr<AppConfigService::MemoryStore> m_state = empty();
    std::unique_ptr<AppConfigService::MemoryStore> m_copy;
    bool m_failing = false;
    bool m_pretending = false;
};

}  // namespace Simulation
