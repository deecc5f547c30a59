#include "check/Ledger.h"

#include <algorithm>
#include <utility>

#include "script/ActionNames.h"
#include "script/Variables.h"

namespace Simulation {

namespace {

const VariableName& nameOfVariable(int variable) {
    return variables()[static_cast<std::size_t>(variable)].name;
}

bool addsHandler(Action action) {
    return action == Action::addConsumer || action == Action::addProvider || action == Action::addConsumerAtLink;
}

}  // namespace

Ledger::Ledger(Book& book, Life life, int services)
    : m_book(book), m_life(std::move(life)), m_services(services), m_beliefs(links * variables().size()) {}

std::size_t Ledger::place(int link, int variable) const {
    return static_cast<std::size_t>(link) * variables().size() + static_cast<std::size_t>(variable);
}

Ledger::Thread& Ledger::thread() {
    return m_threads[m_book.ground.thread()];
}

void Ledger::complain(Check check, int variable, const std::string& what) {
    m_book.ground.note(m_life.name, "VIOLATION", what);
    m_book.findings.add(check, m_life.name + ": " + display(variable) + ": " + what);
}

std::string Ledger::underWay(const void* thread) const {
    for (const auto& [number, underway] : m_underway) {
        if (underway.thread != thread) continue;
        return std::string(nameOf(underway.operation.action)) + " of " + display(underway.operation.variable);
    }
    return {};
}

bool Ledger::mayKnow(int link, const State& state) const {
    return state.read <= std::min(m_lowestRole[link], m_book.lowestCap(serviceOf(link), m_life.uid));
}

bool Ledger::isFlagOpen(int link, int variable) const {
    // Nobody is told that a value has become the default because of new options.
    return belief(link, variable).flagOpen != 0 || m_book.history.flagChangedAlone(serviceOf(link), variable);
}

void Ledger::stateReplaced(int service) {
    for (int i = 0; i < static_cast<int>(variables().size()); ++i) believe(service, i).floor = 0;
    for (auto& [number, underway] : m_underway) underway.floor = 0;
}

void Ledger::stateAdopted(int service) {
    for (auto& [number, handler] : m_handlers) {
        if (serviceOf(handler.link) != service) continue;
        // What was sent and has not arrived was that state's.
        handler.owed.clear();
        for (auto& [news, bound] : handler.bounds) {
            for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
                const State& then = m_book.history.at(service, i, bound);
                if (!same(then, believe(handler.link, i).heard, news)) handler.unlearnt.insert({news, i});
            }
            if (bound > m_reached[service] || !hasArrived(handler, news)) bound = m_book.history.now();
        }
    }
    m_arrived[service].clear();
}

std::uint64_t Ledger::began(const Operation& operation, int fromHandler) {
    const auto lock = m_book.ground.lock();
    m_book.ground.note(m_life.name, nameOf(operation.action), display(operation.variable));
    Underway underway;
    underway.operation = operation;
    underway.fromHandler = fromHandler;
    underway.thread = m_book.ground.thread();
    underway.begun = m_book.history.now();
    underway.floor = believe(operation.link, operation.variable).floor;
    underway.removals = believe(operation.link, operation.variable).removals;
    underway.event = m_events;
    underway.early = !m_reachable[operation.link];
    underway.beganAlone = std::all_of(m_threads.begin(), m_threads.end(),
                                      [](const auto& entry) { return entry.second.dispatches.empty(); });
    if (operation.action == Action::setTransport) setTransport(operation);
    if (addsHandler(operation.action) && m_transport[operation.link] < 0) {
        m_book.findings.count(Race::handlerBeforeTransport);
    }
    if (operation.action == Action::forgetAll) m_forgotten[operation.link] = true;
    if (operation.action == Action::setRole) setRole(operation);
    if (operation.action == Action::writeUnawaited) believe(operation.link, operation.variable).corrected = true;
    removes(operation);
    // Without a transport options cannot be fetched, and are then cached as none.
    if (!m_reachable[operation.link]) believe(operation.link, operation.variable).optionsFailed = true;
    if (operation.action == Action::readDefaultOptions)
        believe(operation.link, operation.variable).indexOpen = ++m_events;
    m_underway.emplace(++m_operations, std::move(underway));
    return m_operations;
}

/// Calls \p visit for the variables whose records the operation removes, if it does.
template <typename Visit>
void Ledger::eachRemoved(const Operation& operation, Visit&& visit) {
    if (operation.action == Action::reset) return visit(believe(operation.link, operation.variable));
    if (operation.action != Action::removeVars) return;
    const std::string& part = nameOfVariable(operation.variable).node;
    for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
        if (nameOfVariable(i).node.find(part) != std::string::npos) visit(believe(operation.link, i));
    }
}

/// Records are about to go: what they hold is not known any more.
void Ledger::removes(const Operation& operation) {
    eachRemoved(operation, [](Belief& belief) {
        ++belief.removals;
        belief.valueKnown = false;
        belief.optionsKnown = false;
        belief.bare = false;
    });
}

