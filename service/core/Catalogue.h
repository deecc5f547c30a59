#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/ValueRules.h"
#include "store/StateStore.h"

namespace AppConfigService {

/// One variable: its definition and what it holds. Its address stays the same as long as the catalogue lives.
struct Variable {
    VariableRow row;                                       ///< what reads see; replaced whole once a change is stored
    std::string fullyQualified;                            ///< what registrations are matched with
    std::string display;                                   ///< for people
    std::shared_ptr<const VariableDefinition> definition;  ///< null while no definition mentions the variable

    /// \return whether the value means the same as the default under the current options. Needs a definition.
    bool isDefault() const;
};

/// \return what in \p next differs from \p former, and so gets a number and is notified.
PerKind<bool> difference(const VariableRow& former, const VariableRow& next);

/// \return whether \p role reaches the level that reading, or writing, \p variable needs.
Result<> readable(const Variable& variable, int role);
Result<> writable(const Variable& variable, int role);

/// The effect of a new definition on a variable.
struct Adoption {
    VariableRow row;
    bool stores = true;     ///< the row is not what the store has
    PerKind<bool> changed;  ///< what is to be notified
    std::string complaint;  ///< why the previous value or options are not kept; else empty
};

/// Every variable that the service knows, by name. Owns them. Not thread-safe.
class Catalogue {
public:
    /// Adds what the store holds; nothing of it is visible before a definition mentions it.
    void restore(const std::vector<VariableRow>& rows);

    /// \return the effect of \p definition on the variable as it is now, without changing anything. A value or options
    /// that were set stay where the definition allows them; everything else follows the definition.
    Adoption adopt(const VariableDefinition& definition) const;

    /// Gives the variable \p definition. Its row is left to the caller.
    Variable& define(const VariableDefinition& definition);

    /// Calls \p visit for each variable that hideUnless() would hide and that was not hidden when it was stored.
    void eachToHide(const std::function<bool(const Variable&)>& keep,
                    const std::function<void(const Variable&)>& visit) const;

    /// Hides each variable that \p keep refuses; what it holds stays for a definition to come.
    void hideUnless(const std::function<bool(const Variable&)>& keep);

    /// \return the variable of that name, also a hidden one; null when there is none.
    Variable* find(const VariableName& name) const;

    /// \return the defined variable of that fully qualified name with the lowest instances; null when there is none.
    Variable* findByFullName(const std::string& name) const;

    /// Calls \p visit for each defined variable that a registration for \p name reaches, until it returns false: the
    /// name itself, and whatever lies below it.
    void reached(const std::string& name, const std::function<bool(Variable&)>& visit) const;

    /// Calls \p visit for each defined variable, in the order of names.
    void each(const std::function<void(Variable&)>& visit) const;

    /// \return the number of defined variables.
    std::size_t size() const;

private:
    Variable& insert(const VariableName& name);

    std::map<VariableName, std::unique_ptr<Variable>> m_variables;
    std::map<std::string, std::vector<Variable*>> m_byFullName;  ///< each list in the order of instances
};

}  // namespace AppConfigService
