#pragma once

#include <cstdint>

namespace AppConfig {

/// The rights of a client, and the least rights that a variable asks for. A larger number has more rights; access
/// checks compare the numbers. (The service's numbers for the same roles are in another order; the library translates.)
enum SecurityRole : std::int32_t {
    SECURITY_ROLE_NONE = 0,
    SECURITY_ROLE_1 = 1,
    SECURITY_ROLE_2 = 2,
    SECURITY_ROLE_3 = 3,
    SECURITY_ROLE_4 = 4,
};

}  // namespace AppConfig
