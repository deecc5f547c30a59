#pragma once

#include "MSG.h"

namespace google::protobuf {
class MessageLite;
}

/// Wraps \p response into a message that answers \p request. \p reserved is null.
/// \return the message, which the caller owns; null when memory runs out or \p response has no id.
MSG_Message* msgUtil_buildMsgWithHeader(const google::protobuf::MessageLite& response, const MSG_Message* request,
                                        void* reserved);
