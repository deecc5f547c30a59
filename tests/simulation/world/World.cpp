#include "world/World.h"

#include "script/Variables.h"

namespace Simulation {

namespace {

constexpr const char* directory = "/sim";
constexpr const char* serviceName = "ConfigSrvc";

/// How many faults a simulation has at least, unless its script has none.
constexpr int fewestFaults = 5;

/// No simulation takes so many turns that comes to rest.
constexpr std::uint64_t mostSwitches = 400'000;

}  // namespace

World::World(const Script& script, Images& images, const std::vector<AppConfigService::Definitions>& definitions,
             Trace& trace)
    : m_script(script),
      m_images(images),
      m_definitions(definitions),
      m_trace(trace),
      m_random(script.seed),
      m_scheduler(m_random.split(), script.policy, trace),
      m_system(m_scheduler, m_random.split()),
      m_book(*this, script.services),
      m_watch(
          m_book, [this](const Process& process) { return find(process); }, script.services) {
    m_scheduler.limit(mostSwitches);
    m_book.history.isDefault = [this](int service, const AppConfigService::VariableRow& row) {
        return isDefault(m_definitions[m_services[static_cast<std::size_t>(service)]->definitionsInUse()], row);
    };
    m_book.onOperation = [this] { operationEnded(); };
}

World::~World() = default;

void World::pause(std::chrono::milliseconds time) {
    m_scheduler.wait(&time, m_scheduler.now() + time, "its own pause");
}

void World::note(std::string_view who, std::string_view what, std::string_view text) {
    const Fibre* const fibre = m_scheduler.current();
    m_trace.note(m_scheduler.now(), fibre == nullptr ? who : std::string_view(fibre->name()), what, text);
}

Ledger* World::find(const Process& process) {
    for (const Place& place : m_places) {
        if (place.process == &process) return place.ledger;
    }
    return nullptr;
}

void World::makeServices() {
    for (int i = 0; i < m_script.services; ++i) {
        ServiceSettings settings;
        settings.number = i;
        settings.options.namespaceNumber = i == 0 ? 0 : secondNamespace;
        settings.options.grace = std::chrono::milliseconds(m_script.grace);
        settings.options.providerDeadline = std::chrono::milliseconds(m_script.providerDeadline);
        settings.options.ownUid = ownUser;
        settings.sabotage = m_script.sabotage;
        m_services.push_back(
            std::make_unique<ServiceHost>(m_scheduler, m_random.split(), settings, m_definitions, m_watch));
        ServiceHost& host = *m_services.back();
        host.setWeather(weatherOf(m_script.weather));
        const std::string path = i == 0 ? "" : std::string(secondPath) + "/";
        m_system.network().listen(std::string(directory) + "/" + path + serviceName, host);
        m_watch.add(host);
        m_scheduler.add(host);
        startService(host);
    }
}

/// Starts a service, as often as it takes when its disk fails. \p unchanged: with these definitions it must hold what
/// was stored last.
void World::startService(ServiceHost& host, std::optional<std::size_t> unchanged) {
    std::vector<State> before;
    before.reserve(variables().size());
    for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
        before.push_back(m_book.history.present(host.number(), i));
    }
    if (host.start()) {
        for (const auto& ledger : m_ledgers) {
            if (!unchanged) ledger->stateAdopted(host.number());
        }
        if (unchanged == host.definitionsInUse()) compareWithBefore(host, before);
        return;
    }
    constexpr Time again = std::chrono::milliseconds(50);
    m_scheduler.at(now() + again, [this, &host, unchanged] { startService(host, unchanged); });
}

void World::compareWithBefore(const ServiceHost& host, const std::vector<State>& before) {
    int variable = 0;
    for (const State& state : before) {
        const State& after = m_book.history.present(host.number(), variable);
        if (after.value != state.value || after.options != state.options || after.index != state.index ||
            after.read != state.read || after.write != state.write) {
            m_book.findings.add(Check::acknowledged, "s" + std::to_string(host.number() + 1) + ": " +
                                                         display(variable) + ": " + quoted(state.value) +
                                                         " was stored; after a restart it is " + quoted(after.value));
        }
        ++variable;
    }
}

