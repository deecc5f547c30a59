#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "cache/Inquiry.h"

// The lookups here take a variable's namespace as given, unlike those of values.

namespace AppConfig {

std::vector<std::string>& AppCfgManager::getConfigOptions(const ConfigVar& var, std::vector<std::string>& options) {
    if (m_cache.getConfigValue(var) == m_cache.end()) {
        std::list<std::string> scratch;
        getConfigVar(var, scratch);
        if (m_cache.getConfigValue(var) == m_cache.end()) {
            options.clear();
            return options;
        }
    }
    for (int attempt = 1;; ++attempt) {
        const ConfigCache::iterator record = m_cache.getConfigValue(var);
        if (record != m_cache.end() && record->second.hasOptions()) {
            options = record->second.getOptions();
            return options;
        }
        Inquiry inquiry(m_cache, var, Inquiry::Item::options);
        std::list<std::string> list;
        unsigned int defaultIndex = 0;
        m_service->getConfigOptions(var, list, defaultIndex);
        options.assign(list.begin(), list.end());
        // An empty reply is cached too, whatever its reason, so that a variable without options is requested once.
        const Inquiry::Outcome outcome = inquiry.optionsRead(options, defaultIndex);
        if (outcome == Inquiry::Outcome::stored || attempt == mostAttempts) return options;
    }
}

std::vector<std::string>& AppCfgManager::getConfigOptions(const std::string& node, int nodeInstance,
                                                          const std::string& attribute, int attributeInstance,
                                                          std::vector<std::string>& options) {
    return getConfigOptions(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), options);
}

std::list<std::string>& AppCfgManager::getConfigOptions(const std::string& node, int nodeInstance,
                                                        const std::string& attribute, int attributeInstance,
                                                        std::list<std::string>& options) {
    std::vector<std::string> found;
    getConfigOptions(node, nodeInstance, attribute, attributeInstance, found);
    options.insert(options.end(), found.begin(), found.end());
    return options;
}

std::vector<std::string>& AppCfgManager::getConfigDefaultOptions(const std::string& node, int nodeInstance,
                                                                 const std::string& attribute, int attributeInstance,
                                                                 std::vector<std::string>& options) {
    const ConfigVar var(0, node, nodeInstance, attribute, attributeInstance);
    std::list<std::string> list;
    unsigned int defaultIndex = 0;
    m_service->getConfigDefaultOptions(var, list, defaultIndex);
    options.insert(options.end(), list.begin(), list.end());
    m_cache.updateOptionDefaultIndex(var, defaultIndex);
    return options;
}

bool AppCfgManager::getConfigOptionDefaultIndex(const ConfigVar& var, unsigned int& index) {
    const bool isMissing = m_cache.getConfigValue(var) == m_cache.end();
    if (isMissing) {
        std::list<std::string> value;
        getConfigVar(var, value);
    }
    // A record without options has an index all the same, unless it lost them: then the index went with them.
    if (isMissing || Inquiry::hasLost(m_cache, var, Inquiry::Item::options)) {
        std::vector<std::string> options;
        getConfigOptions(var, options);
    }
    const ConfigCache::iterator record = m_cache.getConfigValue(var);
    if (record == m_cache.end()) return false;
    index = record->second.defaultIndex();
    return true;
}

bool AppCfgManager::getConfigOptionDefaultIndex(const std::string& node, int nodeInstance, const std::string& attribute,
                                                int attributeInstance, unsigned int& index) {
    return getConfigOptionDefaultIndex(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), index);
}

bool AppCfgManager::setConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                     int attributeInstance, const std::vector<std::string>& options) {
    const std::list<std::string> list(options.begin(), options.end());
    return m_service->setConfigOptions(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), list, nullptr);
}

bool AppCfgManager::setConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                     int attributeInstance, const std::vector<std::string>& options,
                                     unsigned int defaultIndex) {
    const ConfigVar var(0, node, nodeInstance, attribute, attributeInstance);
    const std::list<std::string> list(options.begin(), options.end());
    Inquiry inquiry(m_cache, var, Inquiry::Item::options);
    if (!m_service->setConfigOptions(var, list, &defaultIndex)) return false;
    inquiry.indexWritten(defaultIndex);
    return true;
}

bool AppCfgManager::isDefault(const std::string& node, int nodeInstance, const std::string& attribute,
                              int attributeInstance) {
    const ConfigVar var(0, node, nodeInstance, attribute, attributeInstance);
    // A variable that cannot be read counts as holding its default.
    bool isDefault = true;
    if (lacksValue(var)) cachedOrRead(var, isDefault);
    const ConfigCache::iterator record = m_cache.getConfigValue(var);
    const bool isKnown = record != m_cache.end() && !Inquiry::hasLost(m_cache, var, Inquiry::Item::value);
    return isKnown ? record->second.isDefault() : isDefault;
}

bool AppCfgManager::resetValue(const std::string& node, int nodeInstance, const std::string& attribute,
                               int attributeInstance) {
    const ConfigVar var(0, node, nodeInstance, attribute, attributeInstance);
    Inquiry inquiry(m_cache, var, Inquiry::Item::value);
    Revision revision;
    if (!m_service->resetValue(var, revision)) return false;
    inquiry.reset(revision);
    return true;
}

void AppCfgManager::updateConfigVarOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                           int attributeInstance, std::list<std::string> options) {
    m_cache.updateOptions(ConfigVar(0, node, nodeInstance, attribute, attributeInstance),
                          std::vector<std::string>(options.begin(), options.end()));
}

}  // namespace AppConfig
