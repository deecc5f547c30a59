#pragma once

#include <algorithm>
#include <vector>

#include "AppConfig/ConfigVar.h"

namespace AppConfig {

/// The parts of a record that arrive as one; see ConfigValue.
enum class CachedItem { value, options, levels };

/// What others do to one item of one variable while a request about it is under way; see Inquiry. The cache lists all
/// requests that are. Guarded by the cache's mutex.
struct Touches {
    enum class How {
        none,
        whole,    ///< all of it was stored, so that it can be compared with the reply
        options,  ///< options were stored without the default index
        index,    ///< the index alone
    };

    const ConfigVar var;
    const CachedItem item;
    How how = How::none;
    bool indexTouched = false;
    bool doubted = false;    ///< a notification came that could not be compared with what was known
    bool overtaken = false;  ///< the service has accepted another change of this process
};

/// Tells the requests in \p underWay that something other than their replies has touched \p item of \p var.
inline void touch(const std::vector<Touches*>& underWay, const ConfigVar& var, CachedItem item, Touches::How how) {
    for (Touches* touches : underWay) {
        if (touches->item != item || !(touches->var == var)) continue;
        touches->how = std::max(touches->how, how);
        touches->indexTouched = touches->indexTouched || how != Touches::How::options;
    }
}

}  // namespace AppConfig
