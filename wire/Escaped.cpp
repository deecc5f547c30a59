#include "wire/Escaped.h"

#include <cstdint>
#include <cstdio>

namespace AppConfigWire {

namespace {

/// One character of UTF-8 text, or one byte that is none.
struct Character {
    std::uint32_t code = 0;
    std::size_t bytes = 1;
    bool valid = false;
};

/// \return what \p text, which is not empty, begins with.
Character first(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80) return {lead, 1, true};
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes) return {lead, 1, false};
    std::uint32_t code = lead & (0x7FU >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) return {lead, 1, false};
        code = (code << 6U) | (byte(i) & 0x3FU);
    }
    // Longer than need be, half of a pair of UTF-16, or beyond the last character.
    constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool valid = code >= least[bytes] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return valid ? Character{code, bytes, true} : Character{lead, 1, false};
}

bool isShown(std::uint32_t code) {
    if (code < 0x20 || (code >= 0x7F && code <= 0x9F)) return false;
    // Marks and embeddings that turn the direction, and separators of lines.
    return code != 0x061C && code != 0x200E && code != 0x200F && !(code >= 0x2028 && code <= 0x202E) &&
           !(code >= 0x2066 && code <= 0x2069);
}

std::string escape(const Character& character) {
    switch (character.code) {
        case '\n': return "\\n";
        case '\r': return "\\r";
        case '\t': return "\\t";
        default: break;
    }
    char text[8];
    std::snprintf(text, sizeof text, character.valid && character.code > 0xFF ? "\\u%04x" : "\\x%02x",
                  static_cast<unsigned>(character.code));
    return text;
}

}  // namespace

std::string escaped(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const Character character = first(text);
        if (character.valid && isShown(character.code)) {
            result += text.substr(0, character.bytes);
        } else {
            result += escape(character);
        }
        text.remove_prefix(character.bytes);
    }
    return result;
}

}  // namespace AppConfigWire
