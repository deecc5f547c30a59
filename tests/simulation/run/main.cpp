#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "run/Runner.h"

using namespace Simulation;

int main(int argc, char** argv) {
    Runner runner;
    if (argc > 2 && std::strcmp(argv[1], "--replay") == 0) {
        const Report report = runner.run(generate(std::strtoull(argv[2], nullptr, 0)), stdout);
        for (const Finding& finding : report.findings) std::printf("%s: %s\n", nameOf(finding.check), finding.sentence.c_str());
        std::printf("digest %016" PRIx64 "\n", report.digest);
        return 0;
    }
    const std::uint64_t count = std::strtoull(argv[1], nullptr, 0);
    const std::uint64_t first = argc > 2 ? std::strtoull(argv[2], nullptr, 0) : 1;
    std::uint64_t failures = 0, operations = 0, faults = 0, events = 0, switches = 0;
    std::uint64_t raceCounts[races] = {}, checkSeeds[checks] = {};
    int fewest = 1 << 30;
    const auto begin = std::chrono::steady_clock::now();
    runner.runAll(count, 2, [&](std::uint64_t i) { return generate(first + i); },
                  [&](const Report& report) {
                      if (report.failed()) {
                          ++failures;
                          if (failures < 40) for (const Finding& finding : report.findings) {
                              std::printf("seed %" PRIu64 ": %s: %s\n", report.seed, nameOf(finding.check), finding.sentence.c_str());
                              break;
                          }
                      }
                      operations += static_cast<std::uint64_t>(report.operations);
                      fewest = std::min(fewest, report.operations);
                      faults += static_cast<std::uint64_t>(report.faults);
                      events += report.events;
                      switches += report.switches;
                      for (int i = 0; i < races; ++i) raceCounts[i] += report.raceCounts[static_cast<std::size_t>(i)];
                      for (int i = 0; i < checks; ++i) checkSeeds[i] += report.checkCounts[static_cast<std::size_t>(i)] != 0;
                  });
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const double n = static_cast<double>(count);
    std::printf("%.1f operations (fewest %d), %.1f faults, %.0f events, %.0f switches per seed; %.2f ms per seed\n", static_cast<double>(operations) / n, fewest,
                static_cast<double>(faults) / n, static_cast<double>(events) / n, static_cast<double>(switches) / n, seconds * 1e3 * 2 / n);
    for (int i = 0; i < races; ++i) std::printf("race %s: %" PRIu64 "\n", nameOf(static_cast<Race>(i)), raceCounts[i]);
    for (int i = 0; i < checks; ++i) if (checkSeeds[i]) std::printf("check %s: %" PRIu64 " seeds\n", nameOf(static_cast<Check>(i)), checkSeeds[i]);
    std::printf("%" PRIu64 " seeds, %" PRIu64 " failures\n", count, failures);
    return failures != 0;
}
