#include <google/protobuf/message_lite.h>

#include <algorithm>
#include <utility>

#include "MessageIds.h"
#include "check/Quiet.h"
#include "configservice.pb.h"
#include "core/Names.h"
#include "process/Names.h"
#include "script/Variables.h"
#include "wire/Roles.h"
#include "world/World.h"

// The end of a simulation: everything comes to rest, and then caches, handlers and providers are held against the
// services. A second round changes many variables, so that a process that has become deaf is noticed even where its
// last belief happens to be right.

namespace Simulation {

namespace {

constexpr int wireRole = 50;  // the highest

ConfigIF::Inst instOf(int variable, int service) {
    ConfigIF::Inst inst;
    const VariableName& name = variables()[static_cast<std::size_t>(variable)].name;
    AppConfigService::writeName({name.node, name.nodeInstance, name.attribute, name.attributeInstance}, false,
                                service == 0 ? 0 : secondNamespace, inst);
    return inst;
}

/// \return a value that the variable has not held yet; where its type allows none, another one than now.
Texts probeValue(int variable, const State& state, bool refusable) {
    const std::string number = refusable ? "990013" : "990050";
    switch (variables()[static_cast<std::size_t>(variable)].type) {
        case Type::text: return {"probe" + number};
        case Type::number: return {number};
        case Type::list: return {"probe" + number, "x"};
        case Type::flag: return {state.value == Texts{"true"} ? "false" : "true"};
        case Type::option: break;
    }
    for (const std::string& option : state.options) {
        if (state.value != Texts{option}) return {option};
    }
    return state.value;
}

ConfigIF::WriteReq writeOf(int variable, int service, const Texts& value) {
    ConfigIF::WriteReq request;
    request.set_client_name("probe");
    request.set_role(static_cast<CommonIF::eSecurityRole>(wireRole));
    *request.mutable_inst_value()->mutable_inst() = instOf(variable, service);
    for (const std::string& text : value) request.mutable_inst_value()->add_value(text);
    return request;
}

}  // namespace

void World::settle(Time time) {
    const Time until = now() + time;
    while (now() < until && !m_scheduler.isExhausted()) m_scheduler.run(until);
}

void World::complainOfStuck() {
    for (const auto& fibre : m_scheduler.fibres()) {
        if (fibre->isFinished() || fibre->process().ended) continue;
        const Ledger* const ledger = find(fibre->process());
        const std::string operation = ledger == nullptr ? std::string() : ledger->underWay(fibre.get());
        if (operation.empty()) continue;
        m_book.findings.add(Check::stuck, fibre->name() + ": " + operation + " does not end; the thread waits for " +
                                              (fibre->waitsFor() == nullptr ? "nothing" : fibre->waitsFor()));
    }
    if (m_book.findings.of(Check::stuck) == 0) m_book.findings.add(Check::stuck, "the world does not come to rest");
}

void World::inspect() {
    Quiet quiet(m_book);
    for (Place& place : m_places) {
        if (place.process == nullptr) continue;
        m_scheduler.start(*place.process, [this, &place, &quiet] {
            for (int link = 0; link < (place.ledger->hasMoved() ? 2 : 1); ++link) {
                quiet.cache(*place.ledger, *place.code, link);
            }
        });
    }
    settle(std::chrono::seconds(1));
    for (const Place& place : m_places) {
        if (place.process != nullptr) quiet.handlers(*place.ledger);
    }
    for (const auto& host : m_services) {
        if (!host->isRunning() || host->core()->waiting() == 0) continue;
        m_book.findings.add(Check::stuck, "s" + std::to_string(host->number() + 1) + ": " +
                                              std::to_string(host->core()->waiting()) +
                                              " requests are still being decided although everything is quiet");
    }
}

void World::readAll() {
    for (Place& place : m_places) {
        if (place.process == nullptr) continue;
        place.ledger->setQuiet();
        m_scheduler.start(*place.process, [this, &place] {
            for (int link = 0; link < (place.ledger->hasMoved() ? 2 : 1); ++link) readMissing(place, link);
        });
    }
    settle(std::chrono::seconds(20));
}

/// Reads what a race may have made unknown, and a few others. A record that never had an item answers without it: only
/// what was known before must be asked for.
void World::readMissing(Place& place, int link) {
    if (!place.ledger->hasTransport(link)) return;
    for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
        const CachedRecord cached = place.code->inspect(link, i);
        const bool incomplete = cached.present && (cached.value.empty() || !cached.hasRead || !cached.hasWrite);
        if (!incomplete && !m_random.chance(1, 6)) continue;
        const Ledger::Belief& belief = place.ledger->belief(link, i);
        std::vector<Action> actions;
        if (!cached.present || cached.hasOptions || belief.optionsKnown) actions.push_back(Action::readDefaultIndex);
        if (cached.present && cached.value.empty() && !belief.valueKnown) actions.push_back(Action::readText);
        actions.push_back(Action::readIsDefault);
        actions.push_back(Action::readRecord);
        Operation operation;
        operation.link = link;
        operation.variable = i;
        for (const Action action : actions) {
            operation.action = action;
            place.code->perform(operation);
        }
    }
}

