#include "process/Application.h"

namespace Simulation {

namespace {

std::list<std::string> list(const Texts& texts) {
    return {texts.begin(), texts.end()};
}

/// A level that may be left out, as the library takes it.
class Level {
public:
    explicit Level(int role) : m_given(role >= 0), m_role(static_cast<AppConfig::SecurityRole>(role)) {}
    const AppConfig::SecurityRole* get() const { return m_given ? &m_role : nullptr; }

private:
    const bool m_given;
    const AppConfig::SecurityRole m_role;
};

}  // namespace

void Application::write(Running& running) {
    auto* const to = managerFor(running);
    if (to == nullptr) return;
    ConfigResult result;
    const ConfigVar variable = named(running.operation.variable);
    running.outcome.accepted = to->setConfigVar(variable, list(running.operation.value), &result);
    running.outcome.error = result.m_error;
}

void Application::writeUnawaited(Running& running) {
    auto* const to = managerFor(running);
    if (to == nullptr) return;
    const ConfigVar variable = named(running.operation.variable);
    running.outcome.accepted = to->setConfigVar(variable, list(running.operation.value));
}

void Application::reset(Running& running) {
    auto* const to = managerFor(running);
    if (to == nullptr) return;
    const VariableName& name = (*m_names)[running.operation.variable];
    running.outcome.accepted = to->resetValue(name.node, name.nodeInstance, name.attribute, name.attributeInstance);
}

void Application::validate(Running& running) {
    auto* const at = managerFor(running);
    if (at == nullptr) return;
    ConfigResult result;
    const ConfigVar variable = named(running.operation.variable);
    running.outcome.accepted = at->isValid(variable, list(running.operation.value), &result);
    running.outcome.error = result.m_error;
}

void Application::setOptions(Running& running) {
    auto* const to = managerFor(running);
    if (to == nullptr) return;
    const VariableName& name = (*m_names)[running.operation.variable];
    running.outcome.accepted = to->setConfigOptions(name.node, name.nodeInstance, name.attribute,
                                                    name.attributeInstance, running.operation.value);
}

void Application::setOptionsWithIndex(Running& running) {
    auto* const to = managerFor(running);
    if (to == nullptr) return;
    const VariableName& name = (*m_names)[running.operation.variable];
    running.outcome.accepted =
        to->setConfigOptions(name.node, name.nodeInstance, name.attribute, name.attributeInstance,
                             running.operation.value, static_cast<unsigned>(running.operation.number));
}

void Application::setLevels(Running& running) {
    auto* const to = managerFor(running);
    if (to == nullptr) return;
    const Level read(running.operation.read);
    const Level write(running.operation.write);
    eErrorT error = CFG_ERROR_NONE;
    running.outcome.accepted = to->setAccessLevels(named(running.operation.variable), read.get(), write.get(), error);
    running.outcome.error = error;
}

void Application::setLevelsUnawaited(Running& running) {
    auto* const to = managerFor(running);
    if (to == nullptr) return;
    const Level read(running.operation.read);
    const Level write(running.operation.write);
    running.outcome.accepted = to->setAccessLevels(named(running.operation.variable), read.get(), write.get());
}

void Application::removeVars(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    from->removeVars((*m_names)[running.operation.variable].node);
}

}  // namespace Simulation
