#include <cstdint>
#include <cstdio>
#include <limits>

#include "AppConfig/PlatformCfgService.h"
#include "MessageIds.h"
#include "configservice.pb.h"

namespace AppConfig {

// The table travels to platforms whose message passing knows a row as five words.
static_assert(sizeof(void*) != 4 || sizeof(MSG_Callback) == 5 * sizeof(std::uint32_t),
              "a dispatch row is five 32-bit words");

namespace {

template <typename Payload>
using Handler = MSG_Message* (*)(const Payload&, const MSG_Message*, void*);

/// \return whether \p payload could be read from \p message; if not, reports that on standard output.
bool parse(google::protobuf::MessageLite& payload, const MSG_Message* message) {
    const std::uint32_t bytes = MSG_GetPayloadBytes(message);
    if (bytes <= std::numeric_limits<int>::max() &&
        payload.ParseFromArray(MSG_GetPayload(message), static_cast<int>(bytes))) {
        return true;
    }
    std::printf("Parse Error\n");
    return false;
}

/// The entry for a notification.
template <typename Payload, Handler<Payload> handler>
void notified(void* context, const MSG_Message* message) {
    Payload payload;
    if (parse(payload, message)) handler(payload, message, context);
}

/// The entry for a question, which is answered to its sender, from the endpoint that it came to.
template <typename Payload, Handler<Payload> handler>
void asked(void* context, const MSG_Message* message) {
    Payload payload;
    if (!parse(payload, message)) return;
    MSG_Message* const reply = handler(payload, message, context);
    if (reply == nullptr) return;
    // A platform may leave the buffer untouched when it has no name to give.
    char owner[128] = {};
    MSG_GetOwnerName(message, owner, sizeof(owner));
    MSG_SendMsg(owner, MSG_GetSender(message), reply);
}

constexpr MSG_Callback row(MSG_Entry entry, std::uint32_t id) {
    return {entry, nullptr, id, id, 0};
}

}  // namespace

const MSG_Callback PlatformCfgService::msgCallbacks[8] = {
    row(asked<ConfigIF::DynamicValidateReq, dynamicValidateHandler>,
        ConfigIF::messageId("ConfigIF.DynamicValidateReq")),
    row(asked<ConfigIF::OnChangeReq, onChangeHandler>, ConfigIF::messageId("ConfigIF.OnChangeReq")),
    row(notified<ConfigIF::ConfigChangedNtfy, configChangedHandler>, ConfigIF::messageId("ConfigIF.ConfigChangedNtfy")),
    row(notified<ConfigIF::AttributeChangedNtfy, attributeChangedHandler>,
        ConfigIF::messageId("ConfigIF.AttributeChangedNtfy")),
    row(notified<ConfigIF::OptionsChangedNtfy, optionsChangedHandler>,
        ConfigIF::messageId("ConfigIF.OptionsChangedNtfy")),
    row(notified<ConfigIF::SubmitNtfy, submitHandler>, ConfigIF::messageId("ConfigIF.SubmitNtfy")),
    row(notified<ConfigIF::AccessLevelChangedNtfy, accessLevelsChangedHandler>,
        ConfigIF::messageId("ConfigIF.AccessLevelChangedNtfy")),
    {nullptr, nullptr, 0, 0, 0},
};

}  // namespace AppConfig
