#pragma once

#include <string>

namespace AppConfigWire {

/// \return \p c in lower case if it is 'A' to 'Z', in every locale. The one rule for names, whether they come from an
/// application or from the service.
inline char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

inline void lower(std::string& text) {
    for (char& c : text) c = lower(c);
}

inline std::string lowered(std::string text) {
    lower(text);
    return text;
}

}  // namespace AppConfigWire
