#pragma once

#include "AppConfig/SecurityRole.h"

namespace AppConfig {

/// The lowest role that may read a variable and the lowest role that may write it; either may be unset.
/// A plain value.
struct ConfigAccessLevels {
    SecurityRole readRole = SECURITY_ROLE_NONE;
    SecurityRole writeRole = SECURITY_ROLE_NONE;
    bool hasReadRole = false;   ///< readRole is set
    bool hasWriteRole = false;  ///< writeRole is set
};

}  // namespace AppConfig
