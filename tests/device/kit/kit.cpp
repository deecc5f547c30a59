// A platform kit that carries nothing anywhere. It shows what a device's kit must offer to link the library.
#include <google/protobuf/message_lite.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "CommonIFUtil.h"
#include "MSG.h"
#include "PbUtils.h"
#include "msgUtil.h"

struct MSG_Message {
    std::string owner;
    std::string payload;
    MSG_Address sender;
};

const void* MSG_GetPayload(const MSG_Message* message) {
    return message->payload.data();
}

uint32_t MSG_GetPayloadBytes(const MSG_Message* message) {
    return static_cast<uint32_t>(message->payload.size());
}

int MSG_GetOwnerName(const MSG_Message* message, char* buffer, size_t bytes) {
    if (bytes <= message->owner.size()) {
        if (bytes > 0) buffer[0] = '\0';
        return -1;
    }
    std::memcpy(buffer, message->owner.c_str(), message->owner.size() + 1);
    return 0;
}

MSG_Address MSG_GetSender(const MSG_Message* message) {
    return message->sender;
}

int MSG_SendMsg(const char*, MSG_Address, MSG_Message* message) {
    delete message;
    return 0;
}

MSG_Message* msgUtil_buildMsgWithHeader(const google::protobuf::MessageLite& response, const MSG_Message* request,
                                        void*) {
    return new (std::nothrow) MSG_Message{request->owner, response.SerializeAsString(), request->sender};
}

eErrorT convertErrorTypeToCommonPbType(CommonIF::eErrorType error) {
    return static_cast<eErrorT>(error);
}
