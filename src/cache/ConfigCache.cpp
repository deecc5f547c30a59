#include "AppConfig/ConfigCache.h"

#include "cache/Record.h"
#include "cache/Touches.h"

namespace AppConfig {

ConfigCache::ConfigCache() = default;
ConfigCache::~ConfigCache() = default;

std::shared_ptr<const ConfigCache::Record> ConfigCache::find(const ConfigVar& var) const {
    const auto found = m_cache.find(var);
    return found == m_cache.end() ? nullptr : found->second;
}

// Readers hold a record after the lock is released, so a record is never changed in place: a change is made to a copy,
// which then replaces the record under the lock, and the last reader of the old record frees it. So readers need no
// second lock, and no change, replacement or removal ever reaches what they look at.
std::shared_ptr<ConfigCache::Record> ConfigCache::editable(const ConfigVar& var) const {
    const std::shared_ptr<const Record> present = find(var);
    return present ? std::make_shared<Record>(*present) : std::make_shared<Record>(var);
}

ConfigValue ConfigCache::put(std::shared_ptr<Record> record) {
    record->present = true;
    ConfigValue copy = record->entry.second;
    const ConfigVar& var = record->entry.first;
    m_cache[var] = std::move(record);
    return copy;
}

bool ConfigCache::remove(Records::iterator& at) {
    const std::shared_ptr<const Record> record = at->second;
    if (record->present && record->accepted) {
        const auto left = std::make_shared<Record>(record->entry.first);
        left->present = false;
        left->newest = record->newest;
        left->doubtful = record->doubtful;
        left->contested = record->contested;
        left->accepted = true;
        at->second = left;
    }
    if (record->accepted) {
        ++at;
    } else {
        at = m_cache.erase(at);
    }
    return record->present;
}

ConfigValue ConfigCache::update(ConfigVar var, std::list<std::string> value) {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<Record> record = editable(var);
    record->setValue(value);
    touch(m_underWay, var, CachedItem::value, Touches::How::whole);
    return put(record);
}

ConfigCache::iterator ConfigCache::getConfigValue(ConfigVar var) const {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<const Record> record = find(var);
    const bool present = record && record->present;
    return present ? iterator(std::shared_ptr<const Entry>(record, &record->entry)) : iterator();
}

ConfigCache::iterator ConfigCache::end() const {
    return iterator();
}

bool ConfigCache::setStale(ConfigVar var) {
    const PlainLock lock(m_mutex);
    auto found = m_cache.find(var);
    return found != m_cache.end() && remove(found);
}

ConfigValue ConfigCache::updateAccessLevels(ConfigVar var, ConfigAccessLevels const& levels) {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<Record> record = editable(var);
    record->entry.second.accessLevels(levels);
    if (record->entry.second.hasAccessLevels()) record->lost(CachedItem::levels) = false;
    touch(m_underWay, var, CachedItem::levels, Touches::How::whole);
    return put(record);
}

ConfigValue ConfigCache::updateOptions(ConfigVar var, std::vector<std::string> options) {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<Record> record = editable(var);
    record->setOptions(options);
    touch(m_underWay, var, CachedItem::options, Touches::How::options);
    return put(record);
}

ConfigValue ConfigCache::updateOptionDefaultIndex(ConfigVar var, unsigned int index) {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<Record> record = editable(var);
    record->entry.second.defaultIndex(index);
    touch(m_underWay, var, CachedItem::options, Touches::How::index);
    return put(record);
}

ConfigValue ConfigCache::updateIsDefault(ConfigVar var, bool isDefault) {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<Record> record = editable(var);
    record->entry.second.isDefault(isDefault);
    return put(record);
}

void ConfigCache::reset() {
    const PlainLock lock(m_mutex);
    for (auto at = m_cache.begin(); at != m_cache.end();) remove(at);
}

unsigned int ConfigCache::removeVars(std::string part) {
    const PlainLock lock(m_mutex);
    unsigned int removed = 0;
    for (auto at = m_cache.begin(); at != m_cache.end();) {
        if (at->first.m_node.find(part) == std::string::npos) {
            ++at;
        } else if (remove(at)) {
            ++removed;
        }
    }
    return removed;
}

}  // namespace AppConfig
