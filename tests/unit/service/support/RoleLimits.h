#pragma once

#include <string>

#include "support/Peer.h"

namespace ServiceTest {

// Callback types, as registrations name them.
inline constexpr int onChange = 1;
inline constexpr int dynamicValidate = 2;
inline constexpr int valueChanged = 3;
inline constexpr int optionsChanged = 5;
inline constexpr int levelsChanged = 7;

/// Definitions under which processes of otherUid may claim \p role at most.
inline std::string limitedTo(int role, const std::string& definitions = usualDefinitions) {
    return definitions + "role_limit { uid: 2000 role: " + std::to_string(role) + " }\n";
}

}  // namespace ServiceTest
