#include "MessageIds.h"
#include "core/Names.h"
#include "core/Replies.h"
#include "core/Requests.h"
#include "wire/CarriesUnknown.h"
#include "wire/Lower.h"
#include "wire/Roles.h"

namespace AppConfigService {

using AppConfigWire::carriesUnknown;
using AppConfigWire::lowered;
using AppConfigWire::roleToWire;

namespace {

/// \return whether \p text matches \p pattern, in which * stands for any text and ? for one byte.
bool matches(const std::string& pattern, const std::string& text) {
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::string::npos;
    std::size_t retry = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            retry = t;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
            ++p;
            ++t;
        } else if (star != std::string::npos) {
            p = star + 1;
            t = ++retry;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

}  // namespace

void Requests::describe(const Variable& variable, int role, ConfigAdmin::VariableInfo& info) const {
    const VariableDefinition& definition = *variable.definition;
    const VariableRow& row = variable.row;
    writeName(row.name, definition.namespaceScoped, m_with.options.namespaceNumber, *info.mutable_inst());
    info.set_type(definition.type);
    info.set_read_level(roleToWire(row.readLevel));
    info.set_write_level(roleToWire(row.writeLevel));
    info.set_namespace_scoped(definition.namespaceScoped);
    // The default is the value of whatever was never written, and options and limits tell what it may be.
    if (role < row.readLevel) return;
    for (const std::string& element : definition.defaultValue) info.add_default_value(element);
    for (const std::string& option : row.options) info.add_option(option);
    info.set_default_index(row.defaultIndex);
    if (definition.minimum) info.set_minimum(*definition.minimum);
    if (definition.maximum) info.set_maximum(*definition.maximum);
    if (definition.maxLength) info.set_max_length(*definition.maxLength);
    if (!definition.pattern.empty()) info.set_pattern(definition.pattern);
    if (definition.maxElements) info.set_max_elements(*definition.maxElements);
    for (const std::string& element : row.value) info.add_value(element);
    info.set_is_default(variable.isDefault());
}

void Requests::list(const Call& call, const ConfigAdmin::ListVariablesReq& request) {
    const int role = noteRole(call, request.role());
    const std::string pattern = lowered(request.pattern());
    ConfigAdmin::ListVariablesRsp response;
    response.set_error(CommonIF::ERROR_NONE);
    std::size_t bytes = 0;
    m_with.catalogue.each([&](const Variable& variable) {
        if (bytes > largestListing || !(pattern.empty() || matches(pattern, variable.fullyQualified))) return;
        describe(variable, role, *response.add_variable());
        bytes += response.variable(response.variable_size() - 1).ByteSizeLong();
    });
    if (bytes > largestListing) {
        response.Clear();
        response.set_error(CommonIF::ERROR_LIMIT);
    }
    reply(call, response);
}

Result<Variable*> Requests::lookUpToSubmit(const ConfigAdmin::SubmitReq& request, int role) const {
    Result<Variable*> found = lookUp(request.inst());
    if (!found) return found;
    const Variable& variable = **found;
    if (carriesUnknown(request, ConfigAdmin::SubmitReq::kSubmitTypeFieldNumber)) {
        return failure(CommonIF::ERROR_INVALID_REQUEST, variable.display + ": unknown submit type");
    }
    if (Result<> allowed = writable(variable, role); !allowed) return failure(std::move(allowed.error()));
    return found;
}

void Requests::submit(const Call& call, const ConfigAdmin::SubmitReq& request) {
    const int role = noteRole(call, request.role());
    const Result<Variable*> found = lookUpToSubmit(request, role);
    ConfigAdmin::SubmitRsp response;
    if (!found) {
        logRefusal(call, request.inst(), found.error().code);
        setRefusal(response, found.error());
        return reply(call, response);
    }
    m_with.log(LogLevel::info, "submit of " + (*found)->display + " by " + call.client.endpoint);
    m_with.notifier.submit(**found, request.submit_type());
    response.mutable_result()->set_error(CommonIF::ERROR_NONE);
    reply(call, response);
}

void Requests::statistics(const Call& call, const ConfigAdmin::StatisticsReq&) {
    ConfigAdmin::StatisticsRsp response;
    response.set_error(CommonIF::ERROR_NONE);
    for (const auto& [id, count] : m_with.statistics.received) {
        ConfigAdmin::MessageCount* entry = response.add_received();
        entry->set_type(std::string(ConfigIF::messageName(id)));
        entry->set_count(count);
    }
    for (const auto& [id, count] : m_with.statistics.sent) {
        ConfigAdmin::MessageCount* entry = response.add_sent();
        entry->set_type(std::string(ConfigIF::messageName(id)));
        entry->set_count(count);
    }
    response.set_clients(static_cast<std::uint32_t>(m_with.clients.size()));
    response.set_connected(static_cast<std::uint32_t>(m_with.clients.withDelivery()));
    response.set_registrations(static_cast<std::uint32_t>(m_with.registrations.size()));
    response.set_variables(static_cast<std::uint32_t>(m_with.catalogue.size()));
    response.set_changes(m_with.journal.changes());
    reply(call, response);
}

}  // namespace AppConfigService
