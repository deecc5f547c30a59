#pragma once

#include "AppConfig/SecurityRole.h"

namespace AppConfig {

/// The least role that may read a variable and the least role that may write it; either may be unset.
/// A plain value.
struct ConfigAccessLevels {
    SecurityRole readRole = SECURITY_ROLE_NONE;
    SecurityRole writeRole = SECURITY_ROLE_NONE;
    bool hasReadRole = false;   ///< readRole carries a value
    bool hasWriteRole = false;  ///< writeRole carries a value
};

}  // namespace AppConfig
