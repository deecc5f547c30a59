#include <list>
#include <string>
#include <vector>

#include "AppConfig/PlatformCfgService.h"
#include "Commands.h"
#include "Session.h"

namespace AppConfigTool {
namespace {

using nlohmann::ordered_json;

std::string lines(const std::list<std::string>& value) {
    std::string text;
    for (const std::string& element : value) {
        if (&element != &value.front()) text += "\n";
        text += element;
    }
    return text;
}

void addNotes(Session& session, const std::string& subject, const ConfigResult& result) {
    for (const std::string& message : result.m_messages) session.output().complain(subject + ": " + message);
}

/// What an awaited write or a validation came to.
ExitStatus conclude(Session& session, const std::string& subject, bool done, const ConfigResult& result) {
    if (done) {
        addNotes(session, subject, result);
        return ExitStatus::done;
    }
    if (result.m_error != CFG_ERROR_NONE) {
        return session.fail(subject, Session::refusal(result.m_error, result.m_messages));
    }
    return session.fail(subject, session.failureOr(ExitStatus::refused, "refused"));
}

std::list<std::string> proposed(const Arguments& arguments) {
    return {arguments.value.begin(), arguments.value.end()};
}

}  // namespace

ExitStatus getValue(Session& session) {
    const VariableArgument& name = session.arguments().variables.front();
    const ConfigVar var = name.var();
    std::list<std::string> value;
    session.manager().getConfigVar(var, value);
    if (const auto done = session.outcome(); !done) return session.fail(name.text(), done.error());
    ordered_json object = {{"variable", name.text()}};
    std::string text;
    // The value is in the cache by now, so the typed reads below send nothing.
    switch (session.arguments().as) {
        case Arguments::As::elements:
        case Arguments::As::list:
            object["value"] = value;
            text = lines(value);
            break;
        case Arguments::As::text:
            text = session.manager().getConfigVar(var);
            object["value"] = text;
            break;
        case Arguments::As::boolean: {
            const bool truth = session.manager().getConfigVarBool(var);
            object["value"] = truth;
            text = truth ? "true" : "false";
            break;
        }
        case Arguments::As::integer: {
            const int number = session.manager().getConfigVarInt(var);
            object["value"] = number;
            text = std::to_string(number);
            break;
        }
    }
    session.output().result(object, text);
    return ExitStatus::done;
}

ExitStatus setValue(Session& session) {
    const VariableArgument& name = session.arguments().variables.front();
    const std::list<std::string> value = proposed(session.arguments());
    if (session.arguments().noWait) {
        if (!session.manager().setConfigVar(name.var(), value)) {
            return session.fail(name.text(), session.failureOr(ExitStatus::notReachable, "not sent"));
        }
        session.output().result({{"variable", name.text()}, {"value", value}, {"awaited", false}},
                                name.text() + " = " + valueText(value) + " (sent one-way)");
        return ExitStatus::done;
    }
    ConfigResult result;
    const bool done = session.manager().setConfigVar(name.var(), value, &result);
    const ExitStatus status = conclude(session, name.text(), done, result);
    if (done) {
        session.output().result({{"variable", name.text()}, {"value", value}, {"awaited", true}},
                                name.text() + " = " + valueText(value));
    }
    return status;
}

ExitStatus validateValue(Session& session) {
    const VariableArgument& name = session.arguments().variables.front();
    const std::list<std::string> value = proposed(session.arguments());
    ConfigResult result;
    const bool valid = session.manager().isValid(name.var(), value, &result);
    if (valid || result.m_error != CFG_ERROR_NONE) {
        session.output().result({{"variable", name.text()},
                                 {"value", value},
                                 {"valid", valid},
                                 {"error", static_cast<int>(result.m_error)},
                                 {"messages", result.m_messages}},
                                valid ? "valid" : "not valid");
    }
    return conclude(session, name.text(), valid, result);
}

ExitStatus resetVariable(Session& session) {
    const VariableArgument& name = session.arguments().variables.front();
    const ConfigVar var = name.var();
    // The manager's own reset names no namespace; one that was asked for must travel, or another variable is reset.
    const bool done = var.m_namespace == 0 ? session.manager().resetValue(var.m_node, var.m_nodeInstance,
                                                                          var.m_attribute, var.m_attributeInstance)
                                           : session.manager().getPlatformCfgService()->resetValue(var);
    if (!done) {
        return session.fail(name.text(), session.failureOr(ExitStatus::refused, "refused"));
    }
    session.output().result({{"variable", name.text()}, {"reset", true}}, name.text() + " reset");
    return ExitStatus::done;
}

ExitStatus showRecord(Session& session) {
    const VariableArgument& name = session.arguments().variables.front();
    const ConfigVar var = name.var();
    // The record's own list is not asked for: an empty one makes the library write a line among the results.
    std::vector<std::string> options;
    session.manager().getConfigOptions(var.m_node, var.m_nodeInstance, var.m_attribute, var.m_attributeInstance,
                                       options);
    const AppConfig::ConfigValue record =
        session.manager().getConfigValue(var.m_node, var.m_nodeInstance, var.m_attribute, var.m_attributeInstance);
    if (const auto done = session.outcome(); !done) return session.fail(name.text(), done.error());
    const AppConfig::ConfigAccessLevels levels = record.accessLevels();
    ordered_json object = {{"variable", name.text()}, {"value", record.getValue()}, {"is_default", record.isDefault()}};
    std::string text = name.text() + "\n  value    " + valueText(record.getValue()) +
                       (record.isDefault() ? "  (the default)" : "") + "\n  read     role " +
                       std::to_string(levels.readRole) + "\n  write    role " + std::to_string(levels.writeRole) +
                       "\n  options  ";
    object["read_level"] = static_cast<int>(levels.readRole);
    object["write_level"] = static_cast<int>(levels.writeRole);
    object["options"] = options;
    if (options.empty()) {
        text += "any value";
    } else {
        object["default_index"] = record.defaultIndex();
        text +=
            valueText({options.begin(), options.end()}) + ", default index " + std::to_string(record.defaultIndex());
    }
    session.output().result(object, text);
    return ExitStatus::done;
}

}  // namespace AppConfigTool
