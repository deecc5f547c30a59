#include "run/Runner.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <new>

#include "script/Variables.h"
#include "world/World.h"

namespace Simulation {

namespace {

/// Processes in all lives of one simulation.
constexpr int copies = 12;
constexpr int stacks = 64;

/// A simulation that computes for longer does not come to an end.
constexpr rlim_t mostSeconds = 20;

constexpr std::size_t textSize = std::size_t{32} * 1024;

}  // namespace

/// Where a simulation leaves its report, in memory that it shares with the runner.
struct Runner::Slot {
    pid_t process = 0;
    std::uint64_t number = 0;
    std::uint64_t seed = 0;
    bool complete = false;
    int operations = 0;
    int faults = 0;
    std::uint32_t races[Simulation::races] = {};
    std::uint32_t checks[Simulation::checks] = {};
    std::uint64_t digest = 0;
    std::uint64_t events = 0;
    std::uint64_t switches = 0;
    int findings = 0;
    char text[textSize] = {};  ///< one byte for the check, the sentence, a NUL; once per finding

    static Slot* make() {
        void* const memory = mmap(nullptr, sizeof(Slot), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        return new (memory) Slot;
    }
};

Runner::Runner() : m_definitions(readDefinitionSets()), m_images(SIMULATION_PROCESS, copies) {
    StackPool::prepare(stacks);
    // What is made on first use is made here, once for all.
    (void)variables();
}

/// In the process of its own.
void Runner::simulate(const Script& script, std::FILE* trace, Slot& slot) {
    Trace events(trace);
    // Never destroyed: what was killed could not be.
    World& world = *new World(script, m_images, m_definitions, events);
    world.run();
    const Findings& findings = world.findings();
    slot.operations = findings.operations;
    slot.faults = findings.faults;
    for (int i = 0; i < races; ++i) slot.races[i] = findings.of(static_cast<Race>(i));
    for (int i = 0; i < checks; ++i) slot.checks[i] = findings.of(static_cast<Check>(i));
    slot.digest = events.digest();
    slot.events = events.events();
    slot.switches = world.switches();
    std::size_t at = 0;
    for (const Finding& finding : findings.all()) {
        const std::size_t size = std::min<std::size_t>(finding.sentence.size(), textSize / Findings::mostKept - 2);
        slot.text[at++] = static_cast<char>(finding.check);
        std::memcpy(slot.text + at, finding.sentence.data(), size);
        at += size;
        slot.text[at++] = '\0';
        ++slot.findings;
    }
    slot.complete = true;
    if (trace != nullptr) std::fflush(trace);
}

void Runner::begin(Slot& slot, const Script& script, std::FILE* trace) {
    const std::uint64_t number = slot.number;
    slot = Slot();
    slot.number = number;
    slot.seed = script.seed;
    std::fflush(nullptr);
    const pid_t process = fork();
    if (process < 0) {
        std::perror("simulation: fork");
        std::exit(2);
    }
    if (process != 0) {
        // By the runner alone: the memory is shared.
        slot.process = process;
        return;
    }
    const rlimit limit{mostSeconds, mostSeconds};
    setrlimit(RLIMIT_CPU, &limit);
    // What the processes of thousands of simulations say on their own account would drown everything else.
    std::cout.rdbuf(nullptr);
    if (trace == nullptr && std::freopen("/dev/null", "w", stderr) == nullptr) _exit(2);
    simulate(script, trace, slot);
    _exit(0);
}

Report Runner::collect(Slot& slot, int status) const {
    Report report;
    report.seed = slot.seed;
    report.operations = slot.operations;
    report.faults = slot.faults;
    std::copy(std::begin(slot.races), std::end(slot.races), report.raceCounts.begin());
    std::copy(std::begin(slot.checks), std::end(slot.checks), report.checkCounts.begin());
    report.digest = slot.digest;
    report.events = slot.events;
    report.switches = slot.switches;
    const char* text = slot.text;
    for (int i = 0; i < slot.findings; ++i) {
        const std::string sentence = text + 1;
        report.findings.push_back({static_cast<Check>(*text), sentence});
        text += sentence.size() + 2;
    }
    if (slot.complete) return report;
    std::string how = "ended without a report";
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        how = signal == SIGXCPU || signal == SIGKILL ? std::string("does not come to an end")
                                                     : std::string("is ended by: ") + strsignal(signal);
    }
    report.findings.push_back({Check::crashed, "the simulation " + how});
    report.checkCounts[static_cast<std::size_t>(Check::crashed)] = 1;
    return report;
}

Report Runner::run(const Script& script, std::FILE* trace) {
    Slot* const slot = Slot::make();
    begin(*slot, script, trace);
    int status = 0;
    while (waitpid(slot->process, &status, 0) < 0 && errno == EINTR) continue;
    Report report = collect(*slot, status);
    munmap(slot, sizeof(Slot));
    return report;
}

void Runner::runAll(std::uint64_t count, int workers, const std::function<Script(std::uint64_t)>& make,
                    const std::function<void(const Report&)>& done) {
    std::vector<Slot*> slots;
    std::map<std::uint64_t, Report> waiting;  // those that were quicker than the one that is due
    std::uint64_t next = 0;
    std::uint64_t due = 0;
    const auto feed = [&](Slot& slot) {
        slot.process = 0;
        if (next == count) return;
        slot.number = next++;
        begin(slot, make(slot.number), nullptr);
    };
    for (int i = 0; i < workers; ++i) {
        slots.push_back(Slot::make());
        feed(*slots.back());
    }
    while (due < count) {
        int status = 0;
        const pid_t process = wait(&status);
        if (process < 0) continue;
        for (Slot* const slot : slots) {
            if (slot->process != process) continue;
            waiting.emplace(slot->number, collect(*slot, status));
            feed(*slot);
        }
        for (auto first = waiting.begin(); first != waiting.end() && first->first == due; first = waiting.begin()) {
            done(first->second);
            waiting.erase(first);
            ++due;
        }
    }
    for (Slot* const slot : slots) munmap(slot, sizeof(Slot));
}

}  // namespace Simulation
