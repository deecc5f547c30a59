#pragma once

#include <re2/re2.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "configadmin.pb.h"
#include "core/Types.h"
#include "wire/VariableName.h"

namespace AppConfigService {

/// What an integrator has laid down about one variable. A plain value that nobody changes once it is checked.
struct VariableDefinition {
    VariableName name;  ///< namespace 0; the service knows which namespace it serves
    ConfigAdmin::VariableType type = ConfigAdmin::TEXT;
    Value defaultValue;
    Value options;                   ///< empty: any value of the type within the limits
    std::uint32_t defaultIndex = 0;  ///< of the options
    int readLevel = 0;
    int writeLevel = 0;
    std::optional<std::int64_t> minimum;       ///< INT only
    std::optional<std::int64_t> maximum;       ///< INT only
    std::optional<std::uint32_t> maxLength;    ///< bytes; TEXT, and each element of a LIST
    std::string pattern;                       ///< RE2, must match the whole text; TEXT, and each element of a LIST
    std::shared_ptr<const RE2> matcher;        ///< compiled pattern; null without one
    std::optional<std::uint32_t> maxElements;  ///< LIST only
    bool namespaceScoped = false;
    bool needsProvider = false;  ///< it changes only if a connected provider validates the value
    std::string where;           ///< FILE:LINE, for messages
};

/// All definitions together.
struct Definitions {
    std::vector<VariableDefinition> variables;  ///< no two of the same name
    std::map<std::uint32_t, int> roleLimits;    ///< highest role by user
    /// By user, the nodes and variables that it provides whatever role it may claim; full names in lower case.
    std::map<std::uint32_t, std::vector<std::string>> providers;
};

}  // namespace AppConfigService
