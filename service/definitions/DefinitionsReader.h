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

/// Reads definitions in protobuf's text format and checks them against themselves.
/// \return whether all of \p texts are fine. If not, \p definitions is untouched and \p complaints gets one line for
/// each fault, `FILE:LINE: reason`. Any thread; does not block.
bool readDefinitions(const std::vector<DefinitionsText>& texts, Definitions& definitions,
                     std::vector<std::string>& complaints);

/// The same for files. A file that cannot be read is a fault like any other. Blocks while it reads.
bool readDefinitionFiles(const std::vector<std::string>& files, Definitions& definitions,
                         std::vector<std::string>& complaints);

}  // namespace AppConfigService