/// Records have gone. What is fetched from now on has no history, unless something was announced meanwhile: that may
/// have come after the removal.
void Ledger::removed(const Underway& underway, const Outcome& outcome) {
    removes(underway.operation);
    // A link that is not there yet removes nothing.
    if (!outcome.done) return;
    if (underway.operation.action == Action::reset && !outcome.accepted) return;
    if (!underway.beganAlone) return;
    eachRemoved(underway.operation, [&](Belief& belief) {
        if (belief.flagOpen <= underway.event) belief.flagOpen = 0;
        if (belief.indexOpen <= underway.event) belief.indexOpen = 0;
    });
}

/// The operation has brought something into the cache, unless a removal came in between.
void Ledger::learned(const Underway& underway, const Outcome& outcome) {
    const Operation& operation = underway.operation;
    Belief& belief = believe(operation.link, operation.variable);
    if (operation.action == Action::write && outcome.accepted) {
        // An accepted write leaves the flag as it was, also one that changes nothing and so is not announced.
        belief.flagOpen = ++m_events;
    }
    // It is stored when the operation ends, also where a removal came in between.
    if (operation.action == Action::readDefaultOptions) belief.indexOpen = ++m_events;
    if (underway.removals != belief.removals) return;
    // A failed read gives an empty text, or 0.
    const bool read = operation.action <= Action::readRecord && !outcome.value.empty() &&
                      !outcome.value.front().empty() && outcome.value.front() != "0";
    if (read || (operation.action == Action::write && outcome.accepted)) belief.valueKnown = true;
    if (outcome.hasOptions && !outcome.options.empty()) belief.optionsKnown = true;
    if (outcome.hasOptions) belief.heard.options = outcome.options;
    if (outcome.read >= 0) belief.heard.read = outcome.read, belief.heard.write = outcome.write;
}

void Ledger::setTransport(const Operation& operation) {
    for (const auto& [number, other] : m_underway) {
        const bool same = other.operation.action == Action::setTransport && other.operation.link == operation.link;
        if (same && other.thread != m_book.ground.thread()) m_book.findings.count(Race::twoSetters);
    }
    const int before = m_transport[operation.link];
    m_transport[operation.link] = operation.slot;
    if (before < 0 || before == operation.slot) return;
    m_book.findings.count(Race::swapped);
    // The new one registers everything anew.
    dropOwed(operation.link, true);
}

/// Of two that come at once nobody knows which is the later one.
void Ledger::setRole(const Operation& operation) {
    int role = operation.number;
    for (const auto& [number, other] : m_underway) {
        const bool same = other.operation.action == Action::setRole && other.operation.link == operation.link;
        if (same) role = std::min(role, other.operation.number);
    }
    m_role[operation.link] = role;
}

void Ledger::ended(std::uint64_t operation, const Outcome& outcome) {
    const auto lock = m_book.ground.lock();
    const auto node = m_underway.extract(operation);
    const Underway& underway = node.mapped();
    m_book.ground.note(m_life.name, outcome.accepted ? "succeeded" : "ended", quoted(outcome.value));
    if (addsHandler(underway.operation.action)) entered(underway);
    if (underway.operation.action == Action::setTransport) {
        m_reachable[underway.operation.link] = true;
        bindEarly(underway.operation.link);
    }
    if (m_quiet && underway.fromHandler < 0) return judgeQuiet(underway.operation, outcome);
    learned(underway, outcome);
    removed(underway, outcome);
    if (!m_life.ended && outcome.done) judge(underway, outcome);
    if (underway.operation.action == Action::changePrimary && outcome.accepted) {
        m_moved = true;
        m_transport[1] = underway.operation.slot;
        m_reachable[1] = true;
        // A new link speaks under role 1.
        m_role[1] = 1;
    }
    if (outcome.done && underway.operation.action != Action::pause) ++m_book.findings.operations;
    if (m_book.onOperation) m_book.onOperation();
}

void Ledger::transportMade(int slot, const std::string& endpoint) {
    const auto lock = m_book.ground.lock();
    m_book.ground.note(m_life.name, "has the transport", std::to_string(slot) + " " + endpoint);
    m_slots[endpoint] = slot;
}

void Ledger::requestBegins() {
    const auto lock = m_book.ground.lock();
    for (int link = 0; link < links; ++link) m_lowestRole[link] = std::min(m_lowestRole[link], m_role[link]);
    thread().requests.push_back({m_book.ground.now(), stopped(), {}});
}

void Ledger::requestEnds(int status) {
    const auto lock = m_book.ground.lock();
    Thread& here = thread();
    const Request request = here.requests.back();
    here.requests.pop_back();
    if (status != 0) {
        here.failed = true;
        m_book.ground.note(m_life.name, "request failed", std::to_string(status));
    }
    const Time took = m_book.ground.now() - request.begun - (stopped() - request.stopped) - request.elsewhere;
    constexpr Time tolerance = std::chrono::milliseconds(100);
    if (took <= m_life.deadline + tolerance || m_life.ended) return;
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
    complain(Check::deadline, -1, "a request took " + std::to_string(milliseconds) + " ms");
}

bool Ledger::takeFailure() {
    const auto lock = m_book.ground.lock();
    return std::exchange(thread().failed, false);
}

void Ledger::optionsFailed(int variable) {
    const auto lock = m_book.ground.lock();
    if (variable < 0) return;
    for (int link = 0; link < links; ++link) believe(link, variable).optionsFailed = true;
}

void Ledger::pause(std::chrono::milliseconds time) {
    m_book.ground.pause(time);
}

}  // namespace Simulation
