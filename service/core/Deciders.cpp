#include "core/Deciders.h"

#include <algorithm>

namespace AppConfigService {

namespace {

/// \return whether a name \p above is \p name or a node that it lies below.
bool holds(const std::string& above, const std::string& name) {
    return name.compare(0, above.size(), above) == 0 && (name.size() == above.size() || name[above.size()] == '.');
}

int levelToDecide(const Variable& variable) {
    const VariableDefinition& definition = *variable.definition;
    return std::max(std::min(variable.row.readLevel, definition.readLevel),
                    std::min(variable.row.writeLevel, definition.writeLevel));
}

}  // namespace

bool Deciders::mayDecide(const ClientKey& client, const Variable& variable) const {
    if (m_roles.effectiveRole(client, highestRole) >= levelToDecide(variable)) return true;
    const auto named = m_named.find(client.uid);
    return named != m_named.end() &&
           std::any_of(named->second.begin(), named->second.end(),
                       [&](const std::string& node) { return holds(node, variable.fullyQualified); });
}

Result<> Deciders::mayRegister(const ClientKey& client, const std::string& name) const {
    const Variable* denied = nullptr;
    bool allowed = false;
    m_catalogue.reached(name, [&](const Variable& variable) {
        allowed = mayDecide(client, variable);
        if (!allowed && denied == nullptr) denied = &variable;
        return !allowed;
    });
    // Of a name that nothing is called yet, a later definition says who may decide.
    if (allowed || denied == nullptr) return {};
    return failure(CommonIF::ERROR_ACCESS_DENIED,
                   denied->display + ": user " + std::to_string(client.uid) + " may not decide on its value");
}

}  // namespace AppConfigService
