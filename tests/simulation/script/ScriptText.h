#pragma once

#include <string>

#include "script/Script.h"

namespace Simulation {

/// \return \p script as text: one line for each operation and fault, in words. Reading it gives the same script.
std::string toText(const Script& script);

/// Reads what toText() has written; lines that begin with # and empty ones count for nothing.
/// \return whether it could be read; if not, \p error has one sentence with the line's number.
bool fromText(const std::string& text, Script& script, std::string& error);

}  // namespace Simulation
