#include "check/Ledger.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "configservice.pb.h"
#include "script/ActionNames.h"
#include "script/Variables.h"

namespace Simulation {

namespace {

const VariableName& nameOfVariable(int variable) {
    return variables()[static_cast<std::size_t>(variable)].name;
}

bool liesIn(const std::string& node, const std::string& whole) {
    return node.compare(0, whole.size(), whole) == 0 && (node.size() == whole.size() || node[whole.size()] == '.');
}

bool addsHandler(Action action) {
    return action == Action::addConsumer || action == Action::addProvider || action == Action::addConsumerAtLink;
}

/// \return what a registration of the wire's \p type is for.
News newsOf(int type) {
    switch (type) {
        case ConfigIF::CALLBACK_CONFIG_CHANGED: return News::value;
        case ConfigIF::CALLBACK_OPTIONS_CHANGED: return News::options;
        case ConfigIF::CALLBACK_ACCESS_LEVELS_CHANGED: return News::levels;
        case ConfigIF::CALLBACK_DYNAMIC_VALIDATE: return News::question;
        case ConfigIF::CALLBACK_ON_CHANGE: return News::change;
        default: return News::submit;
    }
}

const char* nameOf(News news) {
    switch (news) {
        case News::value: return "value";
        case News::options: return "options";
        case News::levels: return "levels";
        case News::submit: return "submit";
        case News::question: return "question";
        case News::change: return "change";
    }
    return "";
}

}  // namespace

bool HandlerRecord::covers(int variable) const {
    if (variable < 0) return false;
    const VariableName& own = nameOfVariable(operation.variable);
    const VariableName& other = nameOfVariable(variable);
    if (operation.wholeNode) return liesIn(other.node, own.node);
    // Registrations know no instances.
    return own.node == other.node && own.attribute == other.attribute;
}

bool HandlerRecord::wants(News news) const {
    switch (news) {
        case News::value: return (kinds & wantsChange) != 0;
        case News::options: return (kinds & wantsOptions) != 0;
        case News::levels: return (kinds & wantsLevels) != 0;
        case News::question:
        case News::change: return isProvider;
        case News::submit: break;
    }
    return false;
}

Moment HandlerRecord::boundOf(News news) const {
    const auto found = bounds.find(news);
    return found == bounds.end() ? std::numeric_limits<Moment>::max() : found->second;
}

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

void Ledger::registrationArrives(int service, const std::string& name, int type) {
    m_registered[service] = true;
    const News news = newsOf(type);
    for (auto& [number, handler] : m_handlers) {
        if (handler.phase != HandlerRecord::Phase::registering) continue;
        if (serviceOf(handler.link) != service || !handler.wants(news)) continue;
        const VariableName& own = nameOfVariable(handler.operation.variable);
        if (name != (handler.operation.wholeNode ? own.node : own.node + "." + own.attribute)) continue;
        // From here on the service tells news, although the handler is not entered before the answer has come.
        handler.bounds.emplace(news, m_book.history.now());
    }
}

void Ledger::newsSent(int service, News news, int variable) {
    if (m_life.ended) return;
    for (auto& [number, handler] : m_handlers) {
        if (serviceOf(handler.link) != service || !handler.wants(news) || !handler.covers(variable)) continue;
        if (handler.phase > HandlerRecord::Phase::live || handler.bounds.count(news) == 0) continue;
        handler.owed.insert({news, variable});
    }
}

void Ledger::deliveryBegins(int service, bool known) {
    if (!known && m_registered[service] && !m_forgotten[service]) {
        m_book.findings.count(Race::unknownRegistrations);
    }
    for (const auto& [number, handler] : m_handlers) {
        if (!handler.isProvider || handler.phase != HandlerRecord::Phase::live) continue;
        if (serviceOf(handler.link) != service) continue;
        for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
            if (!handler.covers(i)) continue;
            const State& state = m_book.history.present(service, i);
            const auto told = handler.told.find({News::change, i});
            const bool behind = told == handler.told.end() ? state.since > handler.boundOf(News::change)
                                                           : told->second.contents != state.value;
            if (behind) return m_book.findings.count(Race::providerBehind);
        }
    }
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
    underway.beganAlone = std::all_of(m_threads.begin(), m_threads.end(),
                                      [](const auto& entry) { return entry.second.dispatches.empty(); });
    if (operation.action == Action::setTransport) setTransport(operation);
    if (addsHandler(operation.action) && m_transport[operation.link] < 0) {
        m_book.findings.count(Race::handlerBeforeTransport);
    }
    if (operation.action == Action::forgetAll) m_forgotten[operation.link] = true;
    if (operation.action == Action::setRole) m_role[operation.link] = operation.number;
    removes(operation);
    // Without a transport options cannot be fetched, and are then cached as none.
    if (!m_reachable[operation.link]) believe(operation.link, operation.variable).optionsFailed = true;
    if (operation.action == Action::readDefaultOptions) believe(operation.link, operation.variable).indexOpen = ++m_events;
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
    });
}

