#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AppConfig/ConfigValue.h"
#include "AppConfig/ConfigVar.h"
#include "AppConfig/Export.h"
#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfig {

class Inquiry;
struct Touches;

/// The last known record of every variable that one manager has read or been told of. It owns its records. There is no
/// expiry and no limit: a record is present and trusted, or absent.
///
/// Thread-safe: each operation takes the cache's mutex for its own duration, also when an exception passes. No
/// operation blocks on anything else. An iterator outlives that lock; see there.
class APPCONFIG_EXPORT ConfigCache {
public:
    /// One record under its variable.
    using Entry = std::pair<const ConfigVar, ConfigValue>;

    /// Gives access to the record that was current when the iterator was handed out, or to none (the cache's end).
    ///
    /// A record is never changed in place: an update puts a changed copy into the map, and an iterator shares ownership
    /// of the record it was given. It may therefore be read without a lock for as long as it exists, while other
    /// threads update, replace or remove the variable; such changes are seen by the next getConfigValue() only. Copies
    /// may be used by several threads; one object is not synchronised. Reading through the end is undefined.
    class iterator {
    public:
        iterator() = default;
        const Entry& operator*() const { return *m_entry; }
        const Entry* operator->() const { return m_entry.get(); }
        /// Two iterators are equal when they give the same record or none.
        bool operator==(const iterator& other) const { return m_entry == other.m_entry; }
        bool operator!=(const iterator& other) const { return m_entry != other.m_entry; }

    private:
        friend class ConfigCache;
        explicit iterator(std::shared_ptr<const Entry> entry) : m_entry(std::move(entry)) {}
        std::shared_ptr<const Entry> m_entry;
    };

    /// Empty.
    ConfigCache();
    /// No operation may be running. Iterators stay readable.
    ~ConfigCache();

    ConfigCache(const ConfigCache&) = delete;
    ConfigCache& operator=(const ConfigCache&) = delete;

    /// Stores \p value as the value of the record of \p var, which is created when there is none. An empty list is
    /// stored as such. No other field of the record changes. \return a copy of the whole record after the change.
    ConfigValue update(ConfigVar var, std::list<std::string> value);

    /// \return the record of \p var; end() when there is none. Namespace and instances count.
    iterator getConfigValue(ConfigVar var) const;

    /// \return what getConfigValue() gives for an absent variable.
    iterator end() const;

    /// Removes the record of \p var, so that the next read goes to the service.
    /// \return whether there was one.
    bool setStale(ConfigVar var);

    /// As update(), for the access levels: a role whose flag is not set in \p levels keeps its value and its flag.
    ConfigValue updateAccessLevels(ConfigVar var, ConfigAccessLevels const& levels);

    /// As update(), for the options, which become known. The default index stays.
    ConfigValue updateOptions(ConfigVar var, std::vector<std::string> options);

    /// As update(), for the index of the default option.
    ConfigValue updateOptionDefaultIndex(ConfigVar var, unsigned int index);

    /// As update(), for the flag that says whether the value is the default.
    ConfigValue updateIsDefault(ConfigVar var, bool isDefault);

    /// Removes every record.
    void reset();

    /// Removes every record whose node name holds \p part anywhere. The attribute is not searched; \p part is taken as
    /// it is, so one with a capital letter matches nothing, and an empty one matches everything. \return how many
    /// records were removed.
    unsigned int removeVars(std::string part);

private:
    // A request under way has to tell what happened to its variable meanwhile.
    friend class Inquiry;

    struct APPCONFIG_HIDDEN Record;
    using Records = std::map<ConfigVar, std::shared_ptr<const Record>>;

    /// \return the record of \p var, also one that only remembers; null when there is none.
    std::shared_ptr<const Record> find(const ConfigVar& var) const APPCONFIG_REQUIRES(m_mutex);
    /// \return a copy of the record of \p var to be changed and put back; a new one when there is none.
    std::shared_ptr<Record> editable(const ConfigVar& var) const APPCONFIG_REQUIRES(m_mutex);
    /// \return a copy of its contents.
    ConfigValue put(std::shared_ptr<Record> record) APPCONFIG_REQUIRES(m_mutex);
    /// Removes the record at \p at, which moves on to the next. \return whether there was one to be seen.
    bool remove(Records::iterator& at) APPCONFIG_REQUIRES(m_mutex);

    Records m_cache APPCONFIG_GUARDED_BY(m_mutex);
    mutable PlainMutex m_mutex;
    std::vector<Touches*> m_underWay APPCONFIG_GUARDED_BY(m_mutex);  ///< of the requests that are
};

}  // namespace AppConfig
