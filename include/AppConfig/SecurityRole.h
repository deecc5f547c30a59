#pragma once

#include <cstdint>

namespace AppConfig {

/// What a client may do; a variable's levels are the lowest roles that may read and write it. A larger number has more
/// rights, and access checks compare the numbers. (Messages have other numbers for the roles, in another order; the
/// library translates them.)
enum SecurityRole : std::int32_t {
    SECURITY_ROLE_NONE = 0,
    SECURITY_ROLE_1 = 1,
    SECURITY_ROLE_2 = 2,
    SECURITY_ROLE_3 = 3,
    SECURITY_ROLE_4 = 4,
};

}  // namespace AppConfig
