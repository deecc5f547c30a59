// The simulation's program; scripts/simulate is the way to it.
#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "run/Runner.h"
#include "run/Shrink.h"
#include "run/Tally.h"
#include "script/ActionNames.h"
#include "script/ScriptText.h"

namespace {

using namespace Simulation;

struct Options {
    std::uint64_t count = 0;
    std::uint64_t first = 1;
    int workers = 2;
    std::string kept;               ///< directory of scripts that are run as well
    std::string what;               ///< a seed, or the file of a script
    std::string out;                ///< where a shrunk script goes
    std::string check;              ///< which one; empty: any
    std::vector<std::string> only;  ///< faults that may happen; "none"
    int attempts = 3000;
    bool backwards = false;
    bool untilFailure = false;
};

[[noreturn]] void giveUp(const std::string& what) {
    std::fprintf(stderr, "simulation: %s\n", what.c_str());
    std::exit(2);
}

Script readScript(const std::string& file) {
    std::ifstream in(file);
    if (!in) giveUp("cannot read " + file);
    std::stringstream text;
    text << in.rdbuf();
    Script script;
    std::string error;
    if (!fromText(text.str(), script, error)) giveUp(file + ": " + error);
    return script;
}

Script make(std::uint64_t seed, const Options& options) {
    Script script = generate(seed);
    if (options.only.empty()) return script;
    auto& faults = script.faults;
    faults.erase(std::remove_if(faults.begin(), faults.end(),
                                [&](const Fault& fault) {
                                    return std::find(options.only.begin(), options.only.end(), nameOf(fault.kind)) ==
                                           options.only.end();
                                }),
                 faults.end());
    return script;
}

/// \return the script that is meant: that of a seed, or one that was kept.
Script named(const Options& options) {
    char* end = nullptr;
    const std::uint64_t seed = std::strtoull(options.what.c_str(), &end, 10);
    return *end == '\0' ? make(seed, options) : readScript(options.what);
}

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Leaves of \p report only what was asked for.
Report filtered(Report report, const Options& options) {
    if (options.check.empty()) return report;
    auto& findings = report.findings;
    findings.erase(std::remove_if(findings.begin(), findings.end(),
                                  [&](const Finding& finding) { return options.check != nameOf(finding.check); }),
                   findings.end());
    return report;
}

int runSeeds(Runner& runner, const Options& options) {
    const auto begun = std::chrono::steady_clock::now();
    // What this process waited for before, such as a build by the script that it took the place of, does not count.
    const double computedBefore = processorSeconds();
    Tally tally;
    std::vector<std::string> kept;
    if (!options.kept.empty()) {
        for (const auto& entry : std::filesystem::directory_iterator(options.kept)) {
            if (entry.path().extension() == ".script") kept.push_back(entry.path().string());
        }
    }
    std::sort(kept.begin(), kept.end());
    std::uint64_t keptFailures = 0;
    for (const std::string& file : kept) {
        const Report report = filtered(runner.run(readScript(file)), options);
        if (report.failed()) ++keptFailures;
        for (const Finding& finding : report.findings) {
            const std::string name = std::filesystem::path(file).filename().string();
            std::printf("%s: %s: %s\n", name.c_str(), nameOf(finding.check), finding.sentence.c_str());
        }
    }
    const auto script = [&](std::uint64_t number) { return make(options.first + number, options); };
    runner.runAll(options.count, options.workers, script, [&](const Report& report) {
        tally.add("seed " + std::to_string(report.seed), filtered(report, options));
        if (options.untilFailure && tally.failures() != 0) {
            std::printf("failed at seed %" PRIu64 "\n", tally.seeds());
            std::fflush(stdout);
            _exit(1);
        }
    });
    tally.print(std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count(),
                processorSeconds() - computedBefore);
    if (!kept.empty()) std::printf("%zu kept scripts, %" PRIu64 " failures\n", kept.size(), keptFailures);
    std::printf("%" PRIu64 " seeds, %" PRIu64 " failures\n", tally.seeds(), tally.failures());
    return tally.failures() + keptFailures == 0 ? 0 : 1;
}

int replay(Runner& runner, const Options& options) {
    const Report report = runner.run(named(options), stdout);
    std::printf("\n");
    for (const Finding& finding : report.findings) {
        std::printf("%s: %s\n", nameOf(finding.check), finding.sentence.c_str());
    }
    std::printf("%d operations, %d faults, %" PRIu64 " events, digest %016" PRIx64 "\n", report.operations,
                report.faults, report.events, report.digest);
    return report.failed() ? 1 : 0;
}

int shrinkOne(Runner& runner, const Options& options) {
    const Script script = named(options);
    const Report report = filtered(runner.run(script), options);
    if (!report.failed()) giveUp("it does not fail");
    const Check check = report.findings.front().check;
    const Script smaller = shrink(runner, script, check, options.attempts);
    const Report proof = runner.run(smaller);
    std::ofstream out(options.out);
    for (const Finding& finding : proof.findings) {
        if (finding.check == check) {
            out << "# " << nameOf(check) << ": " << finding.sentence << '\n';
            std::printf("%s: %s\n", nameOf(check), finding.sentence.c_str());
        }
    }
    out << toText(smaller);
    if (!out.flush()) giveUp("cannot write " + options.out);
    std::printf("%d operations and %d faults are left; see %s\n", proof.operations, proof.faults, options.out.c_str());
    return 0;
}

/// One line per seed, to be compared with those of another run.
int digests(Runner& runner, const Options& options) {
    const auto number = [&](std::uint64_t i) { return options.backwards ? options.count - 1 - i : i; };
    runner.runAll(
        options.count, options.workers, [&](std::uint64_t i) { return make(options.first + number(i), options); },
        [](const Report& report) {
            std::printf("%" PRIu64 " %016" PRIx64 " %" PRIu64 "\n", report.seed, report.digest, report.events);
        });
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Simulates whole systems from seeds and checks what their processes believe.");
    app.require_subcommand(1);
    Options options;
    CLI::App* const run = app.add_subcommand("run", "runs seeds");
    run->add_option("count", options.count)->required();
    run->add_option("first", options.first);
    run->add_option("--kept", options.kept, "directory of scripts that are run as well");
    run->add_flag("--until-failure", options.untilFailure, "ends at the first seed that fails");
    CLI::App* const one = app.add_subcommand("replay", "runs one seed or script and prints what happens");
    CLI::App* const shrinking = app.add_subcommand("shrink", "leaves out of a failing seed what it does not need");
    shrinking->add_option("out", options.out, "file for the script that is left")->required();
    shrinking->add_option("--attempts", options.attempts);
    CLI::App* const showing = app.add_subcommand("script", "prints what a seed does");
    CLI::App* const comparing = app.add_subcommand("digests", "prints what stands for the events of each seed");
    comparing->add_option("count", options.count)->required();
    comparing->add_option("first", options.first);
    comparing->add_flag("--backwards", options.backwards);
    for (CLI::App* const command : {one, shrinking, showing}) command->add_option("--seed", options.what)->required();
    for (CLI::App* const command : {run, one, shrinking, comparing}) {
        command->add_option("--check", options.check, "only this check counts");
        command->add_option("--faults", options.only, "only these faults happen")->delimiter(',');
        command->add_option("--workers", options.workers);
    }
    CLI11_PARSE(app, argc, argv);

    if (showing->parsed()) {
        std::printf("%s", toText(named(options)).c_str());
        return 0;
    }
    Runner runner;
    if (run->parsed()) return runSeeds(runner, options);
    if (one->parsed()) return replay(runner, options);
    if (shrinking->parsed()) return shrinkOne(runner, options);
    return digests(runner, options);
}
