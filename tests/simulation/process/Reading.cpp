#include "AppConfig/PlatformCfgService.h"
#include "process/Application.h"

// What reads bring back is judged by the simulation; here it is only carried over.

namespace Simulation {

namespace {

Texts texts(const std::list<std::string>& list) {
    return {list.begin(), list.end()};
}

}  // namespace

void Application::readList(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    std::list<std::string> value;
    running.outcome.value = texts(from->getConfigVar(named(running.operation.variable), value));
}

void Application::readText(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    const VariableName& name = (*m_names)[running.operation.variable];
    running.outcome.value = {from->getConfigVar(name.node, name.nodeInstance, name.attribute, name.attributeInstance)};
}

void Application::readBool(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    running.outcome.flag = from->getConfigVarBool(named(running.operation.variable));
}

void Application::readInt(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    running.outcome.value = {std::to_string(from->getConfigVarInt(named(running.operation.variable)))};
}

void Application::readRecord(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    const VariableName& name = (*m_names)[running.operation.variable];
    const AppConfig::ConfigValue record =
        from->getConfigValue(name.node, name.nodeInstance, name.attribute, name.attributeInstance);
    Outcome& outcome = running.outcome;
    outcome.value = texts(record.getValue());
    outcome.flag = record.isDefault();
    outcome.hasOptions = record.hasOptions();
    if (outcome.hasOptions) outcome.options = record.getOptions();
    outcome.index = record.defaultIndex();
    const AppConfig::ConfigAccessLevels levels = record.accessLevels();
    if (levels.hasReadRole) outcome.read = levels.readRole;
    if (levels.hasWriteRole) outcome.write = levels.writeRole;
}

void Application::readIsDefault(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    const VariableName& name = (*m_names)[running.operation.variable];
    running.outcome.flag = from->isDefault(name.node, name.nodeInstance, name.attribute, name.attributeInstance);
}

void Application::readOptions(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    running.outcome.hasOptions = true;
    from->getConfigOptions(named(running.operation.variable), running.outcome.options);
}

void Application::readOptionsList(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    const VariableName& name = (*m_names)[running.operation.variable];
    std::list<std::string> options;
    from->getConfigOptions(name.node, name.nodeInstance, name.attribute, name.attributeInstance, options);
    running.outcome.hasOptions = true;
    running.outcome.options = texts(options);
}

void Application::readDefaultOptions(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    const VariableName& name = (*m_names)[running.operation.variable];
    from->getConfigDefaultOptions(name.node, name.nodeInstance, name.attribute, name.attributeInstance,
                                  running.outcome.options);
}

void Application::readDefaultIndex(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    running.outcome.accepted =
        from->getConfigOptionDefaultIndex(named(running.operation.variable), running.outcome.index);
}

void Application::readLevels(Running& running) {
    auto* const from = managerFor(running);
    if (from == nullptr) return;
    AppConfig::SecurityRole read = AppConfig::SECURITY_ROLE_NONE;
    AppConfig::SecurityRole write = AppConfig::SECURITY_ROLE_NONE;
    running.outcome.accepted = from->getAccessLevels(named(running.operation.variable), &read, &write);
    if (!running.outcome.accepted) return;
    running.outcome.read = read;
    running.outcome.write = write;
}

void Application::readAtLink(Running& running) {
    // Whichever link is the primary one now, also while it is being moved.
    bool isDefault = false;
    running.outcome.value =
        texts(AppConfig::PlatformCfgService::getInstance()->getConfigVar(named(running.operation.variable), isDefault));
    running.outcome.flag = isDefault;
}

}  // namespace Simulation
