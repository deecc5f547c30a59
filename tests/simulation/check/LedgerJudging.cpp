#include <algorithm>
#include <cctype>

#include "check/Ledger.h"
#include "script/Variables.h"

// What single operations bring back is held against what the services hold and held.

namespace Simulation {

namespace {

bool isFailedRead(const Texts& value) {
    return value.empty() || (value.size() == 1 && value.front().empty());
}

Type typeOf(int variable) {
    return variables()[static_cast<std::size_t>(variable)].type;
}

}  // namespace

void Ledger::judge(const Underway& underway, const Outcome& outcome) {
    switch (underway.operation.action) {
        case Action::readText:
            // The first element says which list it is.
            if (typeOf(underway.operation.variable) == Type::list && !isFailedRead(outcome.value)) {
                if (outcome.value.front().front() == 'w') judgeRead(underway, {outcome.value.front(), "x"});
                break;
            }
            judgeRead(underway, outcome.value);
            break;
        case Action::readList:
        case Action::readRecord: judgeRead(underway, outcome.value); break;
        case Action::readInt:
            // A failed read gives 0, which no number of the simulation is.
            if (outcome.value.front() != "0") judgeRead(underway, outcome.value);
            break;
        case Action::readBool: judgeFlag(underway, outcome.flag); break;
        case Action::write: judgeWrite(underway, outcome); break;
        case Action::reset: judgeReset(underway, outcome); break;
        default: break;
    }
}

void Ledger::judgeRead(const Underway& underway, const Texts& value) {
    if (isFailedRead(value) || m_forgotten[underway.operation.link]) return;
    const int variable = underway.operation.variable;
    const int service = serviceOf(underway.operation.link);
    const History& history = m_book.history;
    if (!history.held(service, variable, value, 0)) {
        return complain(Check::invented, variable, "a read gave " + quoted(value) + ", which the service never held");
    }
    if (!history.held(service, variable, value, underway.floor)) {
        complain(Check::ownWrite, variable,
                 "a read gave " + quoted(value) +
                     ", which is older than an own write that was acknowledged; the service holds " +
                     quoted(history.present(service, variable).value));
    }
    believe(underway.operation.link, variable).heard.value = value;
    const Moment read = history.lastOf(service, variable, value);
    const bool overtaken =
        std::any_of(underway.announced.begin(), underway.announced.end(),
                    [&](const Texts& announced) { return history.lastOf(service, variable, announced) > read; });
    if (overtaken) m_book.findings.count(Race::overtakenAnswer);
}

void Ledger::judgeFlag(const Underway& underway, bool value) {
    if (m_forgotten[underway.operation.link]) return;
    const int variable = underway.operation.variable;
    const Texts text{value ? "true" : "false"};
    if (m_book.history.held(serviceOf(underway.operation.link), variable, text, underway.floor)) {
        believe(underway.operation.link, variable).heard.value = text;
        return;
    }
    // False may be a failure.
    if (!value) return;
    complain(Check::ownWrite, variable, "a read gave true, which is older than an own write that was acknowledged");
}

void Ledger::judgeWrite(const Underway& underway, const Outcome& outcome) {
    if (!outcome.accepted) return;
    const Operation& operation = underway.operation;
    const Moment since =
        m_book.history.firstWithin(serviceOf(operation.link), operation.variable, underway.begun, m_book.history.now(),
                                   [&](const State& state) { return state.defined && state.value == operation.value; });
    if (since == 0) {
        return complain(Check::acknowledged, operation.variable,
                        "the write of " + quoted(operation.value) + " was acknowledged, but never stored");
    }
    Belief& belief = believe(operation.link, operation.variable);
    belief.floor = std::max(belief.floor, since);
}

void Ledger::judgeReset(const Underway& underway, const Outcome& outcome) {
    if (!outcome.accepted) return;
    const Operation& operation = underway.operation;
    const Moment since =
        m_book.history.firstWithin(serviceOf(operation.link), operation.variable, underway.begun, m_book.history.now(),
                                   [](const State& state) { return state.defined && state.isDefault; });
    if (since == 0) {
        return complain(Check::acknowledged, operation.variable, "a reset was acknowledged, but never stored");
    }
    Belief& belief = believe(operation.link, operation.variable);
    belief.floor = std::max(belief.floor, since);
}

/// Nothing changes any more: what may be read must be there, and be what the service holds.
void Ledger::judgeQuiet(const Operation& operation, const Outcome& outcome) {
    const int link = operation.link;
    const int variable = operation.variable;
    const State& state = m_book.history.present(serviceOf(link), variable);
    const State& before = m_book.history.at(serviceOf(link), variable, m_quietSince);
    // A handler that has something to write yet does so when it is called for what the reads bring.
    for (const News news : {News::value, News::options, News::levels}) {
        if (!same(before, state, news)) return;
    }
    const bool bare = believe(link, variable).bare && !believe(link, variable).valueKnown;
    const int role = std::min(m_role[link], m_book.lowestCap(serviceOf(link), m_life.uid));
    if (!state.defined || state.read > role || m_forgotten[link]) return;
    const auto differs = [&](const std::string& what, const std::string& read, const std::string& held) {
        complain(Check::unread, variable, what + " is read as " + read + "; the service holds " + held);
    };
    // What was cached before a role or a level fell stays readable, and nobody tells the process that it has changed.
    const bool isFresh = mayKnow(link, state);
    if (operation.action == Action::readRecord) {
        const bool none = isFailedRead(outcome.value);
        if (outcome.value != state.value && (none ? !bare : isFresh))
            differs("the value", quoted(outcome.value), quoted(state.value));
        if (outcome.read != state.read)
            differs("the read level", std::to_string(outcome.read), std::to_string(state.read));
        if (outcome.write != state.write) {
            differs("the write level", std::to_string(outcome.write), std::to_string(state.write));
        }
        const bool excused =
            (believe(link, variable).optionsFailed && outcome.options.empty()) || (!isFresh && outcome.hasOptions);
        if (!excused && (!outcome.hasOptions || outcome.options != state.options)) {
            differs("the options", quoted(outcome.options), quoted(state.options));
        }
    } else if (operation.action == Action::readIsDefault && isFresh && !bare && !isFlagOpen(link, variable)) {
        if (outcome.flag != state.isDefault)
            differs("the default flag", outcome.flag ? "set" : "unset", quoted(state.value));
    } else if (operation.action == Action::readDefaultIndex) {
        const Belief& belief = believe(link, variable);
        if (!isFresh || belief.indexOpen != 0 || belief.optionsFailed || !outcome.accepted ||
            outcome.index == state.index)
            return;
        differs("the default index", std::to_string(outcome.index), std::to_string(state.index));
    }
}

}  // namespace Simulation
