#pragma once

#include <string>

#include "AppConfig/ConfigVar.h"
#include "AppConfig/SentRequest.h"

namespace google::protobuf {
class MessageLite;
}

namespace AppConfigTest {

/// \return what a test wants to know of \p request; `awaited` is left true.
SentRequest describe(const google::protobuf::MessageLite& request);

/// \return the variable that \p text names as `node[instance].attribute[instance]`. Throws std::invalid_argument when
/// there is no dot in it or an instance is no number.
ConfigVar variableOf(const std::string& text);

}  // namespace AppConfigTest
