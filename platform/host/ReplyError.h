#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace google::protobuf {
class MessageLite;
}

namespace AppConfigHost {

/// What a reply of the configuration service says about success, whatever its type.
struct ReplyError {
    std::int32_t error = 0;             ///< may be a number that the enum does not know; 0 if the reply carries none
    std::vector<std::string> messages;  ///< texts for people
};

/// Reads the bytes, not the fields, so that a number that the closed enum drops is seen. Of a reply that lists several
/// refusals, the first counts. Any thread.
ReplyError readReplyError(const google::protobuf::MessageLite& reply);

}  // namespace AppConfigHost
