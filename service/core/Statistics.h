#pragma once

#include <cstdint>
#include <map>

namespace AppConfigService {

/// Counts of messages by id, since the service started.
struct Statistics {
    std::map<std::uint32_t, std::uint64_t> received;
    std::map<std::uint32_t, std::uint64_t> sent;
};

}  // namespace AppConfigService
