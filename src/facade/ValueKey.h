#pragma once

#include "AppConfig/ConfigVar.h"

namespace AppConfig {

/// Values are cached under namespace 0, so that a variable has one record whether it is named with 0 or with the link's
/// own namespace.
inline ConfigVar valueKey(const ConfigVar& var) {
    ConfigVar key(var);
    key.m_namespace = 0;
    return key;
}

}  // namespace AppConfig
