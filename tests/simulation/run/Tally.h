#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "run/Report.h"

namespace Simulation {

/// Sums over the seeds of one run, and what is printed of them. Not thread-safe.
class Tally {
public:
    /// Counts \p report and prints its findings, as far as there is room for them.
    void add(const std::string& name, const Report& report);

    /// Prints the sums. \p seconds: how long it took; \p processorSeconds: of computing.
    void print(double seconds, double processorSeconds) const;

    std::uint64_t failures() const { return m_failures; }
    std::uint64_t seeds() const { return m_seeds; }

private:
    std::uint64_t m_seeds = 0;
    std::uint64_t m_failures = 0;
    std::uint64_t m_operations = 0;
    std::uint64_t m_faults = 0;
    int m_fewestOperations = 0;
    int m_fewestFaults = 0;
    std::array<std::uint64_t, races> m_races{};
    std::array<std::uint64_t, checks> m_checks{};
};

}  // namespace Simulation
