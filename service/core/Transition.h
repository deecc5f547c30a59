#pragma once

#include <functional>
#include <vector>

#include "core/Catalogue.h"
#include "core/Journal.h"
#include "core/Notifier.h"

namespace AppConfigService {

/// A variable on its way from one row to the next. Every change of a value, options or levels goes through here: the
/// numbers of the changes are drawn, the new row replaces the previous one once it is stored, and clients are notified.
/// In this order for each transition: stage(), unless the store already has the row; then, once it is stored, enter()
/// and notify().
class Transition {
public:
    /// \p next is what the variable is to hold, \p changed what is to be notified of it.
    Transition(VariableRow next, const PerKind<bool>& changed) : m_row(std::move(next)), m_changed(changed) {}

    /// The same; \p changed is what differs from \p former.
    Transition(const VariableRow& former, const VariableRow& next) : Transition(next, difference(former, next)) {}

    /// Draws a number for each kind that changed, and adds the row to \p batch.
    void stage(Batch& batch);

    /// The batch is stored, so \p variable, which never moves, holds the row from now on. Nobody has been notified yet,
    /// so no point may cover it.
    void enter(Variable& variable, Notifier& notifier);

    /// The clients that are asked to apply the new value of a variable, and so learn of it in another way.
    using Asked = std::function<std::vector<ClientKey>(const Variable&)>;

    /// Notifies what \p entered have changed: first all levels, then all options, then all values. A client that is
    /// notified of a value then already knows the options that it belongs to and the levels of the variable.
    static void notify(const std::vector<const Transition*>& entered, Notifier& notifier, const Asked& asked);

    bool changes(ChangeKind kind) const { return m_changed[kind]; }
    const VariableRow& row() const { return m_row; }

private:
    VariableRow m_row;
    PerKind<bool> m_changed;
    const Variable* m_variable = nullptr;  ///< once entered
};

}  // namespace AppConfigService
