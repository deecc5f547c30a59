#pragma once

#include "process/Operation.h"
#include "script/Script.h"

namespace Simulation {

// The names under which actions and faults stand in traces and in kept scripts.
const char* nameOf(Action action);
const char* nameOf(FaultKind kind);

/// \return whether \p name is one; then \p action is set.
bool findAction(const std::string& name, Action& action);
bool findFault(const std::string& name, FaultKind& kind);

}  // namespace Simulation
