#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/Timelines.h"
#include "store/StateStore.h"

namespace AppConfigService {

/// Collects what is to be stored, so that everything that comes in one turn of the loop shares one transaction. What
/// depends on the transaction happens after it. Keeps the counter of changes and the timelines that it counts in.
/// Refers to a store that the caller owns; not thread-safe.
class Journal {
public:
    /// Adds an entry's contents to the batch. Numbers of changes are drawn with nextChange() within it.
    using Stage = std::function<void(Batch&)>;
    /// Told afterwards whether the batch is stored. May add further entries, which wait for the next flush.
    using Done = std::function<void(const Result<>& stored)>;

    explicit Journal(StateStore& store) : m_store(store) {}

    /// Goes on with what the store holds; \p timeline is this run's.
    void restore(const StoredState& state, std::uint64_t timeline);

    void add(Stage stage, Done done);

    bool pending() const { return !m_entries.empty(); }

    /// Stores what is pending in one transaction and tells each entry, in the order in which they came.
    /// \return why nothing of it could be stored, which each of them is told as well.
    Result<> flush();

    /// Stores \p batch, which began at changes(), at once. Nothing is pending.
    Result<> commit(Batch& batch);

    /// \return the number of the last change that is stored.
    ChangeNumber changes() const { return m_changes; }

    /// \return the number of the last change whose entry has been told that it is stored, or is being told.
    ChangeNumber settled() const { return m_settled; }

    /// \return the timeline that these numbers count in.
    std::uint64_t timeline() const { return m_timelines.newest(); }

    /// \return this run's own timeline, for numbers that are compared with each other only: no other run, and no other
    /// copy of the state that went on with the same numbers, ever says it.
    std::uint64_t run() const { return m_timelines.own(); }

    /// \return whether change \p number of \p timeline belongs to this state.
    bool has(std::uint64_t timeline, ChangeNumber number) const { return m_timelines.has(timeline, number, m_changes); }

    /// Draws the next number within \p batch.
    static ChangeNumber nextChange(Batch& batch) { return ++batch.changes; }

private:
    struct Entry {
        Stage stage;
        Done done;
    };

    Result<> store(Batch& batch);

    StateStore& m_store;
    Timelines m_timelines;
    ChangeNumber m_changes = 0;
    ChangeNumber m_settled = 0;
    std::vector<Entry> m_entries;
};

}  // namespace AppConfigService
