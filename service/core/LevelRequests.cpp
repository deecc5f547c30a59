#include <algorithm>
#include <map>
#include <memory>
#include <utility>
#include <variant>

#include "core/Names.h"
#include "core/Replies.h"
#include "core/Requests.h"
#include "core/Transition.h"
#include "wire/CarriesUnknown.h"
#include "wire/Roles.h"

// The read and write levels of variables: getting and setting them.

namespace AppConfigService {

using AppConfigWire::carriesUnknown;
using AppConfigWire::roleFromWire;
using AppConfigWire::roleToWire;

namespace {

/// \return \p former under the levels of \p request; those that it does not name stay.
VariableRow underLevels(VariableRow former, const ConfigIF::SetAccessLevelsReq& request,
                        const VariableDefinition& definition) {
    if (request.has_read_level()) former.readLevel = roleFromWire(request.read_level());
    if (request.has_write_level()) former.writeLevel = roleFromWire(request.write_level());
    former.ownReadLevel = former.readLevel != definition.readLevel;
    former.ownWriteLevel = former.writeLevel != definition.writeLevel;
    return former;
}

/// \return the variables as \p batch leaves them, where it changes them.
std::map<VariableName, VariableRow> changedIn(const Batch& batch) {
    std::map<VariableName, VariableRow> rows;
    for (const StoredChange& entry : batch.entries) {
        const auto* row = std::get_if<VariableRow>(&entry);
        if (row != nullptr) rows[row->name] = *row;
    }
    return rows;
}

}  // namespace

void Requests::getLevels(const Call& call, const ConfigIF::GetAccessLevelsReq& request) {
    const int role = noteRole(call, request.role());
    ConfigIF::GetAccessLevelsRsp response;
    const Result<Variable*> found = lookUpReadable(request.inst(), role);
    response.set_error(errorOf(found));
    logRefusal(call, request.inst(), errorOf(found));
    if (found) {
        const Variable& variable = **found;
        response.set_read_level(roleToWire(variable.row.readLevel));
        response.set_write_level(roleToWire(variable.row.writeLevel));
        m_with.notifier.noteRead(call.client, variable, Topic::levels);
    }
    reply(call, response);
}

Result<> Requests::levelsAllowed(const ConfigIF::SetAccessLevelsReq& request, const Variable& variable, int role) {
    if (role < std::max(variable.row.readLevel, variable.row.writeLevel)) return failure(CommonIF::ERROR_ACCESS_DENIED);
    const int readLevel = request.has_read_level() ? roleFromWire(request.read_level()) : 0;
    const int writeLevel = request.has_write_level() ? roleFromWire(request.write_level()) : 0;
    if (role < std::max(readLevel, writeLevel)) return failure(CommonIF::ERROR_ACCESS_DENIED);
    return {};
}

void Requests::setLevels(const Call& call, const ConfigIF::SetAccessLevelsReq& request) {
    const int role = noteRole(call, request.role());
    ConfigIF::SetAccessLevelsRsp response;
    const auto refuseAll = [&](Error error) {
        logRefusal(call, std::string(), error);
        refuseLevels(request, error, response);
        reply(call, response);
    };
    // A level that this version does not know must not be taken for the lowest.
    if (carriesUnknown(request, ConfigIF::SetAccessLevelsReq::kReadLevelFieldNumber) ||
        carriesUnknown(request, ConfigIF::SetAccessLevelsReq::kWriteLevelFieldNumber)) {
        return refuseAll(CommonIF::ERROR_INVALID_REQUEST);
    }
    if (static_cast<std::size_t>(request.inst_size()) > mostElements) return refuseAll(CommonIF::ERROR_LIMIT);

    std::vector<Variable*> allowed;
    for (const ConfigIF::Inst& inst : request.inst()) {
        const Result<Variable*> found = lookUp(inst);
        const Error error = found ? errorOf(levelsAllowed(request, **found, role)) : found.error().code;
        if (error == CommonIF::ERROR_NONE) {
            allowed.push_back(*found);
            continue;
        }
        ConfigIF::AccessLevelErr* entry = response.add_access_error();
        *entry->mutable_inst() = inst;
        entry->set_error(error);
        logRefusal(call, inst, error);
    }
    // Nothing is stored if nothing may be set.
    if (allowed.empty()) return reply(call, response);
    storeLevels(call, request, allowed, response);
}

void Requests::storeLevels(const Call& call, const ConfigIF::SetAccessLevelsReq& request,
                           const std::vector<Variable*>& allowed, const ConfigIF::SetAccessLevelsRsp& response) {
    // Levels decide what may follow in the same turn, so they are set at once, after what waits to be stored.
    m_with.upcalls.store();
    // In the order of names, so that numbers are drawn in that order.
    std::map<VariableName, Variable*> changing;
    for (Variable* variable : allowed) {
        const VariableRow next = underLevels(variable->row, request, *variable->definition);
        if (difference(variable->row, next).levels) changing[next.name] = variable;
    }
    if (changing.empty()) return reply(call, response);

    struct Step {
        Variable* variable;
        Transition transition;
    };
    const auto steps = std::make_shared<std::vector<Step>>();
    const auto stage = [request, changing, steps](Batch& batch) {
        // Storing what waited may have let further writes continue. They are in this batch, so they count.
        const std::map<VariableName, VariableRow> staged = changedIn(batch);
        for (const auto& [name, variable] : changing) {
            const auto found = staged.find(name);
            const VariableRow& former = found != staged.end() ? found->second : variable->row;
            steps->push_back({variable, Transition(former, underLevels(former, request, *variable->definition))});
            steps->back().transition.stage(batch);
        }
    };
    m_with.journal.add(stage, [this, call, request, steps, response](const Result<>& stored) {
        if (!stored) {
            for (const Step& step : *steps) logRefusal(call, step.variable->display, errorOf(stored));
            ConfigIF::SetAccessLevelsRsp refused;
            refuseLevels(request, errorOf(stored), refused);
            return reply(call, refused);
        }
        std::vector<const Transition*> entered;
        for (Step& step : *steps) {
            step.transition.enter(*step.variable, m_with.notifier);
            entered.push_back(&step.transition);
            const VariableRow& row = step.variable->row;
            m_with.log(LogLevel::info, "levels of " + step.variable->display + " set to " +
                                           std::to_string(row.readLevel) + " and " + std::to_string(row.writeLevel) +
                                           " by " + displayName(call.client, call.pid));
        }
        Transition::notify(entered, m_with.notifier, nullptr);
        m_with.changes.providerArrived();
        reply(call, response);
    });
    m_with.upcalls.store();
}

}  // namespace AppConfigService
