#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "cache/Inquiry.h"

// Setting levels never touches the cache: the levels that hold come back as a notification.

namespace AppConfig {

namespace {

constexpr SecurityRole readOnlyWriteRole = SECURITY_ROLE_4;
constexpr SecurityRole hiddenReadRole = SECURITY_ROLE_3;

}  // namespace

bool AppCfgManager::getAccessLevels(const ConfigVar& var, SecurityRole* readRole, SecurityRole* writeRole) {
    if (m_cache.getConfigValue(var) == m_cache.end()) {
        std::list<std::string> scratch;
        getConfigVar(var, scratch);
        if (m_cache.getConfigValue(var) == m_cache.end()) return false;
    }
    ConfigAccessLevels levels;
    for (int attempt = 1;; ++attempt) {
        const ConfigCache::iterator record = m_cache.getConfigValue(var);
        if (record != m_cache.end() && record->second.hasAccessLevels()) {
            levels = record->second.accessLevels();
            break;
        }
        Inquiry inquiry(m_cache, var, Inquiry::Item::levels);
        // An attempt that fails does not take from the caller what an earlier one brought.
        if (!m_service->getAccessLevels(var, &levels.readRole, &levels.writeRole)) break;
        levels.hasReadRole = levels.hasWriteRole = true;
        if (inquiry.levelsRead(levels) == Inquiry::Outcome::stored || attempt == mostAttempts) break;
    }
    if (!levels.hasReadRole) return false;
    if (readRole != nullptr) *readRole = levels.readRole;
    if (writeRole != nullptr) *writeRole = levels.writeRole;
    return true;
}

bool AppCfgManager::getAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute,
                                    int attributeInstance, SecurityRole* readRole, SecurityRole* writeRole) {
    return getAccessLevels(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), readRole, writeRole);
}

bool AppCfgManager::setAccessLevels(const std::list<ConfigVar>& vars, const SecurityRole* readRole,
                                    const SecurityRole* writeRole, std::list<std::pair<ConfigVar, eErrorT>>& errors) {
    return m_service->setAccessLevels(vars, readRole, writeRole, errors);
}

bool AppCfgManager::setAccessLevels(const std::list<ConfigVar>& vars, const SecurityRole* readRole,
                                    const SecurityRole* writeRole) {
    return m_service->setAccessLevels(vars, readRole, writeRole);
}

bool AppCfgManager::setAccessLevels(const ConfigVar& var, const SecurityRole* readRole, const SecurityRole* writeRole,
                                    eErrorT& error) {
    error = CFG_ERROR_NONE;
    std::list<std::pair<ConfigVar, eErrorT>> errors;
    const bool accepted = m_service->setAccessLevels({var}, readRole, writeRole, errors);
    if (!errors.empty()) error = errors.front().second;
    return accepted;
}

bool AppCfgManager::setAccessLevels(const ConfigVar& var, const SecurityRole* readRole, const SecurityRole* writeRole) {
    return m_service->setAccessLevels({var}, readRole, writeRole);
}

bool AppCfgManager::setAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute,
                                    int attributeInstance, const SecurityRole* readRole, const SecurityRole* writeRole,
                                    eErrorT& error) {
    return setAccessLevels(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), readRole, writeRole, error);
}

bool AppCfgManager::setAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute,
                                    int attributeInstance, const SecurityRole* readRole,
                                    const SecurityRole* writeRole) {
    return setAccessLevels(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), readRole, writeRole);
}

bool AppCfgManager::setAccessReadOnly(const std::list<ConfigVar>& vars,
                                      std::list<std::pair<ConfigVar, eErrorT>>& errors) {
    return setAccessLevels(vars, nullptr, &readOnlyWriteRole, errors);
}

bool AppCfgManager::setAccessReadOnly(const ConfigVar& var, eErrorT& error) {
    return setAccessLevels(var, nullptr, &readOnlyWriteRole, error);
}

bool AppCfgManager::setAccessReadOnly(const std::string& node, int nodeInstance, const std::string& attribute,
                                      int attributeInstance, eErrorT& error) {
    return setAccessLevels(node, nodeInstance, attribute, attributeInstance, nullptr, &readOnlyWriteRole, error);
}

bool AppCfgManager::setAccessHidden(const std::list<ConfigVar>& vars,
                                    std::list<std::pair<ConfigVar, eErrorT>>& errors) {
    return setAccessLevels(vars, &hiddenReadRole, nullptr, errors);
}

bool AppCfgManager::setAccessHidden(const ConfigVar& var, eErrorT& error) {
    return setAccessLevels(var, &hiddenReadRole, nullptr, error);
}

bool AppCfgManager::setAccessHidden(const std::string& node, int nodeInstance, const std::string& attribute,
                                    int attributeInstance, eErrorT& error) {
    return setAccessLevels(node, nodeInstance, attribute, attributeInstance, &hiddenReadRole, nullptr, error);
}

void AppCfgManager::updateConfigVarAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute,
                                                int attributeInstance, const ConfigAccessLevels& levels) {
    m_cache.updateAccessLevels(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), levels);
}

}  // namespace AppConfig
