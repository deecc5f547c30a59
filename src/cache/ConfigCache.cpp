#include "AppConfig/ConfigCache.h"

namespace AppConfig {

ConfigCache::ConfigCache() = default;
ConfigCache::~ConfigCache() = default;

// Readers hold a record after the lock is gone, so a record is never changed in place: a change is made to a copy,
// which then takes the record's place under the lock, and the last reader of the old record frees it. Readers so need
// no second lock, and no change, replacement or removal ever reaches what they look at.
template <typename Change>
ConfigValue ConfigCache::change(const ConfigVar& var, Change&& apply) {
    const PlainLock lock(m_mutex);
    const auto found = m_cache.find(var);
    auto changed = std::make_shared<Entry>(var, found == m_cache.end() ? ConfigValue() : found->second->second);
    apply(changed->second);
    ConfigValue result = changed->second;
    if (found == m_cache.end()) {
        m_cache.emplace(var, std::move(changed));
    } else {
        found->second = std::move(changed);
    }
    return result;
}

ConfigValue ConfigCache::update(ConfigVar var, std::list<std::string> value) {
    return change(var, [&value](ConfigValue& record) { record.setValue(value); });
}

ConfigCache::iterator ConfigCache::getConfigValue(ConfigVar var) const {
    const PlainLock lock(m_mutex);
    const auto found = m_cache.find(var);
    return found == m_cache.end() ? iterator() : iterator(found->second);
}

ConfigCache::iterator ConfigCache::end() const {
    return iterator();
}

template <typename Known, typename Same, typename Change>
bool ConfigCache::changeSince(const ConfigVar& var, const iterator& seen, Known&& known, Same&& same, Change&& apply) {
    const PlainLock lock(m_mutex);
    const auto found = m_cache.find(var);
    const iterator present = found == m_cache.end() ? iterator() : iterator(found->second);
    if (present != seen && present != iterator() && known(present->second)) {
        if (same(present->second)) return true;
        m_cache.erase(found);
        return false;
    }
    auto changed = std::make_shared<Entry>(var, found == m_cache.end() ? ConfigValue() : found->second->second);
    apply(changed->second);
    m_cache[var] = std::move(changed);
    return true;
}

bool ConfigCache::updateSince(ConfigVar var, iterator const& seen, std::list<std::string> value) {
    return changeSince(
        var, seen, [](const ConfigValue& record) { return record.hasValue(); },
        [&value](const ConfigValue& record) { return record.getValue() == value; },
        [&value](ConfigValue& record) { record.setValue(value); });
}

bool ConfigCache::updateOptionsSince(ConfigVar var, iterator const& seen, std::vector<std::string> options,
                                     unsigned int defaultIndex) {
    return changeSince(
        var, seen, [](const ConfigValue& record) { return record.hasOptions(); },
        // A notification brings no index, so the same options need not come with the same one.
        [](const ConfigValue&) { return false; },
        [&](ConfigValue& record) {
            record.setOptions(options);
            record.defaultIndex(defaultIndex);
        });
}

bool ConfigCache::updateAccessLevelsSince(ConfigVar var, iterator const& seen, ConfigAccessLevels const& levels) {
    return changeSince(
        var, seen, [](const ConfigValue& record) { return record.hasAccessLevels(); },
        [&levels](const ConfigValue& record) {
            return record.readRole() == levels.readRole && record.writeRole() == levels.writeRole;
        },
        [&levels](ConfigValue& record) { record.accessLevels(levels); });
}

bool ConfigCache::setStale(ConfigVar var) {
    const PlainLock lock(m_mutex);
    return m_cache.erase(var) != 0;
}

ConfigValue ConfigCache::updateAccessLevels(ConfigVar var, ConfigAccessLevels const& levels) {
    return change(var, [&levels](ConfigValue& record) { record.accessLevels(levels); });
}

ConfigValue ConfigCache::updateOptions(ConfigVar var, std::vector<std::string> options) {
    return change(var, [&options](ConfigValue& record) { record.setOptions(options); });
}

ConfigValue ConfigCache::updateOptionDefaultIndex(ConfigVar var, unsigned int index) {
    return change(var, [index](ConfigValue& record) { record.defaultIndex(index); });
}

ConfigValue ConfigCache::updateIsDefault(ConfigVar var, bool isDefault) {
    return change(var, [isDefault](ConfigValue& record) { record.isDefault(isDefault); });
}

void ConfigCache::reset() {
    const PlainLock lock(m_mutex);
    m_cache.clear();
}

unsigned int ConfigCache::removeVars(std::string part) {
    const PlainLock lock(m_mutex);
    unsigned int removed = 0;
    for (auto it = m_cache.begin(); it != m_cache.end();) {
        if (it->first.m_node.find(part) == std::string::npos) {
            ++it;
        } else {
            it = m_cache.erase(it);
            ++removed;
        }
    }
    return removed;
}

}  // namespace AppConfig
