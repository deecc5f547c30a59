#include "run/Tally.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace Simulation {

namespace {

/// Beyond these, failing seeds and their findings are only counted.
constexpr std::uint64_t mostSeedsShown = 200;
constexpr std::size_t mostFindingsShown = 5;

}  // namespace

void Tally::add(const std::string& name, const Report& report) {
    ++m_seeds;
    m_operations += static_cast<std::uint64_t>(report.operations);
    m_faults += static_cast<std::uint64_t>(report.faults);
    const bool first = m_seeds == 1;
    m_fewestOperations = first ? report.operations : std::min(m_fewestOperations, report.operations);
    m_fewestFaults = first ? report.faults : std::min(m_fewestFaults, report.faults);
    for (std::size_t i = 0; i < races; ++i) m_races[i] += report.raceCounts[i];
    for (std::size_t i = 0; i < checks; ++i) m_checks[i] += report.checkCounts[i] != 0 ? 1 : 0;
    if (!report.failed() || ++m_failures > mostSeedsShown) return;
    const std::size_t shown = std::min(report.findings.size(), mostFindingsShown);
    for (std::size_t i = 0; i < shown; ++i) {
        const Finding& finding = report.findings[i];
        std::printf("%s: %s: %s\n", name.c_str(), nameOf(finding.check), finding.sentence.c_str());
    }
    if (shown < report.findings.size()) {
        std::printf("%s: and %zu more\n", name.c_str(), report.findings.size() - shown);
    }
    std::fflush(stdout);
}

void Tally::print(double seconds, double processorSeconds) const {
    if (m_seeds == 0) return;
    const auto count = static_cast<double>(m_seeds);
    std::printf("\n%" PRIu64 " operations, %.0f per seed, at least %d\n", m_operations,
                static_cast<double>(m_operations) / count, m_fewestOperations);
    std::printf("%" PRIu64 " faults, %.1f per seed, at least %d\n", m_faults, static_cast<double>(m_faults) / count,
                m_fewestFaults);
    std::printf("%.0f s, %.2f ms of computing per seed\n\n", seconds, processorSeconds * 1e3 / count);
    for (std::size_t i = 0; i < races; ++i) {
        std::printf("%10" PRIu64 "  %s\n", m_races[i], nameOf(static_cast<Race>(i)));
    }
    std::printf("\n");
    for (std::size_t i = 0; i < checks; ++i) {
        if (m_checks[i] != 0)
            std::printf("%10" PRIu64 "  seeds fail: %s\n", m_checks[i], nameOf(static_cast<Check>(i)));
    }
}

}  // namespace Simulation