ProcessPlan World::planOf(const ProcessScript& script) const {
    ProcessPlan plan;
    plan.runtimeDirectory = directory;
    plan.deadline = std::chrono::milliseconds(script.deadline);
    plan.variables = variableNames();
    plan.consumers = script.consumers;
    plan.providers = script.providers;
    plan.movedNamespace = secondNamespace;
    plan.movedPath = secondPath;
    return plan;
}

void World::startProcess(Place& place) {
    Image* const image = m_images.take();
    if (image == nullptr) return;
    ++place.lives;
    m_processes.push_back(std::make_unique<Process>());
    Process& process = *m_processes.back();
    constexpr int pidsPerProcess = 100;
    process.name =
        "p" + std::to_string(place.number + 1) + std::string(static_cast<std::size_t>(place.lives - 1), '\'');
    process.pid = pidsPerProcess * (place.number + 1) + place.lives;
    process.uid = place.script->uid;
    process.locals = image->locals;

    Life life;
    life.name = process.name;
    life.process = place.number;
    life.uid = process.uid;
    life.deadline = std::chrono::milliseconds(place.script->deadline);
    life.stopped = [this, &process] { return process.stoppedUntil(now()); };
    m_ledgers.push_back(std::make_unique<Ledger>(m_book, life, m_script.services));
    Ledger& ledger = *m_ledgers.back();
    place.process = &process;
    place.ledger = &ledger;
    place.code = image->code;
    place.code->begin(ledger, planOf(*place.script));
    place.threadsLeft = static_cast<int>(place.script->threads.size());
    for (std::size_t i = 0; i < place.script->threads.size(); ++i) {
        m_scheduler.start(process, [this, &place, &ledger, i] { runThread(place, ledger, i); });
    }
}

void World::runThread(Place& place, Ledger& ledger, std::size_t thread) {
    const ThreadScript& script = place.script->threads[thread];
    for (const Operation& operation : script.setUp) place.code->perform(operation);
    std::size_t& next = place.progress[thread];
    while (next < script.operations.size()) {
        const Operation& operation = script.operations[next++];
        // In a life that began after the swap, the transport that was to be replaced is the one in use.
        if (operation.action == Action::endTransport && ledger.usesTransport(operation.slot)) continue;
        place.code->perform(operation);
        // Whoever cannot reach the service mostly waits before trying anything else; so an outage does not pass with
        // nothing but failures.
        constexpr int longestRest = 300;
        if (ledger.takeFailure() && m_random.chance(3, 4)) {
            pause(std::chrono::milliseconds(m_random.between(1, longestRest)));
        }
    }
    --place.threadsLeft;
    lookForEnd();
}

void World::run() {
    for (std::size_t i = 0; i < m_script.processes.size(); ++i) {
        Place place;
        place.script = &m_script.processes[i];
        place.number = static_cast<int>(i);
        place.progress.assign(place.script->threads.size(), 0);
        m_places.push_back(std::move(place));
    }
    makeServices();
    for (Place& place : m_places) startProcess(place);

    constexpr Time longest = std::chrono::minutes(10);
    while (!isOver() && now() < longest && !m_scheduler.isExhausted()) {
        m_scheduler.run(longest);
        // When no operation is left to bring them up, the remaining faults come one after the other.
        if (!isOver() && m_healing == 0 && m_nextFault < m_script.faults.size()) fire(m_script.faults[m_nextFault++]);
    }
    if (!isOver()) return complainOfStuck();
    // Rarely too little of what was to befall the world found anything to befall.
    for (int i = 0; i < fewestFaults && m_book.findings.faults < fewestFaults && !m_script.faults.empty(); ++i) {
        static const Fault breakAll;
        fire(breakAll);
        settle(std::chrono::seconds(3));
    }

    // Long enough for the longest pause of anybody who tries again.
    constexpr Time forGood = std::chrono::seconds(150);
    settle(forGood);
    inspect();
    readAll();
    probe();
    inspect();
    if (m_scheduler.isExhausted()) complainOfStuck();
}

}  // namespace Simulation
