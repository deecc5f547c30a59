#include <algorithm>
#include <string>
#include <vector>

#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProtobufMessageHelper.h"
#include "Commands.h"
#include "Session.h"
#include "configadmin.pb.h"

namespace AppConfigTool {
namespace {

using nlohmann::ordered_json;

/// The role that the session speaks with, as it travels.
CommonIF::eSecurityRole wireRole(const Arguments& arguments) {
    return AppConfig::PlatformCfgService::enumTranslate(
        static_cast<AppConfig::SecurityRole>(arguments.role.value_or(AppConfig::SECURITY_ROLE_1)));
}

int roleNumber(CommonIF::eSecurityRole role) {
    return AppConfig::PlatformCfgService::enumTranslate(role);
}

ConfigVar varOf(const ConfigIF::Inst& inst) {
    std::string node;
    std::string attribute;
    int nodeInstance = 0;
    int attributeInstance = 0;
    AppConfig::ProtobufMessageHelper::getConfigVarName(node, nodeInstance, attribute, attributeInstance, inst);
    ConfigVar var;
    var.init(AppConfig::ProtobufMessageHelper::getConfigVarNamespace(inst), node, nodeInstance, attribute,
             attributeInstance);
    return var;
}

std::list<std::string> listOf(const google::protobuf::RepeatedPtrField<std::string>& texts) {
    return {texts.begin(), texts.end()};
}

ordered_json objectOf(const ConfigAdmin::VariableInfo& info) {
    ordered_json object = {{"variable", variableText(varOf(info.inst()))},
                           {"type", ConfigAdmin::VariableType_Name(info.type())},
                           {"read_level", roleNumber(info.read_level())},
                           {"write_level", roleNumber(info.write_level())}};
    // Without a default flag the role does not reach the value.
    if (info.has_is_default()) {
        object["value"] = listOf(info.value());
        object["is_default"] = info.is_default();
        object["default"] = listOf(info.default_value());
    }
    if (info.option_size() > 0) {
        object["options"] = listOf(info.option());
        object["default_index"] = info.default_index();
    }
    if (info.has_minimum()) object["minimum"] = info.minimum();
    if (info.has_maximum()) object["maximum"] = info.maximum();
    if (info.has_max_length()) object["max_length"] = info.max_length();
    if (info.has_pattern()) object["pattern"] = info.pattern();
    if (info.has_max_elements()) object["max_elements"] = info.max_elements();
    if (info.namespace_scoped()) object["namespace_scoped"] = true;
    return object;
}

std::string padded(std::string text, std::size_t width) {
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text;
}

}  // namespace

ExitStatus listVariables(Session& session) {
    ConfigAdmin::ListVariablesReq request;
    ConfigAdmin::ListVariablesRsp reply;
    request.set_client_name(session.transport().localEndpoint());
    request.set_role(wireRole(session.arguments()));
    request.set_pattern(session.arguments().pattern);
    const int status = session.transport().sendWaitResponse(request, &reply, session.endpoint());
    const std::string subject = session.arguments().pattern.empty() ? "list" : session.arguments().pattern;
    if (const auto done = session.outcome(); !done) return session.fail(subject, done.error());
    if (status != 0) return session.fail(subject, {ExitStatus::notReachable, "no answer"});
    std::size_t width = 0;
    for (const auto& info : reply.variable()) width = std::max(width, variableText(varOf(info.inst())).size());
    for (const auto& info : reply.variable()) {
        const std::string value =
            info.has_is_default() ? valueText(listOf(info.value())) : "(its read level is above this role)";
        session.output().result(objectOf(info), padded(variableText(varOf(info.inst())), width) + "  " +
                                                    padded(ConfigAdmin::VariableType_Name(info.type()), 4) + "  read " +
                                                    std::to_string(roleNumber(info.read_level())) + "  write " +
                                                    std::to_string(roleNumber(info.write_level())) + "  " + value);
    }
    return ExitStatus::done;
}

ExitStatus submitVariable(Session& session) {
    const VariableArgument& name = session.arguments().variables.front();
    ConfigAdmin::SubmitReq request;
    ConfigAdmin::SubmitRsp reply;
    request.set_client_name(session.transport().localEndpoint());
    request.set_role(wireRole(session.arguments()));
    AppConfig::ProtobufMessageHelper::addVarName(request.mutable_inst(), name.var());
    request.set_submit_type(session.arguments().submitType == 0 ? ConfigIF::SUBMIT_TYPE_0 : ConfigIF::SUBMIT_TYPE_1);
    const int status = session.transport().sendWaitResponse(request, &reply, session.endpoint());
    if (const auto done = session.outcome(); !done) return session.fail(name.text(), done.error());
    if (status != 0) return session.fail(name.text(), {ExitStatus::notReachable, "no answer"});
    session.output().result({{"variable", name.text()}, {"submitted", session.arguments().submitType}},
                            name.text() + ": submitted");
    return ExitStatus::done;
}

}  // namespace AppConfigTool
