#pragma once

#include "AppConfig/ConfigVar.h"
#include "AppConfig/Export.h"

/// The order of handler tables: by node, then by attribute, both as unsigned bytes. Namespace and instances do not
/// count, so that a handler is found for every namespace and instance of the names that it was registered for. Without
/// state; any thread.
struct APPCONFIG_EXPORT CfgHandlerLookup {
    bool operator()(ConfigVar const& a, ConfigVar const& b) const;
};
