#pragma once

#include <cstdint>
#include <random>

namespace AppConfigService {

/// \return a number for a new timeline that no other timeline has; never 0.
inline std::uint64_t newTimelineId() {
    std::random_device random;
    std::uint64_t id = 0;
    while (id == 0) id = std::uint64_t{random()} << 32U | random();
    return id;
}

}  // namespace AppConfigService
