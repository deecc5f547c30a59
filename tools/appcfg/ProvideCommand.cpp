#include <list>
#include <string>
#include <vector>

#include "CommandProcess.h"
#include "Commands.h"
#include "EventPrinter.h"
#include "Session.h"

namespace AppConfigTool {
namespace {

/// Validates proposed values as the command line says, and prints each answer and each value to be applied.
class Provider : public ProviderConfigHandler {
public:
    Provider(const Arguments& arguments, EventPrinter& printer) : m_arguments(arguments), m_printer(printer) {}

    bool onDynamicValidate(const std::string& node, int nodeInstance, const std::string& attribute,
                           int attributeInstance, const std::list<std::string>& value, AppConfig::SecurityRole,
                           ConfigResult& result) override {
        const std::string name = variableText(varOf(node, nodeInstance, attribute, attributeInstance));
        const CommandVerdict verdict = validate(name, value);
        m_printer.event(
            verdict.accepted ? "accept" : "refuse", name, "value", value,
            valueText(value) + (verdict.accepted || verdict.message.empty() ? "" : "  (" + verdict.message + ")"));
        if (verdict.accepted) return true;
        if (!verdict.message.empty()) result.addResultMessage(verdict.message);
        return result.fillConfigResult(false, CFG_ERROR_REJECTED, false);
    }

    bool onChange(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                  const std::list<std::string>& value, AppConfig::SecurityRole, ConfigResult&) override {
        m_printer.event("apply", variableText(varOf(node, nodeInstance, attribute, attributeInstance)), "value", value,
                        valueText(value));
        return true;
    }

private:
    CommandVerdict validate(const std::string& name, const std::list<std::string>& value) const {
        switch (m_arguments.validation) {
            case Arguments::Validation::accept: break;
            case Arguments::Validation::reject: return {false, m_arguments.rejection};
            case Arguments::Validation::execute: {
                std::vector<std::string> words = {name};
                words.insert(words.end(), value.begin(), value.end());
                return runCommand(m_arguments.validationCommand, words, m_arguments.commandDeadline);
            }
        }
        return {true, {}};
    }

    const Arguments& m_arguments;
    EventPrinter& m_printer;
};

}  // namespace

ExitStatus provideVariable(const Arguments& arguments, Output& output) {
    const EndSignals signals;
    EventPrinter printer(output);
    Provider provider(arguments, printer);
    Session session(arguments, output, ServiceConnectionEvents(printer));
    for (const VariableArgument& name : arguments.variables) {
        registerHandler(name.node, name.attribute, &provider, &session.manager());
        if (const auto done = session.registrationOutcome(); !done) return session.fail(name.text(), done.error());
        output.complain("providing " + name.text());
    }
    signals.waitForEnd();
    return ExitStatus::done;
}

}  // namespace AppConfigTool
