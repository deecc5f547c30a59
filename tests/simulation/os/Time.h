#pragma once

#include <chrono>

namespace Simulation {

/// A moment of the virtual clock, counted from the beginning of a simulation, and a span between two of them.
using Time = std::chrono::nanoseconds;

/// Later than every moment.
inline constexpr Time never = Time::max();

}  // namespace Simulation
