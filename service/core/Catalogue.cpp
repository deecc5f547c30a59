#include "core/Catalogue.h"

#include <algorithm>

namespace AppConfigService {

namespace {

Result<> checkLevel(const Variable& variable, int role, const char* what, int level) {
    if (role >= level) return {};
    return failure(CommonIF::ERROR_ACCESS_DENIED, variable.display + ": role " + std::to_string(role) +
                                                      " does not reach the " + what + " level " +
                                                      std::to_string(level));
}

}  // namespace

bool Variable::isDefault() const {
    return sameMeaning(*definition, row.value, effectiveDefault(*definition, row.options, row.defaultIndex));
}

PerKind<bool> difference(const VariableRow& former, const VariableRow& next) {
    // A variable that comes back may have changed before it vanished, unnoticed by a client that was away then.
    if (former.hidden) return {true, true, true};
    return {next.value != former.value, next.options != former.options || next.defaultIndex != former.defaultIndex,
            next.readLevel != former.readLevel || next.writeLevel != former.writeLevel};
}

Result<> readable(const Variable& variable, int role) {
    return checkLevel(variable, role, "read", variable.row.readLevel);
}

Result<> writable(const Variable& variable, int role) {
    return checkLevel(variable, role, "write", variable.row.writeLevel);
}

void Catalogue::restore(const std::vector<VariableRow>& rows) {
    for (const VariableRow& row : rows) insert(row.name).row = row;
}

Adoption Catalogue::adopt(const VariableDefinition& definition) const {
    Adoption result;
    VariableRow& row = result.row;
    const Variable* known = find(definition.name);
    if (known != nullptr) row = known->row;
    row.name = definition.name;

    if (row.ownOptions) {
        const Result<> allowed = checkOptions(definition, row.options, row.defaultIndex);
        row.ownOptions = allowed.has_value();
        if (!allowed) result.complaint = allowed.error().reason;
    }
    if (!row.ownOptions) {
        row.options = definition.options;
        row.defaultIndex = definition.defaultIndex;
    }
    if (row.ownValue) {
        const Result<> allowed = checkValue(definition, row.options, row.value);
        row.ownValue = allowed.has_value();
        if (!allowed) result.complaint = allowed.error().reason;
    }
    if (!row.ownValue) row.value = effectiveDefault(definition, row.options, row.defaultIndex);
    if (!row.ownReadLevel) row.readLevel = definition.readLevel;
    if (!row.ownWriteLevel) row.writeLevel = definition.writeLevel;

    row.hidden = false;

    if (known == nullptr) {
        // What a new state begins with is not a change. Later, a client may already have registered for the name, or
        // know such a variable from another state.
        if (!m_variables.empty()) result.changed = {true, true, true};
    } else {
        const VariableRow& old = known->row;
        result.changed = difference(old, row);
        const bool isNews = result.changed.value || result.changed.options || result.changed.levels;
        result.stores = isNews || row.ownValue != old.ownValue || row.ownOptions != old.ownOptions ||
                        row.ownReadLevel != old.ownReadLevel || row.ownWriteLevel != old.ownWriteLevel;
    }
    return result;
}

Variable& Catalogue::define(const VariableDefinition& definition) {
    Variable& variable = insert(definition.name);
    variable.definition = std::make_shared<const VariableDefinition>(definition);
    return variable;
}

void Catalogue::eachToHide(const std::function<bool(const Variable&)>& keep,
                           const std::function<void(const Variable&)>& visit) const {
    for (const auto& entry : m_variables) {
        if (!keep(*entry.second) && !entry.second->row.hidden) visit(*entry.second);
    }
}

void Catalogue::hideUnless(const std::function<bool(const Variable&)>& keep) {
    for (const auto& entry : m_variables) {
        if (keep(*entry.second)) continue;
        entry.second->definition.reset();
        entry.second->row.hidden = true;
    }
}

Variable* Catalogue::find(const VariableName& name) const {
    const auto found = m_variables.find(name);
    return found == m_variables.end() ? nullptr : found->second.get();
}

Variable* Catalogue::findByFullName(const std::string& name) const {
    const auto found = m_byFullName.find(name);
    if (found == m_byFullName.end()) return nullptr;
    for (Variable* variable : found->second) {
        if (variable->definition) return variable;
    }
    return nullptr;
}

void Catalogue::reached(const std::string& name, const std::function<bool(Variable&)>& visit) const {
    const auto visitAll = [&](const std::vector<Variable*>& variables) {
        return std::all_of(variables.begin(), variables.end(),
                           [&](Variable* variable) { return !variable->definition || visit(*variable); });
    };
    const auto self = m_byFullName.find(name);
    if (self != m_byFullName.end() && !visitAll(self->second)) return;
    const std::string below = name + ".";
    for (auto at = m_byFullName.lower_bound(below);
         at != m_byFullName.end() && at->first.compare(0, below.size(), below) == 0; ++at) {
        if (!visitAll(at->second)) return;
    }
}

void Catalogue::each(const std::function<void(Variable&)>& visit) const {
    for (const auto& entry : m_variables) {
        if (entry.second->definition) visit(*entry.second);
    }
}

std::size_t Catalogue::size() const {
    return static_cast<std::size_t>(std::count_if(
        m_variables.begin(), m_variables.end(), [](const auto& entry) { return entry.second->definition != nullptr; }));
}

Variable& Catalogue::insert(const VariableName& name) {
    std::unique_ptr<Variable>& slot = m_variables[name];
    if (slot) return *slot;
    slot = std::make_unique<Variable>();
    slot->row.name = name;
    slot->fullyQualified = name.fullyQualified();
    slot->display = displayName(name);
    std::vector<Variable*>& sameName = m_byFullName[slot->fullyQualified];
    sameName.push_back(slot.get());
    std::sort(sameName.begin(), sameName.end(),
              [](const Variable* a, const Variable* b) { return a->row.name < b->row.name; });
    return *slot;
}

}  // namespace AppConfigService
