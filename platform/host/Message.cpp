// Message objects, and who carries the messages of MSG_SendMsg.
#include <google/protobuf/message_lite.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <string>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "CommonIFUtil.h"
#include "MSG.h"
#include "MessageIds.h"
#include "common.pb.h"
#include "msgUtil.h"

struct MSG_Message {
    std::uint32_t id;
    std::string payload;
    std::string owner;
    MSG_Address sender;
};

namespace {

using AppConfig::PlainLock;
using AppConfig::PlainMutex;

class Carriers {
public:
    bool bind(const char* owner, MSG_SendFunction function, void* context) {
        const PlainLock lock(m_mutex);
        return m_carriers.emplace(owner, Carrier{function, context, 0}).second;
    }

    void unbind(const char* owner) {
        const PlainLock lock(m_mutex);
        const auto found = m_carriers.find(owner);
        if (found == m_carriers.end()) return;
        // Taken out first, so that nobody can start to send while the last ones finish. The node stays where it is.
        const auto node = m_carriers.extract(found);
        while (node.mapped().running != 0) m_idle.wait(m_mutex);
    }

    int send(const char* owner, MSG_Address receiver, MSG_Message* message) {
        Carrier* carrier = nullptr;
        {
            const PlainLock lock(m_mutex);
            const auto found = m_carriers.find(owner);
            if (found == m_carriers.end()) {
                MSG_Destroy(message);
                return -1;
            }
            carrier = &found->second;
            ++carrier->running;
        }
        const int result = carrier->function(carrier->context, receiver, message);
        const PlainLock lock(m_mutex);
        if (--carrier->running == 0) m_idle.notify_all();
        return result;
    }

private:
    struct Carrier {
        MSG_SendFunction function;
        void* context;
        int running;
    };

    PlainMutex m_mutex;
    std::condition_variable_any m_idle;
    std::map<std::string, Carrier> m_carriers APPCONFIG_GUARDED_BY(m_mutex);
};

// Never destroyed: a transport that lives as long as the process may still unbind itself while the process ends.
Carriers& carriers() {
    static Carriers* const instance = new Carriers;
    return *instance;
}

}  // namespace

const void* MSG_GetPayload(const MSG_Message* message) {
    return message->payload.data();
}

uint32_t MSG_GetPayloadBytes(const MSG_Message* message) {
    return static_cast<uint32_t>(message->payload.size());
}

int MSG_GetOwnerName(const MSG_Message* message, char* buffer, size_t bytes) {
    if (bytes == 0) return -1;
    buffer[0] = '\0';
    if (message->owner.size() >= bytes) return -1;
    std::memcpy(buffer, message->owner.c_str(), message->owner.size() + 1);
    return 0;
}

MSG_Address MSG_GetSender(const MSG_Message* message) {
    return message->sender;
}

int MSG_SendMsg(const char* owner, MSG_Address receiver, MSG_Message* message) {
    if (message == nullptr) return -1;
    return carriers().send(owner, receiver, message);
}

MSG_Message* MSG_Create(uint32_t id, const void* payload, uint32_t bytes, const char* owner, MSG_Address sender) {
    try {
        return new MSG_Message{id, std::string(static_cast<const char*>(payload), bytes), owner, sender};
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void MSG_Destroy(MSG_Message* message) {
    delete message;
}

uint32_t MSG_GetId(const MSG_Message* message) {
    return message->id;
}

int MSG_BindOwner(const char* owner, MSG_SendFunction send, void* context) {
    return carriers().bind(owner, send, context) ? 0 : -1;
}

void MSG_UnbindOwner(const char* owner) {
    carriers().unbind(owner);
}

MSG_Message* msgUtil_buildMsgWithHeader(const google::protobuf::MessageLite& response, const MSG_Message* request,
                                        void* /*reserved*/) {
    try {
        const std::uint32_t id = ConfigIF::messageId(response.GetTypeName());
        if (id == 0) return nullptr;
        return new MSG_Message{id, response.SerializePartialAsString(), request->owner, request->sender};
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

eErrorT convertErrorTypeToCommonPbType(CommonIF::eErrorType error) {
    return CommonIF::eErrorType_IsValid(error) ? static_cast<eErrorT>(error) : CFG_ERROR_GENERAL;
}
