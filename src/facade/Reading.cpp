#include <strings.h>

#include <cstdlib>
#include <optional>

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "cache/Inquiry.h"
#include "facade/ValueKey.h"

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

void AppCfgManager::storeNotified(const ConfigVar& key, const std::list<std::string>& value, const Revision& revision) {
    Inquiry::notified(m_cache, key, value, revision);
}

void AppCfgManager::updateIsDefault(const ConfigVar& var, bool isDefault) {
    if (isCacheable(var)) m_cache.updateIsDefault(valueKey(var), isDefault);
}

std::list<std::string> AppCfgManager::getConfigVar(const ConfigVar& var, std::list<std::string>& value) {
    bool isDefault = false;
    value = cachedOrRead(var, isDefault);
    if (value.empty()) value.emplace_back();
    return value;
}

std::list<std::string> AppCfgManager::cachedOrRead(const ConfigVar& var, bool& isDefault) {
    std::list<std::string> answer;
    for (int attempt = 1; attempt <= mostAttempts; ++attempt) {
        const ConfigCache::iterator cached = retrieveConfigVar(var);
        if (cached != m_cache.end() && cached->second.hasValue()) {
            isDefault = cached->second.isDefault();
            return cached->second.getValue();
        }
        std::optional<Inquiry> inquiry;
        if (isCacheable(var)) inquiry.emplace(m_cache, valueKey(var), Inquiry::Item::value);
        Revision revision;
        std::list<std::string> latest = m_service->readValue(var, isDefault, revision);
        // Not cached: an empty value and a failure of the service look the same, so the next read requests it again.
        // The caller still gets what an earlier attempt brought.
        if (latest.empty()) break;
        answer = std::move(latest);
        if (!inquiry || inquiry->read(answer, isDefault, revision) == Inquiry::Outcome::stored) break;
    }
    return answer;
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
    std::list<std::string> value;
    bool isDefault = false;
    if (lacksValue(key)) value = cachedOrRead(key, isDefault);
    const ConfigCache::iterator record = m_cache.getConfigValue(key);
    if (record == m_cache.end()) return ConfigValue();
    if (record->second.hasValue()) {
        value = record->second.getValue();
        isDefault = record->second.isDefault();
    }
    ConfigAccessLevels levels;
    if (record->second.hasAccessLevels()) {
        levels = record->second.accessLevels();
    } else {
        levels.hasReadRole = levels.hasWriteRole = getAccessLevels(key, &levels.readRole, &levels.writeRole);
    }
    std::vector<std::string> options;
    const bool asksForOptions = !record->second.hasOptions();
    if (asksForOptions) getConfigOptions(key, options);

    // Looked up again for what was fetched. If it has become unknown since, or the record was removed, the caller still
    // gets what this call has found.
    const ConfigCache::iterator now = m_cache.getConfigValue(key);
    const bool holdsWhatWasFound = now != m_cache.end() && (asksForOptions || now->second.hasOptions());
    ConfigValue completed = holdsWhatWasFound ? now->second : record->second;
    if (!completed.hasValue() && !value.empty()) {
        completed.setValue(value);
        completed.isDefault(isDefault);
    }
    if (!completed.hasAccessLevels()) completed.accessLevels(levels);
    if (!completed.hasOptions()) completed.setOptions(options);
    return completed;
}

bool AppCfgManager::lacksValue(const ConfigVar& key) const {
    return m_cache.getConfigValue(key) == m_cache.end() || Inquiry::hasLost(m_cache, key, Inquiry::Item::value);
}

}  // namespace AppConfig
