#pragma once

#include "run/Runner.h"

namespace Simulation {

/// Leaves out of \p script whatever is not needed for \p check to fail: processes, faults, operations, reactions. Since
/// leaving something out shifts everything that happens by chance, each attempt is made with a few seeds.
/// \return the smallest script that was found; it fails \p check, as \p script does. Takes at most \p attempts runs.
Script shrink(Runner& runner, Script script, Check check, int attempts);

}  // namespace Simulation
