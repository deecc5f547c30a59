#include <algorithm>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "core/Core.h"
#include "core/Transition.h"
#include "store/TimelineId.h"

// How the service begins to use definitions, at the start and later.

namespace AppConfigService {

Result<> Core::start(const Definitions& definitions, Time now) {
    m_clock.set(now);
    const Result<StoredState> loaded = m_store.load();
    if (!loaded) return failure(loaded.error());
    const StoredState& state = *loaded;
    m_journal.restore(state, m_options.newTimeline ? m_options.newTimeline() : newTimelineId());
    m_catalogue.restore(state.variables);
    m_clients.restore(state.clients, now);
    for (const RegistrationRow& row : state.registrations) {
        if (m_clients.find(row.client) != nullptr) m_registrations.add(row, 0);
    }
    m_changes.start();
    return adoptAll(definitions, false);
}

Result<> Core::reload(const Definitions& definitions, Time now) {
    m_clock.set(now);
    // What is pending was decided on under the old definitions.
    while (needsFlush()) store();
    return adoptAll(definitions, true);
}

Result<> Core::adoptAll(const Definitions& definitions, bool notify) {
    std::vector<Adoption> adoptions;
    std::vector<Transition> transitions;
    Batch batch;
    batch.changes = m_journal.changes();
    for (const VariableDefinition& definition : definitions.variables) {
        adoptions.push_back(m_catalogue.adopt(definition));
        transitions.emplace_back(adoptions.back().row, adoptions.back().changed);
        if (adoptions.back().stores) transitions.back().stage(batch);
    }
    std::set<const Variable*> defined;
    for (const VariableDefinition& definition : definitions.variables)
        defined.insert(m_catalogue.find(definition.name));
    const auto isDefined = [&](const Variable& variable) { return defined.count(&variable) != 0; };
    // While it is hidden nobody is notified of it, so a client that knew it before may have missed something.
    m_catalogue.eachToHide(isDefined, [&](const Variable& variable) {
        VariableRow row = variable.row;
        row.hidden = true;
        batch.entries.emplace_back(std::move(row));
    });
    // A start that finds everything as it was writes nothing.
    if (!batch.entries.empty()) {
        Result<> stored = m_journal.commit(batch);
        if (!stored) return stored;
    }
    // Before clients are notified, and before the rest, which depends on the roles.
    const Roles::Changed roles = m_roles.limit(definitions.roleLimits);
    m_deciders.name(definitions.providers);

    std::vector<const Transition*> entered;
    for (std::size_t i = 0; i < adoptions.size(); ++i) {
        Variable& variable = m_catalogue.define(definitions.variables[i]);
        defined.insert(&variable);
        const int formerLevel = variable.row.readLevel;
        transitions[i].enter(variable, m_notifier);
        entered.push_back(&transitions[i]);
        if (!adoptions[i].complaint.empty()) {
            // The complaint quotes the value, which was under the former level.
            const bool hidden = std::max(formerLevel, variable.row.readLevel) > 0;
            m_log(LogLevel::warning, variable.display +
                                         " falls back to its default: its definition does not allow what was set" +
                                         (hidden ? "" : ": " + adoptions[i].complaint));
        }
    }
    m_catalogue.hideUnless(isDefined);

    // No client has requested these values, so nothing waits for the providers; at a start there are none.
    const auto asked = [&](const Variable& variable) {
        return notify ? m_notifier.queueApplyQuestions(variable) : std::vector<ClientKey>();
    };
    Transition::notify(entered, m_notifier, asked);
    m_changes.withdraw();
    for (const ClientKey& client : roles.risen) m_notifier.catchUp(client);
    m_changes.providerArrived();
    return {};
}

}  // namespace AppConfigService
