#include "core/Transition.h"

namespace AppConfigService {

namespace {

/// The numbers of one variable are drawn in the order in which they are notified. With several variables a number may
/// be notified before a lower one. All are open before the first is notified, so no point covers what is still to come.
constexpr ChangeKind order[] = {ChangeKind::levels, ChangeKind::options, ChangeKind::value};

}  // namespace

void Transition::stage(Batch& batch) {
    for (const ChangeKind kind : order) {
        if (m_changed[kind]) m_row.changes[kind] = Journal::nextChange(batch);
    }
    batch.entries.emplace_back(m_row);
}

void Transition::enter(Variable& variable, Notifier& notifier) {
    m_variable = &variable;
    variable.row = m_row;
    for (const ChangeKind kind : order) {
        if (m_changed[kind]) notifier.begin(m_row.changes[kind]);
    }
}

void Transition::notify(const std::vector<const Transition*>& entered, Notifier& notifier, const Asked& asked) {
    for (const ChangeKind kind : order) {
        for (const Transition* transition : entered) {
            if (!transition->m_changed[kind]) continue;
            const Variable& variable = *transition->m_variable;
            // Providers first: the notification carries the point that covers all of this.
            const bool asks = kind == ChangeKind::value && asked;
            notifier.notify(variable, kind, transition->m_row.changes[kind],
                            asks ? asked(variable) : std::vector<ClientKey>{});
        }
    }
}

}  // namespace AppConfigService
