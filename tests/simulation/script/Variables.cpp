#include "script/Variables.h"

#include <cstdio>
#include <cstdlib>

#include "definitions/DefinitionsReader.h"

namespace Simulation {

namespace {

constexpr const char* common = R"(
variable { node: "alpha" attribute: "list" type: LIST default_value: "l" default_value: "m" }
variable { node: "beta" node_instance: 1 attribute: "flag" attribute_instance: 3 type: BOOL default_value: "false" }
variable { node: "gamma" attribute: "owned" type: TEXT default_value: "g0" }
variable { node: "gamma" node_instance: 1 attribute: "owned" attribute_instance: 2 type: INT default_value: "7" }
variable { node: "delta" attribute: "scoped" type: TEXT default_value: "d0" namespace_scoped: true }
)";

// Each set differs from the first in what a definition may change: defaults, options, levels, limits of roles, and
// whether there is a variable at all.
constexpr const char* sets[definitionSets] = {
    R"(
variable { node: "alpha" attribute: "text" type: TEXT default_value: "a0" }
variable { node: "alpha" node_instance: 2 attribute: "text" attribute_instance: 1 type: TEXT default_value: "b0" }
variable { node: "alpha.sub" attribute: "count" type: INT default_value: "1" }
variable { node: "beta" attribute: "mode" type: TEXT option: "day" option: "night" option: "auto" }
variable { node: "beta" attribute: "secret" type: TEXT default_value: "s0" read_level: 2 write_level: 3 }
variable { node: "delta" attribute: "free" type: TEXT option: "one" option: "two" default_index: 1 }
)",
    R"(
variable { node: "alpha" attribute: "text" type: TEXT default_value: "a1" }
variable { node: "alpha" node_instance: 2 attribute: "text" attribute_instance: 1 type: TEXT default_value: "b1" }
variable { node: "alpha.sub" attribute: "count" type: INT default_value: "1" }
variable { node: "beta" attribute: "mode" type: TEXT option: "day" option: "night" }
variable { node: "beta" attribute: "secret" type: TEXT default_value: "s0" read_level: 1 write_level: 1 }
variable { node: "delta" attribute: "free" type: TEXT option: "one" option: "two" default_index: 1 }
)",
    R"(
variable { node: "alpha" attribute: "text" type: TEXT default_value: "a0" }
variable { node: "alpha" node_instance: 2 attribute: "text" attribute_instance: 1 type: TEXT default_value: "b0" }
variable { node: "alpha.sub" attribute: "count" type: INT default_value: "2" }
variable { node: "beta" attribute: "mode" type: TEXT option: "auto" option: "day" option: "night" }
variable { node: "beta" attribute: "secret" type: TEXT default_value: "s0" read_level: 2 write_level: 3 }
role_limit { uid: 2000 role: 3 }
)",
    R"(
variable { node: "alpha" attribute: "text" type: TEXT default_value: "a2" }
variable { node: "alpha" node_instance: 2 attribute: "text" attribute_instance: 1 type: TEXT default_value: "b0" }
variable { node: "alpha.sub" attribute: "count" type: INT default_value: "1" }
variable { node: "beta" attribute: "mode" type: TEXT option: "day" option: "night" option: "auto" }
variable { node: "beta" attribute: "secret" type: TEXT default_value: "s0" read_level: 3 write_level: 3 }
variable { node: "delta" attribute: "free" type: TEXT option: "two" option: "three" }
role_limit { uid: 2000 role: 0 }
)"};

}  // namespace

const std::vector<VariableKind>& variables() {
    static const std::vector<VariableKind> all = {
        {{"alpha", 0, "text", 0}, Type::text, false},        {{"alpha", 2, "text", 1}, Type::text, false},
        {{"alpha.sub", 0, "count", 0}, Type::number, false}, {{"alpha", 0, "list", 0}, Type::list, false},
        {{"beta", 1, "flag", 3}, Type::flag, false},         {{"beta", 0, "mode", 0}, Type::option, false},
        {{"beta", 0, "secret", 0}, Type::text, false},       {{"gamma", 0, "owned", 0}, Type::text, true},
        {{"gamma", 1, "owned", 2}, Type::number, true},      {{"delta", 0, "scoped", 0}, Type::text, false},
        {{"delta", 0, "free", 0}, Type::option, false},
    };
    return all;
}

const std::string& display(int variable) {
    static const std::vector<std::string> names = [] {
        const auto part = [](const std::string& text, int instance) {
            return instance == 0 ? text : text + "[" + std::to_string(instance) + "]";
        };
        std::vector<std::string> all;
        for (const VariableKind& kind : variables()) {
            all.push_back(part(kind.name.node, kind.name.nodeInstance) + "." +
                          part(kind.name.attribute, kind.name.attributeInstance));
        }
        return all;
    }();
    static const std::string none = "an unknown variable";
    return variable < 0 ? none : names[static_cast<std::size_t>(variable)];
}

std::vector<VariableName> variableNames() {
    std::vector<VariableName> names;
    for (const VariableKind& variable : variables()) names.push_back(variable.name);
    return names;
}

std::string definitionText(std::size_t number) {
    return std::string(common) + sets[number];
}

std::vector<AppConfigService::Definitions> readDefinitionSets() {
    std::vector<AppConfigService::Definitions> result;
    for (const char* set : sets) {
        auto definitions = AppConfigService::readDefinitions({{"common", common}, {"set", set}});
        if (!definitions) {
            for (const std::string& complaint : definitions.error()) std::fprintf(stderr, "%s\n", complaint.c_str());
            std::exit(2);
        }
        result.push_back(std::move(*definitions));
    }
    return result;
}

bool isDefault(const AppConfigService::Definitions& definitions, const AppConfigService::VariableRow& row) {
    for (const AppConfigService::VariableDefinition& definition : definitions.variables) {
        if (definition.name != row.name) continue;
        AppConfigService::Variable variable;
        variable.row = row;
        variable.definition =
            std::shared_ptr<const AppConfigService::VariableDefinition>(std::shared_ptr<void>(), &definition);
        return variable.isDefault();
    }
    return false;
}

}  // namespace Simulation
