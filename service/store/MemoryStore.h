#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "store/StateStore.h"
#include "store/TimelineId.h"

namespace AppConfigService {

/// Keeps the state as long as the object lives: for test benches, and for a service that is to forget.
class MemoryStore final : public StateStore {
public:
    /// \p timeline is the first one's number.
    explicit MemoryStore(std::uint64_t timeline = newTimelineId()) : m_timelines{{timeline, 0}} {}

    Result<StoredState> load() override;
    Result<> commit(const Batch& batch) override;

    /// From now on commit() fails with \p reason; with an empty reason it works again.
    void failWith(std::string reason) { m_failure = std::move(reason); }

private:
    struct Apply;

    struct Less {
        bool operator()(const RegistrationRow& a, const RegistrationRow& b) const;
    };

    std::vector<Timeline> m_timelines;
    std::string m_failure;
    ChangeNumber m_changes = 0;
    std::map<VariableName, VariableRow> m_variables;
    std::map<ClientKey, ClientRow> m_clients;
    std::set<RegistrationRow, Less> m_registrations;
};

}  // namespace AppConfigService
