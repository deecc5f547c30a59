#include "os/Trace.h"

#include <cinttypes>
#include <cstring>

namespace Simulation {

void Trace::mix(std::uint64_t word) {
    m_digest = (m_digest ^ word) * 0x9fb21c651e98df25U;
    m_digest ^= m_digest >> 32U;
}

void Trace::mix(std::string_view text) {
    std::uint64_t word = 0;
    for (; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
        std::memcpy(&word, text.data(), sizeof word);
        mix(word);
    }
    word = text.size();
    for (const char byte : text) word = (word << 8U) | static_cast<unsigned char>(byte);
    mix(word);
}

void Trace::note(Time when, std::string_view who, std::string_view what, std::string_view text) {
    ++m_events;
    mix(static_cast<std::uint64_t>(when.count()));
    mix(who);
    mix(what);
    mix(text);
    if (m_out == nullptr) return;
    std::fprintf(m_out, "%12.6f  %-8.*s %.*s %.*s\n", static_cast<double>(when.count()) / 1e9,
                 static_cast<int>(who.size()), who.data(), static_cast<int>(what.size()), what.data(),
                 static_cast<int>(text.size()), text.data());
}

void Trace::note(Time when, std::string_view who, std::string_view what, std::int64_t number) {
    ++m_events;
    mix(static_cast<std::uint64_t>(when.count()));
    mix(who);
    mix(what);
    mix(static_cast<std::uint64_t>(number));
    if (m_out == nullptr) return;
    std::fprintf(m_out, "%12.6f  %-8.*s %.*s %" PRId64 "\n", static_cast<double>(when.count()) / 1e9,
                 static_cast<int>(who.size()), who.data(), static_cast<int>(what.size()), what.data(), number);
}

}  // namespace Simulation
