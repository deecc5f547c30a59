#pragma once

#include <cstddef>

namespace AppConfigWire {

/// The largest frame, in bytes, that either side takes unless told otherwise.
inline constexpr std::size_t defaultFrameLimit = 16U * 1024 * 1024;

}  // namespace AppConfigWire
