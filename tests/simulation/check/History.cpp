#include "check/History.h"

#include <algorithm>

#include "script/Variables.h"

namespace Simulation {

namespace {

int indexOf(const AppConfigWire::VariableName& name) {
    int index = 0;
    for (const VariableKind& variable : variables()) {
        if (variable.name.node == name.node && variable.name.attribute == name.attribute &&
            variable.name.nodeInstance == name.nodeInstance &&
            variable.name.attributeInstance == name.attributeInstance) {
            return index;
        }
        ++index;
    }
    return -1;
}

bool same(const State& a, const State& b) {
    return a.defined == b.defined && a.value == b.value && a.isDefault == b.isDefault && a.options == b.options &&
           a.index == b.index && a.read == b.read && a.write == b.write;
}

}  // namespace

bool same(const State& a, const State& b, News news) {
    switch (news) {
        case News::options: return a.options == b.options;
        case News::levels: return a.read == b.read && a.write == b.write;
        default: return a.value == b.value;
    }
}

History::History(int services, int variables)
    : m_variables(variables),
      m_states(static_cast<std::size_t>(services) * static_cast<std::size_t>(variables), States(1)) {}

std::size_t History::place(int service, int variable) const {
    return static_cast<std::size_t>(service) * static_cast<std::size_t>(m_variables) +
           static_cast<std::size_t>(variable);
}

const History::States& History::states(int service, int variable) const {
    return m_states[place(service, variable)];
}

History::States& History::states(int service, int variable) {
    return m_states[place(service, variable)];
}

State History::stateOf(int service, const AppConfigService::VariableRow& row) const {
    State state;
    state.defined = true;
    state.value = row.value;
    state.isDefault = isDefault(service, row);
    state.options = row.options;
    state.index = row.defaultIndex;
    state.read = row.readLevel;
    state.write = row.writeLevel;
    return state;
}

void History::add(int service, int variable, State state) {
    States& all = states(service, variable);
    if (same(all.back(), state)) return;
    state.since = ++m_now;
    all.push_back(std::move(state));
}

void History::stored(int service, const AppConfigService::Batch& batch) {
    for (const AppConfigService::StoredChange& change : batch.entries) {
        const auto* const row = std::get_if<AppConfigService::VariableRow>(&change);
        if (row == nullptr) continue;
        const int variable = indexOf(row->name);
        if (variable >= 0) add(service, variable, stateOf(service, *row));
    }
}

void History::adopted(int service, const AppConfigService::Core& core) {
    for (int i = 0; i < m_variables; ++i) {
        const VariableName& name = variables()[static_cast<std::size_t>(i)].name;
        const AppConfigService::Variable* const variable =
            core.catalogue().find({name.node, name.nodeInstance, name.attribute, name.attributeInstance});
        const bool defined = variable != nullptr && variable->definition;
        add(service, i, defined ? stateOf(service, variable->row) : State());
    }
}

const State& History::at(int service, int variable, Moment moment) const {
    const States& all = states(service, variable);
    const auto after = std::find_if(all.begin(), all.end(), [&](const State& state) { return state.since > moment; });
    return after == all.begin() ? all.front() : *std::prev(after);
}

bool History::held(int service, int variable, const Texts& value, Moment from) const {
    const States& all = states(service, variable);
    for (std::size_t i = all.size(); i-- > 0;) {
        if (all[i].defined && all[i].value == value) return true;
        if (all[i].since <= from) return false;
    }
    return false;
}

Moment History::lastOf(int service, int variable, const Texts& value) const {
    const States& all = states(service, variable);
    for (std::size_t i = all.size(); i-- > 0;) {
        if (all[i].defined && all[i].value == value) return all[i].since;
    }
    return 0;
}

bool History::flagChangedAlone(int service, int variable) const {
    const States& all = states(service, variable);
    for (std::size_t i = 1; i < all.size(); ++i) {
        if (all[i].defined && all[i - 1].defined && all[i].value == all[i - 1].value &&
            all[i].isDefault != all[i - 1].isDefault) {
            return true;
        }
    }
    return false;
}

}  // namespace Simulation
