#include "AppConfig/ConfigCache.h"

namespace AppConfig {

struct ConfigCache::Record {
    explicit Record(const ConfigVar& var) : entry(var, ConfigValue()) {}

    Entry entry;
    std::uint64_t value = 0;
    std::uint64_t options = 0;
    std::uint64_t levels = 0;
};

ConfigCache::ConfigCache() = default;
ConfigCache::~ConfigCache() = default;

// Readers hold a record after the lock is gone, so a record is never changed in place: a change is made to a copy,
// which then takes the record's place under the lock, and the last reader of the old record frees it. Readers so need
// no second lock, and no change, replacement or removal ever reaches what they look at.
template <typename Change>
ConfigValue ConfigCache::changeLocked(const ConfigVar& var, Change&& apply) {
    const std::shared_ptr<const Record> present = find(var);
    const auto changed = present ? std::make_shared<Record>(*present) : std::make_shared<Record>(var);
    apply(*changed, changed->entry.second, ++m_moment);
    ConfigValue result = changed->entry.second;
    m_cache[var] = changed;
    return result;
}

template <typename Change>
ConfigValue ConfigCache::change(const ConfigVar& var, Change&& apply) {
    const PlainLock lock(m_mutex);
    return changeLocked(var, apply);
}

std::shared_ptr<const ConfigCache::Record> ConfigCache::find(const ConfigVar& var) const {
    const auto found = m_cache.find(var);
    return found == m_cache.end() ? nullptr : found->second;
}

ConfigValue ConfigCache::update(ConfigVar var, std::list<std::string> value) {
    return change(var, [&value](Record& record, ConfigValue& contents, std::uint64_t moment) {
        contents.setValue(value);
        record.value = moment;
    });
}

ConfigCache::iterator ConfigCache::getConfigValue(ConfigVar var) const {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<const Record> record = find(var);
    return record ? iterator(std::shared_ptr<const Entry>(record, &record->entry)) : iterator();
}

ConfigCache::iterator ConfigCache::end() const {
    return iterator();
}

ConfigCache::Moment ConfigCache::now() const {
    const PlainLock lock(m_mutex);
    Moment moment;
    moment.m_number = m_moment;
    return moment;
}

bool ConfigCache::updateSince(ConfigVar var, Moment since, std::list<std::string> value) {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<const Record> present = find(var);
    bool overtaken = present && present->value > since.m_number && present->entry.second.getValue() != value;
    // A reset removes the record: an answer from before it must not come back.
    if (!present || !present->entry.second.hasValue()) overtaken = overtaken || m_removed > since.m_number;
    changeLocked(var, [&](Record& record, ConfigValue& contents, std::uint64_t moment) {
        contents.setValue(overtaken ? std::list<std::string>() : value);
        record.value = moment;
    });
    return !overtaken;
}

bool ConfigCache::updateOptionsSince(ConfigVar var, Moment since, std::vector<std::string> options,
                                     unsigned int defaultIndex) {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<const Record> present = find(var);
    const bool overtaken = present && present->options > since.m_number && present->entry.second.m_options != options;
    changeLocked(var, [&](Record& record, ConfigValue& contents, std::uint64_t moment) {
        if (overtaken) {
            contents.clearOptions();
        } else {
            contents.setOptions(options);
            contents.defaultIndex(defaultIndex);
        }
        record.options = moment;
    });
    return !overtaken;
}

bool ConfigCache::updateAccessLevelsSince(ConfigVar var, Moment since, ConfigAccessLevels const& levels) {
    const PlainLock lock(m_mutex);
    const std::shared_ptr<const Record> present = find(var);
    bool overtaken = false;
    if (present && present->levels > since.m_number) {
        const ConfigAccessLevels stored = present->entry.second.accessLevels();
        overtaken = (stored.hasReadRole && stored.readRole != levels.readRole) ||
                    (stored.hasWriteRole && stored.writeRole != levels.writeRole);
    }
    changeLocked(var, [&](Record& record, ConfigValue& contents, std::uint64_t moment) {
        if (overtaken) {
            contents.m_hasReadRole = contents.m_hasWriteRole = false;
        } else {
            contents.accessLevels(levels);
        }
        record.levels = moment;
    });
    return !overtaken;
}

bool ConfigCache::setStale(ConfigVar var) {
    const PlainLock lock(m_mutex);
    m_removed = ++m_moment;
    return m_cache.erase(var) != 0;
}

ConfigValue ConfigCache::updateAccessLevels(ConfigVar var, ConfigAccessLevels const& levels) {
    return change(var, [&levels](Record& record, ConfigValue& contents, std::uint64_t moment) {
        contents.accessLevels(levels);
        record.levels = moment;
    });
}

ConfigValue ConfigCache::updateOptions(ConfigVar var, std::vector<std::string> options) {
    return change(var, [&options](Record& record, ConfigValue& contents, std::uint64_t moment) {
        contents.setOptions(options);
        record.options = moment;
    });
}

ConfigValue ConfigCache::updateOptionDefaultIndex(ConfigVar var, unsigned int index) {
    return change(var, [index](Record&, ConfigValue& contents, std::uint64_t) { contents.defaultIndex(index); });
}

ConfigValue ConfigCache::updateIsDefault(ConfigVar var, bool isDefault) {
    return change(var, [isDefault](Record&, ConfigValue& contents, std::uint64_t) { contents.isDefault(isDefault); });
}

void ConfigCache::reset() {
    const PlainLock lock(m_mutex);
    m_removed = ++m_moment;
    m_cache.clear();
}

unsigned int ConfigCache::removeVars(std::string part) {
    const PlainLock lock(m_mutex);
    m_removed = ++m_moment;
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
