#pragma once

#include <array>

#include "AppConfig/ConfigCache.h"
#include "cache/Touches.h"
#include "model/Revision.h"

namespace AppConfig {

/// What the cache keeps under one variable. Never changed once it is in the map: see ConfigCache::editable().
struct ConfigCache::Record {
    explicit Record(const ConfigVar& var) : entry(var, ConfigValue()) {}

    bool& lost(CachedItem item) { return lostItems[static_cast<std::size_t>(item)]; }
    bool lost(CachedItem item) const { return lostItems[static_cast<std::size_t>(item)]; }

    /// Makes the value known.
    void setValue(const std::list<std::string>& value) {
        entry.second.setValue(value);
        lost(CachedItem::value) = false;
    }

    /// Makes the options known. Whether there are any is kept here, because requesting the contents of an empty list
    /// prints.
    void setOptions(const std::vector<std::string>& options) {
        entry.second.setOptions(options);
        hasAnyOption = !options.empty();
        lost(CachedItem::options) = false;
    }

    Entry entry;
    /// False: there is no record; only `newest` is kept, so that nothing older than an accepted write or reset comes
    /// back.
    bool present = true;
    bool hasAnyOption = false;
    std::array<bool, 3> lostItems{};  ///< by CachedItem; see Inquiry::hasLost()
    Revision newest;                  ///< of all values that were stored, accepted or notified
    /// Two runs of the service have each accepted a write or reset of this process, and nobody can tell which came
    /// later. No notification can be compared until a reply says what holds.
    bool contested = false;
    Revision doubtful;      ///< of the last notification that could not be compared with `newest`
    bool accepted = false;  ///< an awaited write or reset of this process is no newer than `newest`
};

}  // namespace AppConfig
