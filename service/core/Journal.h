#pragma once

#include <functional>
#include <string>
#include <vector>

#include "store/StateStore.h"

namespace AppConfigService {

/// Collects what is to be stored, so that everything that comes in one turn of the loop shares one transaction. What
/// depends on the transaction happens after it. Refers to a store that the caller owns; not thread-safe.
class Journal {
public:
    /// Adds an entry's contents to the batch. Numbers of changes are drawn with nextChange() within it.
    using Stage = std::function<void(Batch&)>;
    /// Told afterwards whether the batch is stored. May add further entries, which wait for the next flush.
    using Done = std::function<void(bool stored)>;

    explicit Journal(StateStore& store) : m_store(store) {}

    void restore(ChangeNumber changes) { m_changes = m_settled = changes; }

    void add(Stage stage, Done done);

    bool pending() const { return !m_entries.empty(); }

    /// Stores what is pending in one transaction and tells each entry, in the order in which they came.
    /// \return empty, or one sentence why nothing of it could be stored.
    std::string flush();

    /// \return the number of the last change that is stored.
    ChangeNumber changes() const { return m_changes; }

    /// \return the number of the last change whose entry has been told that it is stored, or is being told.
    ChangeNumber settled() const { return m_settled; }

    /// Draws the next number within \p batch.
    static ChangeNumber nextChange(Batch& batch) { return ++batch.changes; }

private:
    struct Entry {
        Stage stage;
        Done done;
    };

    StateStore& m_store;
    ChangeNumber m_changes = 0;
    ChangeNumber m_settled = 0;
    std::vector<Entry> m_entries;
};

}  // namespace AppConfigService
