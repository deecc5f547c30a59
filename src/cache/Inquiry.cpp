#include "cache/Inquiry.h"

#include <algorithm>

#include "cache/Record.h"

namespace AppConfig {

Inquiry::Inquiry(ConfigCache& cache, const ConfigVar& var, Item item) : m_cache(cache), m_touches{var, item} {
    const PlainLock lock(m_cache.m_mutex);
    m_cache.m_underWay.push_back(&m_touches);
}

Inquiry::~Inquiry() {
    const PlainLock lock(m_cache.m_mutex);
    auto& underWay = m_cache.m_underWay;
    underWay.erase(std::find(underWay.begin(), underWay.end(), &m_touches));
}

bool Inquiry::mayStore(bool same) const {
    return m_touches.how == Touches::How::none || (m_touches.how == Touches::How::whole && same);
}

Inquiry::Outcome Inquiry::read(const std::list<std::string>& value, bool isDefault, const Revision& revision) {
    const PlainLock lock(m_cache.m_mutex);
    const auto record = m_cache.editable(m_touches.var);
    if (revision.isOlderThan(record->newest)) return Outcome::superseded;
    if (revision.isOlderThan(record->doubtful)) return lose(record);
    const bool newer = revision.isComparableWith(record->newest) && !record->contested && !m_touches.doubted;
    if (!newer && !mayStore(record->present && record->entry.second.getValue() == value)) return lose(record);
    record->setValue(value);
    record->entry.second.isDefault(isDefault);
    if (revision.known) record->newest = revision;
    record->contested = record->contested && m_touches.overtaken;
    return store(record);
}

Inquiry::Outcome Inquiry::written(const std::list<std::string>& value, const Revision& revision) {
    const PlainLock lock(m_cache.m_mutex);
    const auto record = m_cache.editable(m_touches.var);
    if (revision.isOlderThan(record->newest)) {
        // A later write of somebody else was notified already. The accepted write is remembered all the same, but no
        // record is created for it.
        record->accepted = true;
        m_cache.m_cache[m_touches.var] = record;
        return Outcome::superseded;
    }
    const bool overtaken = revision.isOlderThan(record->doubtful);
    const bool comparable = revision.isComparableWith(record->newest);
    accept(*record, revision);
    const bool newer = comparable && !record->contested && !m_touches.doubted;
    const bool same = record->present && record->entry.second.getValue() == value;
    if (overtaken || (!newer && !mayStore(same))) return lose(record);
    record->setValue(value);
    return store(record);
}

void Inquiry::reset(const Revision& revision) {
    const PlainLock lock(m_cache.m_mutex);
    if (revision.known) {
        const auto record = m_cache.editable(m_touches.var);
        accept(*record, revision);
        m_cache.m_cache[m_touches.var] = record;
    }
    touch(m_cache.m_underWay, m_touches.var, Item::value, Touches::How::whole);
    auto found = m_cache.m_cache.find(m_touches.var);
    if (found != m_cache.m_cache.end()) m_cache.remove(found);
}

/// The service accepted a change of this process.
void Inquiry::accept(ConfigCache::Record& record, const Revision& revision) {
    if (!revision.known) return;
    for (Touches* other : m_cache.m_underWay) {
        if (other != &m_touches && other->var == m_touches.var) other->overtaken = true;
    }
    if (!m_touches.overtaken) {
        // Whatever was accepted before had been accepted when this one was sent.
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
    const auto record = m_cache.editable(m_touches.var);
    const ConfigValue& known = record->entry.second;
    const bool sameOptions = record->hasAnyOption ? known.getOptions() == options : options.empty();
    if (!mayStore(known.hasOptions() && sameOptions && known.defaultIndex() == defaultIndex)) return lose(record);
    record->setOptions(options);
    record->entry.second.defaultIndex(defaultIndex);
    return store(record);
}

Inquiry::Outcome Inquiry::levelsRead(const ConfigAccessLevels& levels) {
    const PlainLock lock(m_cache.m_mutex);
    const auto record = m_cache.editable(m_touches.var);
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
    const auto record = m_cache.editable(m_touches.var);
    // A notification of the options, which may well be the own ones, says nothing about the index.
    if (m_touches.indexTouched && record->entry.second.defaultIndex() != defaultIndex) return lose(record);
    record->entry.second.defaultIndex(defaultIndex);
    touch(m_cache.m_underWay, m_touches.var, m_touches.item, Touches::How::index);
    m_cache.put(record);
    return Outcome::stored;
}

Inquiry::Outcome Inquiry::store(const std::shared_ptr<ConfigCache::Record>& record) {
    // Other requests about the same item have been overtaken now; this inquiry has ended.
    touch(m_cache.m_underWay, m_touches.var, m_touches.item, Touches::How::whole);
    m_cache.put(record);
    return Outcome::stored;
}

Inquiry::Outcome Inquiry::lose(const std::shared_ptr<ConfigCache::Record>& record) {
    switch (m_touches.item) {
        case Item::value: record->setValue({}); break;
        case Item::options:
            record->entry.second.clearOptions();
            record->hasAnyOption = false;
            break;
        case Item::levels: record->entry.second.clearAccessLevels(); break;
    }
    record->lost(m_touches.item) = true;
    touch(m_cache.m_underWay, m_touches.var, m_touches.item, Touches::How::whole);
    m_cache.put(record);
    return Outcome::unknown;
}

void Inquiry::notified(ConfigCache& cache, const ConfigVar& var, const std::list<std::string>& value,
                       const Revision& revision) {
    const PlainLock lock(cache.m_mutex);
    const auto record = cache.editable(var);
    if (revision.isOlderThan(record->newest)) return;
    const bool comparable = revision.isComparableWith(record->newest);
    // The service was restarted after it accepted this process's write, and this notification may be older or newer
    // than that: deliveries and replies take different connections. Only the service can tell.
    if (record->accepted && revision.known && (!comparable || record->contested)) {
        const bool same = record->present && record->entry.second.getValue() == value;
        if (!same) {
            record->setValue({});
            record->lost(Item::value) = true;
        }
        for (Touches* other : cache.m_underWay) {
            if (other->var == var) other->doubted = true;
        }
        // A reply of that same run of the service may still come, and be older.
        if (!revision.isOlderThan(record->doubtful)) record->doubtful = revision;
    } else {
        record->setValue(value);
        record->newest = revision;
        // The accepted write is remembered all the same: a question may bring a newer change while older notifications
        // still wait, and the record may be removed before they arrive.
    }
    touch(cache.m_underWay, var, Item::value, Touches::How::whole);
    cache.put(record);
}

bool Inquiry::hasLost(const ConfigCache& cache, const ConfigVar& var, Item item) {
    const PlainLock lock(cache.m_mutex);
    const std::shared_ptr<const ConfigCache::Record> record = cache.find(var);
    return record && record->present && record->lost(item);
}

}  // namespace AppConfig
