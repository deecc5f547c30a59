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

bool Journal::store(Batch& batch, std::string& error) {
    // A timeline that could not be stored is tried again with the next batch that raises the counter.
    if (batch.changes > m_changes) batch.timeline = m_timelines.beginning(m_changes);
    if (!m_store.commit(batch, error)) return false;
    m_changes = batch.changes;
    if (batch.timeline) m_timelines.begun(*batch.timeline);
    return true;
}

bool Journal::commit(Batch& batch, std::string& error) {
    if (!store(batch, error)) return false;
    m_settled = m_changes;
    return true;
}

std::string Journal::flush() {
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

    std::string error;
    // Entries that were refused meanwhile have added nothing.
    const bool stored = batch.entries.empty() || store(batch, error);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (stored) m_settled = reached[i];
        entries[i].done(stored);
    }
    return stored ? std::string{} : error;
}

}  // namespace AppConfigService
