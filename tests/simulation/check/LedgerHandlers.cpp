#include <algorithm>
#include <limits>

#include "check/Ledger.h"
#include "configservice.pb.h"
#include "script/Variables.h"

// Handlers and what reaches them: registrations, announcements, dispatches.

namespace Simulation {

namespace {

const VariableName& nameOfVariable(int variable) {
    return variables()[static_cast<std::size_t>(variable)].name;
}

bool liesIn(const std::string& node, const std::string& whole) {
    return node.compare(0, whole.size(), whole) == 0 && (node.size() == whole.size() || node[whole.size()] == '.');
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

/// \return the name that a handler is registered for at the service.
std::string registeredName(const HandlerRecord& handler) {
    const VariableName& own = nameOfVariable(handler.operation.variable);
    return handler.operation.wholeNode ? own.node : own.node + "." + own.attribute;
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

/// A read may register for the same name as a handler that another thread is registering; news that come with that are
/// not the handler's.
void Ledger::registers(const std::string& name, int type) {
    const auto lock = m_book.ground.lock();
    const News news = newsOf(type);
    const void* const me = m_book.ground.thread();
    const auto own = std::find_if(m_underway.rbegin(), m_underway.rend(),
                                  [me](const auto& entry) { return entry.second.thread == me; });
    if (own == m_underway.rend()) return;
    const Underway& underway = own->second;
    const bool brings = underway.operation.action == Action::setTransport;
    for (auto& [number, handler] : m_handlers) {
        // Whoever hands over a transport registers what is entered, and not what another thread is registering.
        const bool isEntered = handler.phase == HandlerRecord::Phase::live;
        const bool isBrought = brings && isEntered && handler.link == underway.operation.link;
        const bool isMeant = number == underway.handler || isBrought;
        if (isMeant && handler.wants(news) && name == registeredName(handler)) handler.asked.insert(news);
    }
}

void Ledger::registrationArrives(int service, const std::string& name, int type) {
    m_registered[service] = true;
    const News news = newsOf(type);
    m_arrived[service].emplace(name, news);
    for (auto& [number, handler] : m_handlers) {
        if (handler.phase > HandlerRecord::Phase::live || handler.asked.count(news) == 0) continue;
        if (serviceOf(handler.link) != service || name != registeredName(handler)) continue;
        // From here on the service tells news, although the handler is not entered before the answer has come.
        handler.bounds.emplace(news, m_book.history.now());
    }
}

bool Ledger::hasArrived(const HandlerRecord& handler, News news) const {
    return m_arrived[serviceOf(handler.link)].count({registeredName(handler), news}) != 0;
}

void Ledger::newsSent(int service, News news, int variable, const std::string& endpoint) {
    const auto slot = m_slots.find(endpoint);
    // What comes over a transport that was replaced reaches nobody.
    if (m_life.ended || slot == m_slots.end() || slot->second != m_transport[service]) return;
    const State& present = m_book.history.present(service, variable);
    for (auto& [number, handler] : m_handlers) {
        if (serviceOf(handler.link) != service || !handler.wants(news) || !handler.covers(variable)) continue;
        if (handler.phase > HandlerRecord::Phase::live || handler.bounds.count(news) == 0) continue;
        // What it was sent again after a refused write may be lost with a connection, since it had not changed.
        const bool unchanged = m_book.history.at(service, variable, handler.boundOf(news)).value ==
                               m_book.history.present(service, variable).value;
        if (news == News::value && unchanged && believe(handler.link, variable).corrected) continue;
        handler.owed.insert({{news, variable}, same(believe(handler.link, variable).heard, present, news)});
    }
}

/// What was sent may have been lost. Unless \p all goes, what the process did not know before must come again.
void Ledger::dropOwed(int link, bool all) {
    for (auto& [number, handler] : m_handlers) {
        if (handler.link != link) continue;
        for (auto owed = handler.owed.begin(); owed != handler.owed.end();) {
            owed = all || owed->second ? handler.owed.erase(owed) : std::next(owed);
        }
    }
}

void Ledger::deliveryBegins(int service, bool known) {
    if (!known && m_registered[service] && !m_forgotten[service]) {
        m_book.findings.count(Race::unknownRegistrations);
    }
    dropOwed(service, false);
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
    // Without a transport nobody is asked to tell it anything; whoever hands one over registers it.
    const bool kept = underway.early && (!m_reachable[handler.link] || isSettingTransport(handler.link));
    if (!kept) bind(handler);
}

bool Ledger::isSettingTransport(int link) const {
    return std::any_of(m_underway.begin(), m_underway.end(), [&](const auto& entry) {
        const Operation& operation = entry.second.operation;
        return operation.action == Action::setTransport && operation.link == link;
    });
}

/// A transport has been handed over: those that were entered without one are registered now.
void Ledger::bindEarly(int link) {
    if (isSettingTransport(link)) return;
    for (auto& [number, handler] : m_handlers) {
        if (handler.phase == HandlerRecord::Phase::live && handler.link == link) bind(handler);
    }
}

/// From now on, at the latest, \p handler must be told what changes.
void Ledger::bind(HandlerRecord& handler) {
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
    m_book.ground.note(
        m_life.name, nameOf(what.news),
        "handler " + std::to_string(handler) + ": " + display(what.variable) + " " + quoted(what.contents));
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
    if (!here.dispatches.empty()) here.dispatches.back().inHandlers += m_book.ground.now() - begun;
}

void Ledger::announced(const Announcement& what) {
    if (what.variable < 0 || what.link >= m_services) return;
    Belief& belief = believe(what.link, what.variable);
    if (what.news == News::value || what.news == News::change) belief.flagOpen = ++m_events;
    if (what.news == News::options) belief.indexOpen = ++m_events;
}

void Ledger::dispatching(const Announcement& what) {
    const auto lock = m_book.ground.lock();
    m_book.ground.note(m_life.name, "is told",
                       std::string(nameOf(what.news)) + " of " + display(what.variable) + " " + quoted(what.contents));
    thread().dispatches.push_back({what, {}, m_book.ground.now(), {}, 0});
    announced(what);
    if (what.link < m_services) reached(serviceOf(what.link));
    if (what.variable < 0 || what.link >= m_services) return;
    thread().dispatches.back().removals = believe(what.link, what.variable).removals;
    const int service = serviceOf(what.link);
    const bool isValue = what.news == News::value || what.news == News::change;
    State& heard = believe(what.link, what.variable).heard;
    if (!isValue && what.news != News::question) believe(what.link, what.variable).bare = true;
    if (isValue) heard.value = what.contents;
    if (what.news == News::options) heard.options = what.contents;
    if (what.news == News::levels) heard.read = what.read, heard.write = what.write;
    if (isValue &&
        m_book.history.lastOf(service, what.variable, what.contents) < believe(what.link, what.variable).floor) {
        m_book.findings.count(Race::oldAnnouncement);
    }
    for (auto& [number, underway] : m_underway) {
        if (underway.thread == m_book.ground.thread()) continue;
        const Operation& operation = underway.operation;
        if (operation.action == Action::changePrimary && what.link == 1) m_book.findings.count(Race::newsDuringMove);
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
    const Dispatch& last = thread().dispatches.back();
    const int removals = last.removals;
    // It waits for registrations that are under way in other threads, and these for their requests.
    const Time waited = m_book.ground.now() - last.begun - last.inHandlers;
    for (Request& request : thread().requests) request.elsewhere += waited;
    thread().dispatches.pop_back();
    announced(what);
    if (what.variable < 0 || what.link >= m_services) return;
    Belief& belief = believe(what.link, what.variable);
    if (belief.removals != removals) return;
    if (what.news == News::value || what.news == News::change) belief.valueKnown = true;
    if (what.news == News::options) belief.optionsKnown = true;
}

}  // namespace Simulation
