#include "core/Journal.h"

#include <utility>

namespace AppConfigService {

void Journal::add(Stage stage, Done done) {
    m_entries.push_back({std::move(stage), std::move(done)});
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
    const bool stored = m_store.commit(batch, error);
    if (stored) m_changes = batch.changes;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (stored) m_settled = reached[i];
        entries[i].done(stored);
    }
    return stored ? std::string{} : error;
}

}  // namespace AppConfigService
