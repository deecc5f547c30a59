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

/// The last known record of every variable that one manager has read or been notified of. Owns its records. There is no
/// expiry and no limit: a record is present and trusted, or absent.
///
/// Thread-safe: each operation holds the cache's mutex while it runs and blocks on nothing else. An iterator stays
/// valid after that; see there.
class APPCONFIG_EXPORT ConfigCache {
public:
    /// One record under its variable.
    using Entry = std::pair<const ConfigVar, ConfigValue>;

    /// Gives access to the record that was current when the iterator was returned, or to none (the cache's end).
    ///
    /// A record is never changed in place: an update puts a changed copy into the map, and an iterator shares ownership
    /// of its record. It may therefore be read without a lock for as long as it exists, while other threads update,
    /// replace or remove the variable; only the next getConfigValue() sees such changes. Copies may be used by several
    /// threads; one object is not synchronised. Dereferencing the end is undefined.
    class iterator {
    public:
        iterator() = default;
        const Entry& operator*() const { return *m_entry; }
        const Entry* operator->() const { return m_entry.get(); }
        /// Two iterators are equal if both give the same record, or both none.
        bool operator==(const iterator& other) const { return m_entry == other.m_entry; }
        bool operator!=(const iterator& other) const { return m_entry != other.m_entry; }

    private:
        friend class ConfigCache;
        explicit iterator(std::shared_ptr<const Entry> entry) : m_entry(std::move(entry)) {}
        std::shared_ptr<const Entry> m_entry;
    };

    /// Creates an empty cache.
    ConfigCache();
    /// No operation may be running. Iterators stay readable.
    ~ConfigCache();

    ConfigCache(const ConfigCache&) = delete;
    ConfigCache& operator=(const ConfigCache&) = delete;

    /// Stores \p value in the record of \p var, which is created if there is none. An empty list is stored as such. No
    /// other field of the record changes. \return a copy of the whole record after the change.
    ConfigValue update(ConfigVar var, std::list<std::string> value);

    /// \return the record of \p var; end() if there is none. Namespace and instances count.
    iterator getConfigValue(ConfigVar var) const;

    /// \return what getConfigValue() returns for an absent variable.
    iterator end() const;

    /// Removes the record of \p var, so that the next read asks the service.
    /// \return whether there was one.
    bool setStale(ConfigVar var);

    /// As update(), for the access levels: a role whose flag is not set in \p levels keeps its value and its flag.
    ConfigValue updateAccessLevels(ConfigVar var, ConfigAccessLevels const& levels);

    /// As update(), for the options, which become known. The default index stays.
    ConfigValue updateOptions(ConfigVar var, std::vector<std::string> options);

    /// As update(), for the default index.
    ConfigValue updateOptionDefaultIndex(ConfigVar var, unsigned int index);

    /// As update(), for the flag that says whether the value is the default.
    ConfigValue updateIsDefault(ConfigVar var, bool isDefault);

    /// Removes every record.
    void reset();

    /// Removes every record whose node name contains \p part. The attribute is not searched. \p part is compared as
    /// given, so one with an upper-case letter matches nothing, and an empty one matches everything. \return how many
    /// records were removed.
    unsigned int removeVars(std::string part);

private:
    // Decides, for a request under way, whether its reply may be stored.
    friend class Inquiry;

    struct APPCONFIG_HIDDEN Record;
    using Records = std::map<ConfigVar, std::shared_ptr<const Record>>;

    /// \return the record of \p var, also one that only remembers revisions; null if there is none.
    std::shared_ptr<const Record> find(const ConfigVar& var) const APPCONFIG_REQUIRES(m_mutex);
    /// \return a copy of the record of \p var, to be changed and put back; a new one if there is none.
    std::shared_ptr<Record> editable(const ConfigVar& var) const APPCONFIG_REQUIRES(m_mutex);
    /// \return a copy of its contents.
    ConfigValue put(std::shared_ptr<Record> record) APPCONFIG_REQUIRES(m_mutex);
    /// Removes the record at \p at, which moves on to the next. \return whether it was visible to readers.
    bool remove(Records::iterator& at) APPCONFIG_REQUIRES(m_mutex);

    Records m_cache APPCONFIG_GUARDED_BY(m_mutex);
    mutable PlainMutex m_mutex;
    std::vector<Touches*> m_underWay APPCONFIG_GUARDED_BY(m_mutex);  ///< one for each request under way
};

}  // namespace AppConfig
