#include <strings.h>

#include <cstdlib>

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "ValueKey.h"

namespace AppConfig {

bool AppCfgManager::isCacheable(const ConfigVar& var) const {
    return var.m_namespace == 0 || var.m_namespace == m_service->getNamespace();
}

ConfigCache::iterator AppCfgManager::retrieveConfigVar(const ConfigVar& var) {
    return isCacheable(var) ? m_cache.getConfigValue(valueKey(var)) : m_cache.end();
}

ConfigCache::iterator AppCfgManager::cacheEnd() const {
    return m_cache.end();
}

void AppCfgManager::updateConfigVar(const ConfigVar& var, std::list<std::string> value) {
    if (isCacheable(var)) m_cache.update(valueKey(var), std::move(value));
}

void AppCfgManager::updateIsDefault(const ConfigVar& var, bool isDefault) {
    if (isCacheable(var)) m_cache.updateIsDefault(valueKey(var), isDefault);
}

std::list<std::string> AppCfgManager::getConfigVar(const ConfigVar& var, std::list<std::string>& value) {
    const ConfigCache::Moment before = m_cache.now();
    const ConfigCache::iterator cached = retrieveConfigVar(var);
    if (cached != m_cache.end() && cached->second.hasValue()) {
        value = cached->second.getValue();
        return value;
    }
    bool isDefault = false;
    value = m_service->getConfigVar(var, isDefault);
    if (value.empty()) {
        // Not cached: whether the value is empty or the service failed cannot be told, so the next read asks again.
        value.emplace_back();
        return value;
    }
    // The service has announced changes since it was asked to, perhaps before this line was reached.
    if (isCacheable(var)) {
        m_cache.updateSince(valueKey(var), before, value);
        updateIsDefault(var, isDefault);
    }
    return value;
}

std::list<std::string> AppCfgManager::getConfigVar(const std::string& node, int nodeInstance,
                                                   const std::string& attribute, int attributeInstance,
                                                   std::list<std::string>& value) {
    return getConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value);
}

std::string AppCfgManager::getConfigVar(const ConfigVar& var) {
    std::list<std::string> value;
    getConfigVar(var, value);
    return value.empty() ? std::string() : value.front();
}

std::string AppCfgManager::getConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                        int attributeInstance) {
    return getConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance));
}

bool AppCfgManager::getConfigVarBool(const ConfigVar& var) {
    std::list<std::string> value;
    getConfigVar(var, value);
    return !value.empty() && strcasecmp(value.front().c_str(), "true") == 0;
}

bool AppCfgManager::getConfigVarBool(const std::string& node, int nodeInstance, const std::string& attribute,
                                     int attributeInstance) {
    return getConfigVarBool(ConfigVar(0, node, nodeInstance, attribute, attributeInstance));
}

int AppCfgManager::getConfigVarInt(const ConfigVar& var) {
    std::list<std::string> value;
    getConfigVar(var, value);
    return value.empty() ? -1 : static_cast<int>(std::strtol(value.front().c_str(), nullptr, 0));
}

int AppCfgManager::getConfigVarInt(const std::string& node, int nodeInstance, const std::string& attribute,
                                   int attributeInstance) {
    return getConfigVarInt(ConfigVar(0, node, nodeInstance, attribute, attributeInstance));
}

ConfigValue AppCfgManager::getConfigValue(const std::string& node, int nodeInstance, const std::string& attribute,
                                          int attributeInstance) {
    const ConfigVar key(0, node, nodeInstance, attribute, attributeInstance);
    ConfigCache::iterator record = m_cache.getConfigValue(key);
    if (record == m_cache.end()) {
        getConfigVar(key);
        record = m_cache.getConfigValue(key);
        if (record == m_cache.end()) return ConfigValue();
    }
    if (!record->second.hasAccessLevels()) {
        getAccessLevels(node, nodeInstance, attribute, attributeInstance, nullptr, nullptr);
    }
    if (!record->second.hasOptions()) {
        std::vector<std::string> scratch;
        getConfigOptions(node, nodeInstance, attribute, attributeInstance, scratch);
    }
    // Looked up again for what was fetched; should somebody have removed the record meanwhile, what was read still
    // holds.
    const ConfigCache::iterator completed = m_cache.getConfigValue(key);
    return completed == m_cache.end() ? record->second : completed->second;
}

}  // namespace AppConfig
