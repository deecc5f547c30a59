#include "core/Requests.h"

#include <algorithm>
#include <utility>

#include "MessageIds.h"
#include "core/Names.h"
#include "core/Replies.h"
#include "wire/Escaped.h"
#include "wire/Lower.h"
#include "wire/Roles.h"

namespace AppConfigService {

using AppConfigWire::lowered;
using AppConfigWire::roleFromWire;

namespace {

Result<> checkRequester(const std::string& name) {
    if (name.size() <= longestName) return {};
    return failure(CommonIF::ERROR_LIMIT, "the client's name has " + std::to_string(name.size()) +
                                              " bytes, the limit is " + std::to_string(longestName));
}

Value toValue(const google::protobuf::RepeatedPtrField<std::string>& texts) {
    return {texts.begin(), texts.end()};
}

/// \return the part of \p text, which a client chose, that the log has room for, in one line.
std::string inPart(const std::string& text) {
    return AppConfigWire::escaped(std::string_view(text).substr(0, 2 * longestName + 1));
}

}  // namespace

template <typename Request, typename Response>
void Requests::row(void (Requests::*member)(const Call&, const Request&)) {
    const auto refuseRequest = [this](const Call& call, const std::string& payload, const Failure& why) {
        Request request;
        if (!request.ParseFromString(payload)) return fail(call, AppConfigWire::UNREADABLE);
        logRefusal(call, std::string(), why.code);
        Response response;
        setRefusalTo(request, response, why);
        reply(call, response);
    };
    const auto serveRequest = [this, member, refuseRequest](const Call& call, const std::string& payload) {
        Request request;
        if (!request.ParseFromString(payload)) return fail(call, AppConfigWire::UNREADABLE);
        const Result<> fine = checkRequester(request.client_name());
        if (!fine) return refuseRequest(call, payload, fine.error());
        (this->*member)(call, request);
    };
    m_rows.emplace(ConfigIF::messageId(Request().GetTypeName()), Row{serveRequest, refuseRequest});
}

Requests::Requests(const Collaborators& collaborators) : m_with(collaborators) {
    row<ConfigIF::ReadReq, ConfigIF::ReadRsp>(&Requests::read);
    row<ConfigIF::WriteReq, ConfigIF::WriteRsp>(&Requests::write);
    row<ConfigIF::ValidateReq, ConfigIF::ValidateRsp>(&Requests::validate);
    row<ConfigIF::ResetValueReq, ConfigIF::ResetValueRsp>(&Requests::resetValue);
    row<ConfigIF::GetAttributeOptionsReq, ConfigIF::GetAttributeOptionsRsp>(&Requests::getOptions);
    row<ConfigIF::GetDefaultOptionsReq, ConfigIF::GetDefaultOptionsRsp>(&Requests::getDefaultOptions);
    row<ConfigIF::SetAttributeOptionsReq, ConfigIF::SetAttributeOptionsRsp>(&Requests::setOptions);
    row<ConfigIF::GetAccessLevelsReq, ConfigIF::GetAccessLevelsRsp>(&Requests::getLevels);
    row<ConfigIF::SetAccessLevelsReq, ConfigIF::SetAccessLevelsRsp>(&Requests::setLevels);
    row<ConfigIF::RegisterClientCallbackReq, ConfigIF::RegisterClientCallbackRsp>(&Requests::registerCallback);
    row<ConfigIF::UnregisterClientCallbackReq, ConfigIF::UnregisterClientCallbackRsp>(&Requests::unregisterCallback);
    row<ConfigIF::UnregisterAllClientCallbacksReq, ConfigIF::UnregisterAllClientCallbacksRsp>(&Requests::unregisterAll);
    row<ConfigAdmin::ListVariablesReq, ConfigAdmin::ListVariablesRsp>(&Requests::list);
    row<ConfigAdmin::SubmitReq, ConfigAdmin::SubmitRsp>(&Requests::submit);
    row<ConfigAdmin::StatisticsReq, ConfigAdmin::StatisticsRsp>(&Requests::statistics);
}

void Requests::serve(const Call& call, const std::string& payload) {
    const auto found = m_rows.find(call.messageId);
    if (found == m_rows.end()) return fail(call, AppConfigWire::UNSUPPORTED);
    found->second.serve(call, payload);
}

void Requests::refuse(const Call& call, const std::string& payload, const Failure& why) {
    const auto found = m_rows.find(call.messageId);
    if (found == m_rows.end()) return fail(call, AppConfigWire::UNSUPPORTED);
    found->second.refuse(call, payload, why);
}

void Requests::reply(const Call& call, const google::protobuf::MessageLite& response) {
    m_with.upcalls.reply(call, response);
}

void Requests::fail(const Call& call, AppConfigWire::Status status) {
    m_with.upcalls.fail(call, status);
}

void Requests::logRefusal(const Call& call, const std::string& name, Error error, const std::string& why) const {
    if (error == CommonIF::ERROR_NONE) return;
    m_with.log(LogLevel::info, std::string(ConfigIF::messageName(call.messageId)) +
                                   (name.empty() ? "" : " about " + inPart(name)) + " by " +
                                   displayName(call.client, call.pid) +
                                   " refused: " + CommonIF::eErrorType_Name(error) + (why.empty() ? "" : ", " + why));
}

void Requests::logRefusal(const Call& call, const ConfigIF::Inst& inst, Error error) const {
    if (error == CommonIF::ERROR_NONE) return;
    const Result<VariableName> name = readName(inst, m_with.options.namespaceNumber);
    if (name) return logRefusal(call, displayName(*name), error);
    logRefusal(call, std::string(), error, name.error().reason);
}

int Requests::noteRole(const Call& call, CommonIF::eSecurityRole wire) {
    const int claimed = roleFromWire(wire);
    if (m_with.roles.claim(call.client, claimed)) {
        m_with.notifier.catchUp(call.client);
        m_with.changes.providerArrived();
    }
    return call.internal ? claimed : m_with.roles.effectiveRole(call.client, claimed);
}

Result<Variable*> Requests::lookUp(const ConfigIF::Inst& inst) const {
    const Result<VariableName> name = readName(inst, m_with.options.namespaceNumber);
    if (!name) return failure(name.error());
    Variable* const variable = m_with.catalogue.find(*name);
    if (variable == nullptr || !variable->definition) {
        return failure(CommonIF::ERROR_UNKNOWN_VARIABLE, displayName(*name) + ": there is no such variable");
    }
    return variable;
}

Result<Variable*> Requests::lookUpReadable(const ConfigIF::Inst& inst, int role) const {
    Result<Variable*> found = lookUp(inst);
    if (!found) return found;
    const Result<> allowed = readable(**found, role);
    if (!allowed) return failure(allowed.error());
    return found;
}

void Requests::read(const Call& call, const ConfigIF::ReadReq& request) {
    const int role = noteRole(call, request.role());
    ConfigIF::ReadRsp response;
    const Result<Variable*> found = lookUpReadable(request.inst(), role);
    response.set_error(errorOf(found));
    logRefusal(call, request.inst(), errorOf(found));
    if (found) {
        const Variable& variable = **found;
        for (const std::string& element : variable.row.value) response.add_value(element);
        response.set_is_default(variable.isDefault());
        *response.mutable_revision() = m_with.messages.revision(variable.row.changes.value);
        m_with.notifier.noteRead(call.client, variable, Topic::value);
    }
    reply(call, response);
}

ChangeRequest Requests::changeRequest(const Call& call, ChangeRequest::Kind kind, const std::string& requester,
                                      CommonIF::eSecurityRole role) {
    ChangeRequest request;
    request.kind = kind;
    request.client = call.client;
    request.pid = call.pid;
    noteRole(call, role);
    request.internal = call.internal;
    request.claimedRole = roleFromWire(role);
    request.requester = requester;
    request.awaited = call.awaited;
    return request;
}

template <typename Response>
void Requests::change(const Call& call, const ConfigIF::Inst& inst, ChangeRequest request) {
    const std::string requester = request.requester;
    request.reply = [this, call, requester](const ChangeResult& result) {
        Response response;
        setResult(response, result, requester);
        reply(call, response);
    };
    const Result<Variable*> found = lookUp(inst);
    if (!found) {
        logRefusal(call, inst, found.error().code);
        ChangeResult result;
        result.verdict = failure(found.error());
        result.messages.push_back(found.error().reason);
        return request.reply(result);
    }
    request.variable = *found;
    m_with.changes.submit(std::move(request));
}

void Requests::write(const Call& call, const ConfigIF::WriteReq& request) {
    ChangeRequest change = changeRequest(call, ChangeRequest::Kind::write, request.client_name(), request.role());
    change.proposed = toValue(request.inst_value().value());
    this->change<ConfigIF::WriteRsp>(call, request.inst_value().inst(), std::move(change));
}

void Requests::validate(const Call& call, const ConfigIF::ValidateReq& request) {
    ChangeRequest change = changeRequest(call, ChangeRequest::Kind::validate, request.client_name(), request.role());
    change.proposed = toValue(request.inst_value().value());
    this->change<ConfigIF::ValidateRsp>(call, request.inst_value().inst(), std::move(change));
}

void Requests::resetValue(const Call& call, const ConfigIF::ResetValueReq& request) {
    change<ConfigIF::ResetValueRsp>(
        call, request.inst(), changeRequest(call, ChangeRequest::Kind::reset, request.client_name(), request.role()));
}

void Requests::setOptions(const Call& call, const ConfigIF::SetAttributeOptionsReq& request) {
    ChangeRequest change = changeRequest(call, ChangeRequest::Kind::options, request.client_name(), request.role());
    change.options = toValue(request.option());
    if (request.has_default_index()) change.defaultIndex = request.default_index();
    this->change<ConfigIF::SetAttributeOptionsRsp>(call, request.inst(), std::move(change));
}

void Requests::getOptions(const Call& call, const ConfigIF::GetAttributeOptionsReq& request) {
    const int role = noteRole(call, request.role());
    ConfigIF::GetAttributeOptionsRsp response;
    const Result<Variable*> found = lookUpReadable(request.inst(), role);
    response.set_error(errorOf(found));
    logRefusal(call, request.inst(), errorOf(found));
    if (found) {
        const Variable& variable = **found;
        response.set_default_index(variable.row.defaultIndex);
        for (const std::string& option : variable.row.options) response.add_option(option);
        m_with.notifier.noteRead(call.client, variable, Topic::options);
    }
    reply(call, response);
}

void Requests::getDefaultOptions(const Call& call, const ConfigIF::GetDefaultOptionsReq& request) {
    const int role = noteRole(call, request.role());
    ConfigIF::GetDefaultOptionsRsp response;
    const Variable* variable = m_with.catalogue.findByFullName(lowered(request.name()));
    if (variable == nullptr) {
        response.set_error(CommonIF::ERROR_UNKNOWN_VARIABLE);
    } else {
        response.set_error(errorOf(readable(*variable, role)));
    }
    logRefusal(call, request.name(), response.error());
    if (response.error() == CommonIF::ERROR_NONE) {
        response.set_default_index(variable->definition->defaultIndex);
        for (const std::string& option : variable->definition->options) response.add_option(option);
    }
    reply(call, response);
}

}  // namespace AppConfigService
