#include "core/Journal.h"

#include <utility>

namespace AppConfigService {

void Journal::restore(const StoredState& state, std::uint64_t timeline) {
    m_changes = m_settled = state.changes;
    m_timelines.restore(state.timelines, timeline);
}

void Journal::add(Stage stage, Done done) {
    m_entries.push_back({std::move(stage), std::move(done)});
}

Result<> Journal::store(Batch& batch) {
    // A timeline that could not be stored is tried again with the next batch that raises the counter.
    if (batch.changes > m_changes) batch.timeline = m_timelines.beginning(m_changes);
    Result<> stored = m_store.commit(batch);
    if (!stored) return stored;
    m_changes = batch.changes;
    if (batch.timeline) m_timelines.begun(*batch.timeline);
    return stored;
}

Result<> Journal::commit(Batch& batch) {
    Result<> stored = store(batch);
    if (stored) m_settled = m_changes;
    return stored;
}

Result<> Journal::flush() {
    std::vector<Entry> entries;
    entries.swap(m_entries);
    if (entries.empty()) return {};

    Batch batch;
    batch.changes = m_changes;
    std::vector<ChangeNumber> reached;
    for (const Entry& entry : entries) {
        entry.stage(batch);
        reached.push_back(batch.changes);
    }

    // Entries that were refused meanwhile have added nothing.
    Result<> stored = batch.entries.empty() ? Result<>() : store(batch);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (stored) m_settled = reached[i];
        entries[i].done(stored);
    }
    return stored;
}

}  // namespace AppConfigService
