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

/// One request about one item of one variable, from before it leaves until its reply is in the cache.
///
/// The reply reaches the cache some time after the service sent it. Meanwhile the delivery thread may have stored what
/// the service notified, and another thread its own reply, and either may be older or newer than this one. Three things
/// decide what happens to the reply:
///
/// - Values carry a revision where the service numbers its changes. Of two that can be compared the newer one stays,
///   and that settles it, unless something came in between that cannot be compared: each run of the service has its own
///   timeline.
/// - Otherwise a reply counts if nobody has touched the item since the inquiry began, or if the item now holds the
///   same.
/// - Otherwise nobody can tell which is newer: the item becomes unknown, and the next operation that needs it asks the
///   service. The earlier contents are not restored. What happened to another variable plays no part.
///
/// One thread. Begin it before the request is sent; the cache must outlive it.
class Inquiry {
public:
    using Item = CachedItem;

    /// What happened to the reply.
    enum class Outcome {
        stored,      ///< the cache holds it
        superseded,  ///< the cache knows something newer, which stays
        unknown,     ///< nobody can tell which is newer: the item is unknown now
    };

    Inquiry(ConfigCache& cache, const ConfigVar& var, Item item);
    ~Inquiry();

    Inquiry(const Inquiry&) = delete;
    Inquiry& operator=(const Inquiry&) = delete;

    /// The reply contains the value and whether it is the default.
    Outcome read(const std::list<std::string>& value, bool isDefault, const Revision& revision);

    /// The service accepted this value. As far as revisions tell, nothing older than an accepted write gets into the
    /// cache again.
    Outcome written(const std::list<std::string>& value, const Revision& revision);

    /// The service accepted a reset: the record is removed, as in ConfigCache::setStale(), and the replies to earlier
    /// requests are ignored.
    void reset(const Revision& revision);

    Outcome optionsRead(const std::vector<std::string>& options, unsigned int defaultIndex);
    Outcome levelsRead(const ConfigAccessLevels& levels);

    /// The service accepted options with this default index. The options themselves come as a notification.
    Outcome indexWritten(unsigned int defaultIndex);

    /// The service notified a value. It is stored unless it is older than what the cache knows; if it cannot be
    /// compared with an accepted write, the value becomes unknown. It is not the reply to an inquiry.
    static void notified(ConfigCache& cache, const ConfigVar& var, const std::list<std::string>& value,
                         const Revision& revision);

    /// \return whether the record of \p var lacks \p item only because replies and notifications crossed: it must be
    /// requested, also by operations that otherwise use a record as it is.
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
