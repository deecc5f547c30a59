#pragma once

#include <string>

#include "support/Peer.h"

namespace ServiceTest {

/// Definitions under which processes of otherUid may claim \p role at most.
inline std::string limitedTo(int role, const std::string& definitions = usualDefinitions) {
    return definitions + "role_limit { uid: 2000 role: " + std::to_string(role) + " }\n";
}

}  // namespace ServiceTest
