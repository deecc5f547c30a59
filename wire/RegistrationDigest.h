#pragma once

#include <cstdint>
#include <string_view>

namespace AppConfigWire {

/// What identifies a registration of one client.
struct RegistrationName {
    std::string_view requester;  ///< client_name of the request
    std::string_view name;       ///< var_name; capital letters count as small ones
    std::int32_t type = 0;       ///< ConfigIF::CallbackType
    std::string_view callback;   ///< callback_name
};

/// \return a number for the registration. The sum over all registrations of a client, with the carry lost, tells
/// whether client and service hold the same ones, in whatever order they came. Pure; both ends use it.
std::uint64_t digestOf(const RegistrationName& registration);

}  // namespace AppConfigWire
