#include <list>
#include <string>
#include <utility>

#include "AppConfig/ConfigRegistrar.h"
#include "Commands.h"
#include "EventPrinter.h"
#include "Session.h"
#include "VariableArgument.h"

namespace AppConfigTool {
namespace {

/// Prints what the library tells it of one name on the command line.
class Watcher : public ConsumerConfigHandler {
public:
    /// With \p below, the name stands for a node: what carries exactly its dotted name is another watcher's.
    Watcher(VariableArgument name, bool below, EventPrinter& printer)
        : m_name(std::move(name)), m_below(below), m_printer(printer) {}

    void want(int kind) {
        m_wantsChange = m_wantsChange || kind == ConfigRegistrar::CONFIG_CHANGED;
        m_wantsOptions = m_wantsOptions || kind == ConfigRegistrar::OPTIONS_CHANGED;
        m_wantsSubmit = m_wantsSubmit || kind == ConfigRegistrar::SUBMIT;
        m_wantsAccessLevels = m_wantsAccessLevels || kind == ConfigRegistrar::ACCESS_LEVELS_CHANGED;
    }

    void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const std::list<std::string>& value, const std::string&) override {
        print("change", varOf(node, nodeInstance, attribute, attributeInstance), "value", value, valueText(value));
    }
    void onSubmit(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                  int submitType, const std::string&) override {
        print("submit", varOf(node, nodeInstance, attribute, attributeInstance), "type", submitType,
              "type " + std::to_string(submitType));
    }
    void onOptionsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, std::list<std::string> options, std::string) override {
        const std::string text = options.empty() ? "any value" : valueText(options);
        print("options", varOf(node, nodeInstance, attribute, attributeInstance), "options", options, text);
    }
    void onAccessLevelsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                               int attributeInstance, AppConfig::SecurityRole readRole,
                               AppConfig::SecurityRole writeRole, std::string) override {
        print("access", varOf(node, nodeInstance, attribute, attributeInstance), "levels",
              {{"read", static_cast<int>(readRole)}, {"write", static_cast<int>(writeRole)}},
              "read " + std::to_string(readRole) + " write " + std::to_string(writeRole));
    }

private:
    /// Registrations do not tell instances apart; a name that writes one does.
    bool meant(const ConfigVar& var) const {
        if (m_below && var.getFQName() == m_name.dotted()) return false;
        return (!m_name.nodeInstance || *m_name.nodeInstance == var.m_nodeInstance) &&
               (!m_name.attributeInstance || *m_name.attributeInstance == var.m_attributeInstance);
    }

    void print(const char* kind, const ConfigVar& var, const char* key, const nlohmann::ordered_json& state,
               const std::string& text) {
        if (meant(var)) m_printer.event(kind, variableText(var), key, state, text);
    }

    const VariableArgument m_name;
    const bool m_below;
    EventPrinter& m_printer;
};

/// `net.wifi` may be a variable or a node: it is watched as both, unless an instance behind it says variable.
std::list<std::pair<VariableArgument, bool>> readings(const VariableArgument& name) {
    std::list<std::pair<VariableArgument, bool>> result;
    if (!name.attribute.empty()) result.emplace_back(name, false);
    if (!name.attributeInstance) {
        VariableArgument node = name;
        node.node = name.dotted();
        node.attribute.clear();
        result.emplace_back(node, !name.attribute.empty());
    }
    return result;
}

}  // namespace

ExitStatus watchVariables(const Arguments& arguments, Output& output) {
    const EndSignals signals;
    EventPrinter printer(output);
    std::list<Watcher> watchers;
    Session session(arguments, output, ServiceConnectionEvents(printer));
    for (const VariableArgument& name : arguments.variables) {
        for (auto& [reading, below] : readings(name)) {
            Watcher& watcher = watchers.emplace_back(reading, below, printer);
            for (const int kind : arguments.kinds) watcher.want(kind);
            registerHandler(reading.node, reading.attribute, &watcher, &session.manager());
            if (const auto done = session.registrationOutcome(); !done) return session.fail(name.text(), done.error());
        }
    }
    for (const VariableArgument& name : arguments.variables) output.complain("watching " + name.text());
    signals.waitForEnd();
    return ExitStatus::done;
}

}  // namespace AppConfigTool
