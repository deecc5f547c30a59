#pragma once

#include <google/protobuf/message.h>

#include <cstdint>
#include <string>

#include "AppConfig/ConfigVar.h"
#include "configservice.pb.h"
#include "core/Types.h"

/// Between what travels and what the service reckons with: names, roles, fields with numbers that nobody knows.
/// Pure functions; any thread; nothing blocks.
namespace AppConfigService {

/// \return the role, 0 to 4 in the order of rights; the wire's numbers are in another order.
int roleFromWire(CommonIF::eSecurityRole role);

/// \return the wire's number of \p role, which is 0 to 4.
CommonIF::eSecurityRole roleToWire(int role);

/// Reads the variable that \p inst names for a service that serves \p namespaceNumber. \p name gets namespace 0.
/// \return why it cannot be one of the service's; \p name is then of no use.
Verdict readName(const ConfigIF::Inst& inst, int namespaceNumber, ConfigVar& name);

/// Writes \p name as the service of \p namespaceNumber sends it. \p inst must be fresh.
void writeName(const ConfigVar& name, bool namespaceScoped, int namespaceNumber, ConfigIF::Inst& inst);

/// \return whether \p message carries a value in field \p number that its definition does not know, such as an enum
/// number of a later version. Such a field reads as absent, which must not pass for the default.
bool hasUnknown(const google::protobuf::Message& message, int number);

/// \return \p text with the letters A to Z turned into small ones, as names are compared.
std::string lowered(std::string text);

}  // namespace AppConfigService
