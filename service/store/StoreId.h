#pragma once

#include <random>
#include <string>

namespace AppConfigService {

/// \return a name for a new store that no other store has.
inline std::string newStoreId() {
    static constexpr char digits[] = "0123456789abcdef";
    std::random_device random;
    std::string id;
    for (int i = 0; i < 32; ++i) id += digits[random() % 16];
    return id;
}

}  // namespace AppConfigService
