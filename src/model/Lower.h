#pragma once

#include <string>

namespace AppConfig {

/// Turns 'A' to 'Z' into small letters and leaves every other byte; no locale is asked. The one rule for names, whether
/// they come from an application or from the service.
inline void lower(std::string& text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c | 0x20);
    }
}

}  // namespace AppConfig
