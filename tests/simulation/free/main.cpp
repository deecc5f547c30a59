// Carries scripts of seeds out with real threads; 'scripts/simulate --free' is the way to it.
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "free/FreeRun.h"

namespace {

using namespace Simulation;

/// In a process of its own. \return its exit status.
int runOne(std::uint64_t seed) {
    // The library's own texts are of no use here.
    std::cout.rdbuf(nullptr);
    const Script script = generate(seed);
    Images images(SIMULATION_PROCESS, static_cast<int>(script.processes.size()));
    // Never destroyed: delivery threads go on to the end.
    FreeRun& run = *new FreeRun(script, images);
    run.run();
    const Findings findings = run.findings();
    for (const Finding& finding : findings.all()) {
        std::fprintf(stderr, "seed %" PRIu64 ": %s: %s\n", seed, nameOf(finding.check), finding.sentence.c_str());
    }
    std::fprintf(stderr, "seed %" PRIu64 ": %d operations, %d faults\n", seed, findings.operations, findings.faults);
    return findings.all().empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20;
    const std::uint64_t first = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    std::uint64_t failures = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const pid_t process = fork();
        if (process == 0) _exit(runOne(seed));
        int status = 0;
        waitpid(process, &status, 0);
        if (status != 0) ++failures;
        if (WIFSIGNALED(status)) std::fprintf(stderr, "seed %" PRIu64 ": ended by signal %d\n", seed, WTERMSIG(status));
    }
    std::printf("%" PRIu64 " seeds, %" PRIu64 " failures\n", count, failures);
    return failures == 0 ? 0 : 1;
}
