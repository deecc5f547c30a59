#pragma once

#include <cstdint>
#include <string_view>

namespace AppConfigWire {

/// What identifies a registration of one client.
struct RegistrationName {
    std::string_view requester;  ///< client_name of the request
    std::string_view name;       ///< var_name, in any case
    std::int32_t type = 0;       ///< ConfigIF::CallbackType
    std::string_view callback;   ///< callback_name
};

/// \return the digest of the registration. The sum of the digests of all registrations of a client, modulo 2^64, tells
/// whether client and service hold the same ones, in any order. Pure; both ends use it.
std::uint64_t digestOf(const RegistrationName& registration);

}  // namespace AppConfigWire
