#include "process/Application.h"

#include <utility>

namespace Simulation {

namespace {

thread_local char anchor = 0;

}  // namespace

void Application::begin(ProcessHost& host, const ProcessPlan& plan) {
    m_host = &host;
    m_plan = plan;
    m_names = std::make_unique<Names>(m_plan.variables);
}

const void* Application::threadLocal() {
    return &anchor;
}

AppConfig::AppCfgManager* Application::manager(int link) const {
    if (link == 0) return AppConfig::AppCfgManager::getLocalCfgManager();
    return m_moved ? AppConfig::AppCfgManager::getInstance() : nullptr;
}

AppConfig::AppCfgManager* Application::managerFor(Running& running) const {
    AppConfig::AppCfgManager* const found = manager(running.operation.link);
    running.outcome.done = found != nullptr;
    return found;
}

ConfigVar Application::named(int variable) const {
    const VariableName& name = (*m_names)[variable];
    return ConfigVar(0, name.node, name.nodeInstance, name.attribute, name.attributeInstance);
}

CachedRecord Application::inspect(int link, int variable) {
    CachedRecord result;
    AppConfig::AppCfgManager* const from = manager(link);
    if (from == nullptr) return result;
    const auto found = from->retrieveConfigVar(named(variable));
    if (found == from->cacheEnd()) return result;
    const AppConfig::ConfigValue& record = found->second;
    result.present = true;
    const std::list<std::string> value = record.getValue();
    result.value.assign(value.begin(), value.end());
    result.isDefault = record.isDefault();
    result.hasOptions = record.hasOptions();
    if (result.hasOptions) result.options = record.getOptions();
    result.index = record.defaultIndex();
    const AppConfig::ConfigAccessLevels levels = record.accessLevels();
    result.hasRead = levels.hasReadRole;
    result.hasWrite = levels.hasWriteRole;
    result.read = levels.readRole;
    result.write = levels.writeRole;
    return result;
}

Application::Perform Application::performerOf(Action action) {
    switch (action) {
        case Action::readList: return &Application::readList;
        case Action::readText: return &Application::readText;
        case Action::readBool: return &Application::readBool;
        case Action::readInt: return &Application::readInt;
        case Action::readRecord: return &Application::readRecord;
        case Action::readIsDefault: return &Application::readIsDefault;
        case Action::readOptions: return &Application::readOptions;
        case Action::readOptionsList: return &Application::readOptionsList;
        case Action::readDefaultOptions: return &Application::readDefaultOptions;
        case Action::readDefaultIndex: return &Application::readDefaultIndex;
        case Action::readLevels: return &Application::readLevels;
        case Action::write: return &Application::write;
        case Action::writeUnawaited: return &Application::writeUnawaited;
        case Action::reset: return &Application::reset;
        case Action::validate: return &Application::validate;
        case Action::setOptions: return &Application::setOptions;
        case Action::setOptionsWithIndex: return &Application::setOptionsWithIndex;
        case Action::setLevels: return &Application::setLevels;
        case Action::setLevelsUnawaited: return &Application::setLevelsUnawaited;
        case Action::removeVars: return &Application::removeVars;
        case Action::addConsumer: return &Application::addConsumer;
        case Action::removeConsumer: return &Application::removeConsumer;
        case Action::deleteConsumer: return &Application::deleteConsumer;
        case Action::addProvider: return &Application::addProvider;
        case Action::removeProvider: return &Application::removeProvider;
        case Action::forgetAll: return &Application::forgetAll;
        case Action::setRole: return &Application::setRole;
        case Action::setTransport: return &Application::setTransport;
        case Action::endTransport: return &Application::endTransport;
        case Action::changePrimary: return &Application::changePrimary;
        case Action::readAtLink: return &Application::readAtLink;
        case Action::addConsumerAtLink: return &Application::addConsumerAtLink;
        case Action::pause: return &Application::pause;
    }
    return &Application::pause;
}

void Application::perform(const Operation& operation, int fromHandler) {
    Running running{operation, m_host->began(operation, fromHandler), {}, fromHandler >= 0};
    running.outcome.done = true;
    (this->*performerOf(operation.action))(running);
    m_host->ended(running.number, running.outcome);
}

}  // namespace Simulation

extern "C" __attribute__((visibility("default"))) Simulation::ProcessCode* simulationProcess() {
    return new Simulation::Application;
}
