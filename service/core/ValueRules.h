#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/VariableDefinition.h"

/// What a variable takes: type, limits, options. Every refusal names the variable and the limit. Pure functions; any
/// thread; nothing blocks.
namespace AppConfigService {

/// \return how people write the variable: `net.wifi[1].ssid`; instances of 0 are left out.
std::string displayName(const VariableName& name);

/// Reads a whole number as the library does: decimal, 0x and hexadecimal, or 0 and octal, with an optional sign.
/// \return nothing when \p text is not such a number from the first byte to the last or does not fit into 32 bits.
std::optional<std::int64_t> readNumber(const std::string& text);

/// \return whether \p text is one value, or one element of a list, that has the variable's type and keeps its limits.
/// Options are not looked at.
Result<> checkElement(const VariableDefinition& definition, const std::string& text);

/// \return whether the variable may hold \p value while \p options are its options.
Result<> checkValue(const VariableDefinition& definition, const Value& options, const Value& value);

/// \return whether \p options may be the variable's options with \p defaultIndex among them; without options the index
/// must be 0.
Result<> checkOptions(const VariableDefinition& definition, const Value& options, std::uint32_t defaultIndex);

/// \return the value that the variable takes when nobody has set one: the defined default if the options allow it, else
/// the option at \p defaultIndex.
Value effectiveDefault(const VariableDefinition& definition, const Value& options, std::uint32_t defaultIndex);

/// \return whether both values mean the same: numbers are compared as numbers, booleans ignoring case, all else by
/// bytes.
bool sameMeaning(const VariableDefinition& definition, const Value& one, const Value& other);

}  // namespace AppConfigService
