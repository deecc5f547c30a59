#include <list>
#include <string>
#include <utility>
#include <vector>

#include "AppConfig/PlatformCfgService.h"
#include "Commands.h"
#include "Session.h"

namespace AppConfigTool {
namespace {

using AppConfig::SecurityRole;

ExitStatus printOptions(Session& session, const std::string& subject, const std::vector<std::string>& options,
                        unsigned defaultIndex) {
    std::list<std::string> lines;
    for (std::size_t i = 0; i < options.size(); ++i) {
        lines.push_back(options[i] + (i == defaultIndex ? "  (default)" : ""));
    }
    if (options.empty()) lines.emplace_back("any value");
    session.output().result({{"variable", subject}, {"options", options}, {"default_index", defaultIndex}}, lines);
    return ExitStatus::done;
}

ExitStatus setOptions(Session& session, const VariableArgument& name) {
    const Arguments& arguments = session.arguments();
    const std::vector<std::string>& options = *arguments.newOptions;
    const ConfigVar var = name.var();
    AppConfig::AppCfgManager& manager = session.manager();
    bool done = false;
    if (var.m_namespace != 0) {
        // As for a reset: the manager's own form names no namespace.
        unsigned index = arguments.defaultIndex.value_or(0);
        done = manager.getPlatformCfgService()->setConfigOptions(var, {options.begin(), options.end()},
                                                                 arguments.defaultIndex ? &index : nullptr);
    } else if (arguments.defaultIndex) {
        done = manager.setConfigOptions(var.m_node, var.m_nodeInstance, var.m_attribute, var.m_attributeInstance,
                                        options, *arguments.defaultIndex);
    } else {
        done =
            manager.setConfigOptions(var.m_node, var.m_nodeInstance, var.m_attribute, var.m_attributeInstance, options);
    }
    if (!done) {
        return session.fail(name.text(), session.failureOr(ExitStatus::refused, "refused"));
    }
    session.output().result({{"variable", name.text()}, {"options", options}, {"set", true}},
                            name.text() + ": options " + valueText({options.begin(), options.end()}));
    return ExitStatus::done;
}

ExitStatus printLevels(Session& session) {
    ExitStatus status = ExitStatus::done;
    for (const VariableArgument& name : session.arguments().variables) {
        SecurityRole read = AppConfig::SECURITY_ROLE_NONE;
        SecurityRole write = AppConfig::SECURITY_ROLE_NONE;
        if (!session.manager().getAccessLevels(name.var(), &read, &write)) {
            status = session.fail(name.text(), session.failureOr(ExitStatus::refused, "no levels known"));
            continue;
        }
        session.output().result({{"variable", name.text()},
                                 {"read_level", static_cast<int>(read)},
                                 {"write_level", static_cast<int>(write)}},
                                name.text() + "  read " + std::to_string(read) + "  write " + std::to_string(write));
    }
    return status;
}

}  // namespace

ExitStatus showOrSetOptions(Session& session) {
    const Arguments& arguments = session.arguments();
    const VariableArgument& name = arguments.variables.front();
    if (arguments.newOptions) return setOptions(session, name);
    const ConfigVar var = name.var();
    std::vector<std::string> options;
    unsigned index = 0;
    if (arguments.defaultOptions) {
        session.manager().getConfigDefaultOptions(var.m_node, var.m_nodeInstance, var.m_attribute,
                                                  var.m_attributeInstance, options);
        if (const auto done = session.outcome(); !done) return session.fail(name.text(), done.error());
        session.manager().getConfigOptionDefaultIndex(var.m_node, var.m_nodeInstance, var.m_attribute,
                                                      var.m_attributeInstance, index);
    } else {
        session.manager().getConfigOptions(var, options);
        if (const auto done = session.outcome(); !done) return session.fail(name.text(), done.error());
        session.manager().getConfigOptionDefaultIndex(var, index);
    }
    return printOptions(session, name.text(), options, index);
}

ExitStatus showOrSetAccess(Session& session) {
    const Arguments& arguments = session.arguments();
    if (!arguments.readRole && !arguments.writeRole && !arguments.readOnly && !arguments.hidden) {
        return printLevels(session);
    }
    std::list<ConfigVar> vars;
    for (const VariableArgument& name : arguments.variables) vars.push_back(name.var());
    std::list<std::pair<ConfigVar, eErrorT>> errors;
    bool done = false;
    if (arguments.readOnly) {
        done = session.manager().setAccessReadOnly(vars, errors);
    } else if (arguments.hidden) {
        done = session.manager().setAccessHidden(vars, errors);
    } else {
        const auto read = static_cast<SecurityRole>(arguments.readRole.value_or(0));
        const auto write = static_cast<SecurityRole>(arguments.writeRole.value_or(0));
        done = session.manager().setAccessLevels(vars, arguments.readRole ? &read : nullptr,
                                                 arguments.writeRole ? &write : nullptr, errors);
    }
    if (!done && errors.empty()) {
        return session.fail(arguments.variables.front().text(), session.failureOr(ExitStatus::refused, "refused"));
    }
    for (const auto& [var, error] : errors) session.fail(variableText(var), Session::refusal(error, {}));
    for (const ConfigVar& var : vars) {
        bool refused = false;
        // A refusal comes back without the namespace that was asked for.
        for (const auto& [other, error] : errors) {
            refused = refused || (other.getFQName() == var.getFQName() && other.m_nodeInstance == var.m_nodeInstance &&
                                  other.m_attributeInstance == var.m_attributeInstance);
        }
        if (!refused) {
            session.output().result({{"variable", variableText(var)}, {"set", true}},
                                    variableText(var) + ": levels set");
        }
    }
    return done ? ExitStatus::done : ExitStatus::refused;
}

}  // namespace AppConfigTool