/// Records have gone. What is fetched from now on has no history, unless something was announced meanwhile: that may
/// have come after the removal.
void Ledger::removed(const Underway& underway, const Outcome& outcome) {
    removes(underway.operation);
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
    if (underway.removals != belief.removals) return;
    // A failed read gives an empty text, or 0.
    const bool read = operation.action <= Action::readRecord && !outcome.value.empty() &&
                      !outcome.value.front().empty() && outcome.value.front() != "0";
    if (read || (operation.action == Action::write && outcome.accepted)) belief.valueKnown = true;
    if (outcome.hasOptions && !outcome.options.empty()) belief.optionsKnown = true;
}

void Ledger::setTransport(const Operation& operation) {
    for (const auto& [number, other] : m_underway) {
        const bool same = other.operation.action == Action::setTransport && other.operation.link == operation.link;
        if (same && other.thread != m_book.ground.thread()) m_book.findings.count(Race::twoSetters);
    }
    const int before = m_transport[operation.link];
    if (before >= 0 && before != operation.slot) m_book.findings.count(Race::swapped);
    m_transport[operation.link] = operation.slot;
}

void Ledger::ended(std::uint64_t operation, const Outcome& outcome) {
    const auto lock = m_book.ground.lock();
    const auto node = m_underway.extract(operation);
    const Underway& underway = node.mapped();
    m_book.ground.note(m_life.name, outcome.accepted ? "succeeded" : "ended", quoted(outcome.value));
    if (addsHandler(underway.operation.action)) entered(underway);
    if (underway.operation.action == Action::setTransport) m_reachable[underway.operation.link] = true;
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

void Ledger::handlerMade(int handler, std::uint64_t operation, int kinds) {
    const auto lock = m_book.ground.lock();
    Underway& underway = m_underway.at(operation);
    underway.handler = handler;
    HandlerRecord record;
    record.number = handler;
    record.operation = underway.operation;
    record.isProvider = underway.operation.action == Action::addProvider;
    record.kinds = kinds;
    record.link = underway.operation.link;
    // At the link itself it is the primary one, whichever that is by then: nothing is demanded of such a handler.
    if (underway.operation.action == Action::addConsumerAtLink) record.kinds = 0;
    m_handlers.emplace(handler, std::move(record));
}

/// The operation that registers a handler has returned.
void Ledger::entered(const Underway& underway) {
    const auto found = m_handlers.find(underway.handler);
    if (found == m_handlers.end() || found->second.phase != HandlerRecord::Phase::registering) return;
    HandlerRecord& handler = found->second;
    handler.phase = HandlerRecord::Phase::live;
    for (const News news : {News::value, News::options, News::levels, News::question, News::change}) {
        if (handler.wants(news)) handler.bounds.emplace(news, m_book.history.now());
    }
}

void Ledger::handlerRemoved(int handler) {
    const auto lock = m_book.ground.lock();
    HandlerRecord& record = m_handlers.at(handler);
    record.phase = HandlerRecord::Phase::removed;
    if (record.running > 0 && record.runner != m_book.ground.thread()) m_book.findings.count(Race::endedWhileRunning);
}

void Ledger::handlerDeleted(int handler) {
    const auto lock = m_book.ground.lock();
    HandlerRecord& record = m_handlers.at(handler);
    record.phase = HandlerRecord::Phase::deleted;
    for (const Dispatch& dispatch : thread().dispatches) {
        const bool isDue = record.link == dispatch.what.link && record.wants(dispatch.what.news) &&
                           record.covers(dispatch.what.variable) && dispatch.called.count(handler) == 0;
        if (isDue) m_book.findings.count(Race::deletedInDispatch);
    }
}

void Ledger::handlerCalled(int handler, const Announcement& what, bool alive) {
    const auto lock = m_book.ground.lock();
    m_book.ground.note(m_life.name, nameOf(what.news),
                       "handler " + std::to_string(handler) + ": " + display(what.variable) + " " +
                           quoted(what.contents));
    HandlerRecord& record = m_handlers.at(handler);
    if (!alive) {
        complain(Check::deleted, what.variable,
                 "handler " + std::to_string(handler) + " was called after it had been deleted");
    }
    ++record.running;
    record.runner = m_book.ground.thread();
    Thread& here = thread();
    here.calls.push_back(m_book.ground.now());
    for (Dispatch& dispatch : here.dispatches) dispatch.called.insert(handler);
    if (what.variable >= 0) record.told[{what.news, what.variable}] = {what.contents, what.read, what.write};
}

void Ledger::handlerReturned(int handler) {
    const auto lock = m_book.ground.lock();
    --m_handlers.at(handler).running;
    Thread& here = thread();
    const Time begun = here.calls.back();
    here.calls.pop_back();
    for (Request& request : here.requests) {
        if (request.begun <= begun) request.elsewhere += m_book.ground.now() - begun;
    }
}

void Ledger::announced(const Announcement& what) {
    if (what.variable < 0 || what.link >= m_services) return;
    Belief& belief = believe(what.link, what.variable);
    if (what.news == News::value || what.news == News::change) belief.flagOpen = ++m_events;
    if (what.news == News::options) belief.indexOpen = ++m_events;
}

void Ledger::dispatching(const Announcement& what) {
    const auto lock = m_book.ground.lock();
    m_book.ground.note(m_life.name, "is told", std::string(nameOf(what.news)) + " of " + display(what.variable) + " " +
                                                   quoted(what.contents));
    thread().dispatches.push_back({what, {}, 0});
    announced(what);
    if (what.variable < 0 || what.link >= m_services) return;
    thread().dispatches.back().removals = believe(what.link, what.variable).removals;
    const int service = serviceOf(what.link);
    const bool isValue = what.news == News::value || what.news == News::change;
    if (isValue && m_book.history.lastOf(service, what.variable, what.contents) <
                       believe(what.link, what.variable).floor) {
        m_book.findings.count(Race::oldAnnouncement);
    }
    for (auto& [number, underway] : m_underway) {
        if (underway.thread == m_book.ground.thread()) continue;
        const Operation& operation = underway.operation;
        if (operation.action == Action::changePrimary) m_book.findings.count(Race::newsDuringMove);
        if (operation.link != what.link) continue;
        if (isValue && operation.variable == what.variable) underway.announced.push_back(what.contents);
        const auto handler = m_handlers.find(underway.handler);
        if (handler != m_handlers.end() && handler->second.wants(what.news) && handler->second.covers(what.variable)) {
            m_book.findings.count(Race::newsDuringRegistration);
        }
    }
}

void Ledger::dispatched(const Announcement& what) {
    const auto lock = m_book.ground.lock();
    const int removals = thread().dispatches.back().removals;
    thread().dispatches.pop_back();
    announced(what);
    if (what.variable < 0 || what.link >= m_services) return;
    Belief& belief = believe(what.link, what.variable);
    if (belief.removals != removals) return;
    if (what.news == News::value || what.news == News::change) belief.valueKnown = true;
    if (what.news == News::options) belief.optionsKnown = true;
}

void Ledger::transportMade(int slot, const std::string& endpoint) {
    m_book.ground.note(m_life.name, "has the transport", std::to_string(slot) + " " + endpoint);
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