void World::submit(ServiceHost& host, const google::protobuf::MessageLite& message) {
    host.call(ConfigIF::messageId(message.GetTypeName()), message.SerializeAsString());
}

void World::probe() {
    bool moved = false;
    for (const Place& place : m_places) moved = moved || (place.ledger != nullptr && place.ledger->hasMoved());
    for (const auto& host : m_services) {
        if (host->number() != 0 && !moved) continue;
        probeProviders(*host);
        for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
            if (m_random.chance(1, 2)) probeVariable(*host, i);
        }
    }
    settle(std::chrono::seconds(30));
}

/// Writes what a provider refuses, wherever one stands.
void World::probeProviders(ServiceHost& host) {
    std::vector<std::pair<int, Texts>> judged;
    for (int i = 0; i < static_cast<int>(variables().size()); ++i) {
        const State& state = m_book.history.present(host.number(), i);
        const Texts value = probeValue(i, state, true);
        if (!state.defined || !isRefusable(value)) continue;
        const bool stands = std::any_of(m_places.begin(), m_places.end(), [&](const Place& place) {
            return place.process != nullptr && Quiet::judges(*place.ledger, m_book, host.number(), i);
        });
        if (!stands) continue;
        judged.emplace_back(i, value);
        submit(host, writeOf(i, host.number(), value));
    }
    if (judged.empty()) return;
    settle(std::chrono::seconds(10));
    for (const auto& [variable, value] : judged) {
        if (m_book.history.present(host.number(), variable).value != value) continue;
        m_book.findings.add(Check::judged, "s" + std::to_string(host.number() + 1) + ": " + display(variable) +
                                               ": a value was accepted that a provider, which is there, refuses");
    }
}

void World::probeVariable(ServiceHost& host, int variable) {
    const State& state = m_book.history.present(host.number(), variable);
    if (!state.defined) return;
    submit(host, writeOf(variable, host.number(), probeValue(variable, state, false)));
    if (variable == Special::choice) {
        ConfigIF::SetAttributeOptionsReq options;
        options.set_role(static_cast<CommonIF::eSecurityRole>(wireRole));
        *options.mutable_inst() = instOf(variable, host.number());
        for (const char* const option : {"probed", "one", "two", "three", "day"}) options.add_option(option);
        submit(host, options);
    }
    if (variable == Special::mode) {
        ConfigIF::SetAccessLevelsReq levels;
        levels.set_role(static_cast<CommonIF::eSecurityRole>(wireRole));
        *levels.add_inst() = instOf(variable, host.number());
        levels.set_write_level(AppConfigWire::roleToWire(state.write == 0 ? 1 : 0));
        submit(host, levels);
    }
}

}  // namespace Simulation
