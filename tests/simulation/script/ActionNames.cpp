#include "script/ActionNames.h"

namespace Simulation {

namespace {

template <typename Kind>
struct Named {
    Kind kind;
    const char* name;
};

constexpr Named<Action> actions[] = {
    {Action::readList, "read-list"},
    {Action::readText, "read-text"},
    {Action::readBool, "read-bool"},
    {Action::readInt, "read-int"},
    {Action::readRecord, "read-record"},
    {Action::readIsDefault, "read-is-default"},
    {Action::readOptions, "read-options"},
    {Action::readOptionsList, "read-options-list"},
    {Action::readDefaultOptions, "read-default-options"},
    {Action::readDefaultIndex, "read-default-index"},
    {Action::readLevels, "read-levels"},
    {Action::write, "write"},
    {Action::writeUnawaited, "write-unawaited"},
    {Action::reset, "reset"},
    {Action::validate, "validate"},
    {Action::setOptions, "set-options"},
    {Action::setOptionsWithIndex, "set-options-with-index"},
    {Action::setLevels, "set-levels"},
    {Action::setLevelsUnawaited, "set-levels-unawaited"},
    {Action::removeVars, "remove-vars"},
    {Action::addConsumer, "add-consumer"},
    {Action::removeConsumer, "remove-consumer"},
    {Action::deleteConsumer, "delete-consumer"},
    {Action::addProvider, "add-provider"},
    {Action::removeProvider, "remove-provider"},
    {Action::forgetAll, "forget-all"},
    {Action::setRole, "set-role"},
    {Action::setTransport, "set-transport"},
    {Action::endTransport, "end-transport"},
    {Action::changePrimary, "change-primary"},
    {Action::readAtLink, "read-at-link"},
    {Action::addConsumerAtLink, "add-consumer-at-link"},
    {Action::pause, "pause"},
};

constexpr Named<FaultKind> faults[] = {
    {FaultKind::killService, "kill-service"},
    {FaultKind::breakRequests, "break-requests"},
    {FaultKind::breakDeliveries, "break-deliveries"},
    {FaultKind::breakAll, "break-all"},
    {FaultKind::refuse, "refuse"},
    {FaultKind::killProcess, "kill-process"},
    {FaultKind::stopProcess, "stop-process"},
    {FaultKind::failCommits, "fail-commits"},
    {FaultKind::reload, "reload"},
    {FaultKind::backUp, "back-up"},
    {FaultKind::changeWeather, "change-weather"},
};

template <typename Kind, std::size_t count>
const char* find(const Named<Kind> (&table)[count], Kind kind) {
    for (const auto& row : table) {
        if (row.kind == kind) return row.name;
    }
    return "";
}

template <typename Kind, std::size_t count>
bool find(const Named<Kind> (&table)[count], const std::string& name, Kind& kind) {
    for (const auto& row : table) {
        if (name != row.name) continue;
        kind = row.kind;
        return true;
    }
    return false;
}

}  // namespace

const char* nameOf(Action action) {
    return find(actions, action);
}

const char* nameOf(FaultKind kind) {
    return find(faults, kind);
}

bool findAction(const std::string& name, Action& action) {
    return find(actions, name, action);
}

bool findFault(const std::string& name, FaultKind& kind) {
    return find(faults, name, kind);
}

}  // namespace Simulation
