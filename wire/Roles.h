#pragma once

#include "common.pb.h"

/// Roles are 0 to 4, a larger one with more rights. The wire has numbers of its own for them, which are not in that
/// order: 40 stands for role 2 and 30 for role 3. Pure functions.
namespace AppConfigWire {

inline constexpr CommonIF::eSecurityRole wireRoles[] = {
    CommonIF::SECURITY_ROLE_WIRE_10, CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_40,
    CommonIF::SECURITY_ROLE_WIRE_30, CommonIF::SECURITY_ROLE_WIRE_50};

/// \return the role that \p wire stands for; 0 for a number that is not a role.
inline int roleFromWire(CommonIF::eSecurityRole wire) {
    for (int role = 4; role > 0; --role) {
        if (wireRoles[role] == wire) return role;
    }
    return 0;
}

/// \return the wire's number of \p role; the number of role 0 if \p role is not a role.
inline CommonIF::eSecurityRole roleToWire(int role) {
    return wireRoles[role >= 1 && role <= 4 ? role : 0];
}

}  // namespace AppConfigWire
