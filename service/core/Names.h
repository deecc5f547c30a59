#pragma once

#include "configservice.pb.h"
#include "core/Types.h"

/// Names of variables as messages carry them to and from a service. Pure functions; any thread; nothing blocks.
namespace AppConfigService {

/// Reads the variable that \p inst names for a service that serves \p namespaceNumber.
/// \return why it cannot be one of the service's; \p name is then of no use.
Verdict readName(const ConfigIF::Inst& inst, int namespaceNumber, VariableName& name);

/// Writes \p name as the service of \p namespaceNumber sends it. \p inst must be fresh.
void writeName(const VariableName& name, bool namespaceScoped, int namespaceNumber, ConfigIF::Inst& inst);

}  // namespace AppConfigService
