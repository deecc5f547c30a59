#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "ServiceProcess.h"

namespace AppConfigTest {

/// What a service has counted.
struct Statistics {
    std::map<std::string, std::uint64_t> received;  ///< messages by full name
    std::map<std::string, std::uint64_t> sent;
    unsigned clients = 0;
    unsigned registrations = 0;
};

/// Asks \p service. Throws std::runtime_error when it does not answer.
Statistics statisticsOf(const ServiceProcess& service);

}  // namespace AppConfigTest
