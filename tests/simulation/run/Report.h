#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "check/Findings.h"

namespace Simulation {

/// What is told of one seed. A plain value.
struct Report {
    std::uint64_t seed = 0;
    int operations = 0;
    int faults = 0;
    std::array<std::uint32_t, races> raceCounts{};
    std::array<std::uint32_t, checks> checkCounts{};
    std::vector<Finding> findings;
    std::uint64_t digest = 0;
    std::uint64_t events = 0;
    std::uint64_t switches = 0;

    bool failed() const { return !findings.empty(); }
    bool has(Check check) const { return checkCounts[static_cast<std::size_t>(check)] != 0; }
};

}  // namespace Simulation
