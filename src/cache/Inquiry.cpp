#include "cache/Inquiry.h"

#include <algorithm>

#include "cache/Record.h"

namespace AppConfig {

Inquiry::Inquiry(ConfigCache& cache, const ConfigVar& var, Item item) : m_cache(cache), m_var(var), m_item(item) {
    const PlainLock lock(m_cache.m_mutex);
    m_cache.m_inquiries.push_back(this);
}

Inquiry::~Inquiry() {
    const PlainLock lock(m_cache.m_mutex);
    auto& open = m_cache.m_inquiries;
    open.erase(std::find(open.begin(), open.end(), this));
}

void Inquiry::touched(ConfigCache& cache, const ConfigVar& var, Item item, Touch how) {
    for (Inquiry* inquiry : cache.m_inquiries) {
        if (inquiry->m_item != item || !(inquiry->m_var == var)) continue;
        inquiry->m_touch = std::max(inquiry->m_touch, how);
        inquiry->m_indexTouched = inquiry->m_indexTouched || how != Touch::options;
    }
}

bool Inquiry::mayStore(bool same) const {
    return m_touch == Touch::none || (m_touch == Touch::whole && same);
}

Inquiry::Outcome Inquiry::read(const std::list<std::string>& value, bool isDefault, const Revision& revision) {
    const PlainLock lock(m_cache.m_mutex);
    const auto record = m_cache.editable(m_var);
    if (revision.isOlderThan(record->newest)) return Outcome::superseded;
    if (revision.isOlderThan(record->doubtful)) return lose(record);
    const bool newer = revision.isComparableWith(record->newest) && !record->contested && !m_doubted;
    if (!newer && !mayStore(record->present && record->entry.second.getValue() == value)) return lose(record);
    record->setValue(value);
    record->entry.second.isDefault(isDefault);
    if (revision.known) record->newest = revision;
    record->contested = record->contested && m_overtaken;
    return store(record);
}

Inquiry::Outcome Inquiry::written(const std::list<std::string>& value, const Revision& revision) {
    const PlainLock lock(m_cache.m_mutex);
    const auto record = m_cache.editable(m_var);
    if (revision.isOlderThan(record->newest)) {
        // Somebody's later write was announced already. That the own one was accepted is to be remembered all the same,
        // but no record is made for it.
        record->accepted = true;
        m_cache.m_cache[m_var] = record;
        return Outcome::superseded;
    }
    const bool overtaken = revision.isOlderThan(record->doubtful);
    const bool comparable = revision.isComparableWith(record->newest);
    accept(*record, revision);
    const bool newer = comparable && !record->contested && !m_doubted;
    const bool same = record->present && record->entry.second.getValue() == value;
    if (overtaken || (!newer && !mayStore(same))) return lose(record);
    record->setValue(value);
    return store(record);
}

void Inquiry::reset(const Revision& revision) {
    const PlainLock lock(m_cache.m_mutex);
    if (revision.known) {
        const auto record = m_cache.editable(m_var);
        accept(*record, revision);
        m_cache.m_cache[m_var] = record;
    }
    touched(m_cache, m_var, Item::value, Touch::whole);
    auto found = m_cache.m_cache.find(m_var);
    if (found != m_cache.m_cache.end()) m_cache.remove(found);
}

/// The service accepted a change of this process.
void Inquiry::accept(ConfigCache::Record& record, const Revision& revision) {
    if (!revision.known) return;
    for (Inquiry* inquiry : m_cache.m_inquiries) {
        if (inquiry != this && inquiry->m_var == m_var) inquiry->m_overtaken = true;
    }
    if (!m_overtaken) {
        // Whatever was accepted before had been when this one was sent.
        record.contested = false;
    } else if (record.accepted && !revision.isComparableWith(record.newest)) {
        record.contested = true;
    }
    if (!revision.isOlderThan(record.newest)) record.newest = revision;
    if (revision.isOlderThan(record.doubtful)) record.newest = record.doubtful;
    record.accepted = true;
}

Inquiry::Outcome Inquiry::optionsRead(const std::vector<std::string>& options, unsigned int defaultIndex) {
    const PlainLock lock(m_cache.m_mutex);
    const auto record = m_cache.editable(m_var);
    const ConfigValue& known = record->entry.second;
    const bool sameOptions = record->hasAnyOption ? known.getOptions() == options : options.empty();
    if (!mayStore(known.hasOptions() && sameOptions && known.defaultIndex() == defaultIndex)) return lose(record);
    record->setOptions(options);
    record->entry.second.defaultIndex(defaultIndex);
    return store(record);
}

Inquiry::Outcome Inquiry::levelsRead(const ConfigAccessLevels& levels) {
    const PlainLock lock(m_cache.m_mutex);
    const auto record = m_cache.editable(m_var);
    const ConfigAccessLevels known = record->entry.second.accessLevels();
    const bool same = known.hasReadRole && known.hasWriteRole && known.readRole == levels.readRole &&
                      known.writeRole == levels.writeRole;
    if (!mayStore(same)) return lose(record);
    record->entry.second.accessLevels(levels);
    record->lost(Item::levels) = false;
    return store(record);
}

Inquiry::Outcome Inquiry::indexWritten(unsigned int defaultIndex) {
    const PlainLock lock(m_cache.m_mutex);
    const auto record = m_cache.editable(m_var);
    // An announcement of the options, which may well be the own one, says nothing of the index.
    if (m_indexTouched && record->entry.second.defaultIndex() != defaultIndex) return lose(record);
    record->entry.second.defaultIndex(defaultIndex);
    touched(m_cache, m_var, m_item, Touch::index);
    m_cache.put(record);
    return Outcome::stored;
}

Inquiry::Outcome Inquiry::store(const std::shared_ptr<ConfigCache::Record>& record) {
    // Whoever else waits for an answer about the same item has been overtaken now; this inquiry is through.
    touched(m_cache, m_var, m_item, Touch::whole);
    m_cache.put(record);
    return Outcome::stored;
}

Inquiry::Outcome Inquiry::lose(const std::shared_ptr<ConfigCache::Record>& record) {
    switch (m_item) {
        case Item::value: record->setValue({}); break;
        case Item::options:
            record->entry.second.clearOptions();
            record->hasAnyOption = false;
            break;
        case Item::levels: record->entry.second.clearAccessLevels(); break;
    }
    record->lost(m_item) = true;
    touched(m_cache, m_var, m_item, Touch::whole);
    m_cache.put(record);
    return Outcome::unknown;
}

void Inquiry::announced(ConfigCache& cache, const ConfigVar& var, const std::list<std::string>& value,
                        const Revision& revision) {
    const PlainLock lock(cache.m_mutex);
    const auto record = cache.editable(var);
    if (revision.isOlderThan(record->newest)) return;
    const bool comparable = revision.isComparableWith(record->newest);
    // The service was started again since it accepted this process's write, and this announcement may come from before
    // that or after it: deliveries and answers travel apart. Only the service can tell.
    if (record->accepted && revision.known && (!comparable || record->contested)) {
        const bool same = record->present && record->entry.second.getValue() == value;
        if (!same) {
            record->setValue({});
            record->lost(Item::value) = true;
        }
        for (Inquiry* inquiry : cache.m_inquiries) {
            if (inquiry->m_var == var) inquiry->m_doubted = true;
        }
        // An answer of that same start of the service may still come, and be older.
        if (!revision.isOlderThan(record->doubtful)) record->doubtful = revision;
    } else {
        record->setValue(value);
        record->newest = revision;
        // The accepted write is remembered all the same: a provider's request may bring a newer change while older
        // notifications still wait, and the record may go before they come.
    }
    touched(cache, var, Item::value, Touch::whole);
    cache.put(record);
}

bool Inquiry::hasLost(const ConfigCache& cache, const ConfigVar& var, Item item) {
    const PlainLock lock(cache.m_mutex);
    const std::shared_ptr<const ConfigCache::Record> record = cache.find(var);
    return record && record->present && record->lost(item);
}

}  // namespace AppConfig
