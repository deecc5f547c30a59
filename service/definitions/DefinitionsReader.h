#pragma once

#include <string>
#include <vector>

#include "core/VariableDefinition.h"

namespace AppConfigService {

/// One text with definitions and the name that complaints give it.
struct DefinitionsText {
    std::string file;
    std::string text;
};

/// One line for each fault of definitions, `FILE:LINE: reason`; whoever edits them wants to know all at once.
using Complaints = std::vector<std::string>;

/// Reads definitions in protobuf's text format and checks them against themselves.
/// \return what \p texts define together, or what is wrong with them. Any thread; does not block.
tl::expected<Definitions, Complaints> readDefinitions(const std::vector<DefinitionsText>& texts);

/// The same for files. A file that cannot be read is a fault like any other; then no text is looked at. Blocks while it
/// reads.
tl::expected<Definitions, Complaints> readDefinitionFiles(const std::vector<std::string>& files);

}  // namespace AppConfigService
