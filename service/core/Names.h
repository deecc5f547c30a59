#pragma once

#include "configservice.pb.h"
#include "core/Types.h"

/// Names of variables as messages carry them to and from a service. Pure functions; any thread; nothing blocks.
namespace AppConfigService {

/// \return the variable that \p inst names for a service that serves \p namespaceNumber, or why it cannot be one of the
/// service's.
Result<VariableName> readName(const ConfigIF::Inst& inst, int namespaceNumber);

/// Writes \p name as the service of \p namespaceNumber sends it. \p inst must be fresh.
void writeName(const VariableName& name, bool namespaceScoped, int namespaceNumber, ConfigIF::Inst& inst);

}  // namespace AppConfigService
