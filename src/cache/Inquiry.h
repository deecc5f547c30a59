#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "AppConfig/ConfigAccessLevels.h"
#include "AppConfig/ConfigCache.h"
#include "AppConfig/ConfigVar.h"
#include "cache/Touches.h"
#include "model/Revision.h"

namespace AppConfig {

/// A request about one item of one variable, from before it leaves until its answer is in the cache.
///
/// The answer reaches the cache some time after the service gave it, and meanwhile the delivery thread may have stored
/// what the service announced, another thread its own answer, and either may be older or newer than this one. Three
/// things decide what becomes of the answer:
///
/// - Values carry a revision where the service numbers its changes. Of two that can be compared the newer one stays,
///   and that settles it, unless something came in between that cannot be compared: each start of a service numbers
///   anew.
/// - Otherwise an answer counts when nobody has touched the item since the inquiry began, or when what stands there now
///   says the same.
/// - Else nobody can tell which is newer. The item becomes unknown, and whoever needs it next asks the service, which
///   knows. What it said before is not put back, and what happened to another variable plays no part.
///
/// One thread. Begin it before the request is sent; the cache must outlive it.
class Inquiry {
public:
    using Item = CachedItem;

    /// What became of the answer.
    enum class Outcome {
        stored,      ///< the cache holds it
        superseded,  ///< the cache knows something newer, which stays
        unknown,     ///< nobody can tell what is newer: the item counts as unknown now
    };

    Inquiry(ConfigCache& cache, const ConfigVar& var, Item item);
    ~Inquiry();

    Inquiry(const Inquiry&) = delete;
    Inquiry& operator=(const Inquiry&) = delete;

    /// The service told the value and whether it is the default.
    Outcome read(const std::list<std::string>& value, bool isDefault, const Revision& revision);

    /// The service accepted this value. What is older than an accepted write never gets into the cache again, as far as
    /// revisions tell.
    Outcome written(const std::list<std::string>& value, const Revision& revision);

    /// The service accepted a reset: the record goes, as in ConfigCache::setStale(), and with it every answer that was
    /// asked for before.
    void reset(const Revision& revision);

    Outcome optionsRead(const std::vector<std::string>& options, unsigned int defaultIndex);
    Outcome levelsRead(const ConfigAccessLevels& levels);

    /// The service accepted options with this index of the default one. The options themselves come as an announcement.
    Outcome indexWritten(unsigned int defaultIndex);

    /// The service announced a value. It is stored unless it is older than what the cache knows; where it cannot be
    /// compared with an accepted write, the value becomes unknown. Nobody waits for it, so it is no inquiry's answer.
    static void notified(ConfigCache& cache, const ConfigVar& var, const std::list<std::string>& value,
                         const Revision& revision);

    /// \return whether the record of \p var lacks \p item for no other reason than that answers and announcements
    /// crossed: it has to be asked for, also by operations that would take a record as it stands.
    static bool hasLost(const ConfigCache& cache, const ConfigVar& var, Item item);

private:
    bool mayStore(bool same) const APPCONFIG_REQUIRES(m_cache.m_mutex);
    void accept(ConfigCache::Record& record, const Revision& revision) APPCONFIG_REQUIRES(m_cache.m_mutex);
    Outcome store(const std::shared_ptr<ConfigCache::Record>& record) APPCONFIG_REQUIRES(m_cache.m_mutex);
    Outcome lose(const std::shared_ptr<ConfigCache::Record>& record) APPCONFIG_REQUIRES(m_cache.m_mutex);

    ConfigCache& m_cache;
    Touches m_touches APPCONFIG_GUARDED_BY(m_cache.m_mutex);
};

}  // namespace AppConfig
