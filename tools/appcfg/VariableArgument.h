#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "AppConfig/ConfigVar.h"
#include "ToolResult.h"

namespace AppConfigTool {

/// A variable as people write it: `[namespace:]node[instance].attribute[instance]`. The last dot separates node
/// and attribute; instances that are not written are 0. A value type.
struct VariableArgument {
    int namespaceId = 0;
    std::string node;
    std::optional<int> nodeInstance;
    std::string attribute;  ///< empty: the whole node is meant
    std::optional<int> attributeInstance;

    /// Reads \p text, in which a node and an attribute must both stand.
    /// Fails with ExitStatus::usage.
    static Result<VariableArgument> parse(std::string_view text);

    /// As parse(), but a text without a dot is a whole node.
    static Result<VariableArgument> parseVariableOrNode(std::string_view text);

    /// \return the identity under which the library knows the variable.
    ConfigVar var() const;

    /// \return the dotted name without namespace and instances, in lower case: what registrations travel under.
    std::string dotted() const { return var().getFQName(); }

    /// \return the canonical text: lower case, with those instances and namespaces that are not 0.
    std::string text() const;
};

/// \return the canonical text of \p var, as VariableArgument::text() writes it.
std::string variableText(const ConfigVar& var);

}  // namespace AppConfigTool
