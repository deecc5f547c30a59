// Whatever stands in a file of definitions, it is read whole, with values that its own limits allow, or refused with a
// file and a line for each fault.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/ValueRules.h"
#include "definitions/DefinitionsReader.h"

using namespace AppConfigService;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto definitions = readDefinitions({{"file", text}});
    if (!definitions) {
        if (definitions.error().empty()) std::abort();
        for (const std::string& complaint : definitions.error()) {
            if (complaint.compare(0, 5, "file:") != 0) std::abort();
        }
        return 0;
    }
    for (const VariableDefinition& definition : definitions->variables) {
        if (!checkValue(definition, definition.options, definition.defaultValue)) std::abort();
        if (!checkOptions(definition, definition.options, definition.defaultIndex)) std::abort();
    }
    return 0;
}
