#pragma once

#include <string>

#include "AppConfig/ConfigVar.h"
#include "AppConfig/SentRequest.h"

namespace PbUtility {
struct Exchange;
}

namespace AppConfigTest {

/// \return what a test wants to know of the request of \p exchange; of a message that this program does not know, no
/// more than its type.
SentRequest describe(const PbUtility::Exchange& exchange);

/// \return the variable that \p text names as `node[instance].attribute[instance]`. Throws std::invalid_argument when
/// there is no dot in it or an instance is no number.
ConfigVar variableOf(const std::string& text);

}  // namespace AppConfigTest
