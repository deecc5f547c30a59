#pragma once

#include <functional>
#include <vector>

#include "core/Catalogue.h"
#include "core/Journal.h"
#include "core/Notifier.h"

namespace AppConfigService {

/// A variable on its way from what it holds to what it is to hold. Whatever changes a value, options or levels goes
/// through here: the numbers of the changes are drawn, the new row takes the former one's place once it is stored, and
/// the news is told. In this order for each transition: stage(), unless the store has the row already; then, once it is
/// stored, enter() and notify().
class Transition {
public:
    /// \p next is what the variable is to hold, \p changed what is to be told of it.
    Transition(VariableRow next, const PerKind<bool>& changed) : m_row(std::move(next)), m_changed(changed) {}

    /// The same, for whoever knows \p former.
    Transition(const VariableRow& former, const VariableRow& next) : Transition(next, difference(former, next)) {}

    /// Draws a number for each kind that changed, and adds the row to \p batch.
    void stage(Batch& batch);

    /// The batch is stored, so \p variable, which stays where it is, holds the row from here on. Nothing is told yet,
    /// so nobody's point may cover it.
    void enter(Variable& variable, Notifier& notifier);

    /// Who is asked to apply the new value of a variable, and so learns of it in another way.
    using Asked = std::function<std::vector<ClientKey>(const Variable&)>;

    /// Tells what \p entered have changed: of all of them the levels, then the options, then the values. Whoever hears
    /// of a new value then finds it among the options that it knows, under the levels that it knows.
    static void notify(const std::vector<const Transition*>& entered, Notifier& notifier, const Asked& asked);

    bool changes(ChangeKind kind) const { return m_changed[kind]; }
    const VariableRow& row() const { return m_row; }

private:
    VariableRow m_row;
    PerKind<bool> m_changed;
    const Variable* m_variable = nullptr;  ///< once entered
};

}  // namespace AppConfigService
