#pragma once

#include <cstdint>

namespace AppConfigWire {

/// The version of the frames that both ends speak. HELLO carries it, and a service refuses any other.
inline constexpr std::uint32_t frameVersion = 2;

}  // namespace AppConfigWire
