#pragma once

#include <functional>
#include <string>
#include <utility>

#include "MSG.h"
#include "MessageIds.h"
#include "PbUtils.h"
#include "configservice.pb.h"
#include "msgUtil.h"

namespace AppConfigTest {

/// A row of a handler table whose entry is a function object. Outlives the transport that it was added to.
class Handler {
public:
    using Function = std::function<void(const MSG_Message* message)>;

    explicit Handler(Function function) : m_function(std::move(function)) {}
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    /// Adds this handler for the messages of the full name \p type.
    int addTo(PbUtility::PbUtils& transport, const std::string& type) {
        const std::uint32_t id = ConfigIF::messageId(type);
        const MSG_Callback table[] = {{&Handler::enter, this, id, id, 0}, {nullptr, nullptr, 0, 0, 0}};
        return transport.addHandlers(table);
    }

private:
    static void enter(void* context, const MSG_Message* message) {
        static_cast<Handler*>(context)->m_function(message);
    }

    Function m_function;
};

/// \return the value that a notification made by notification() carries.
inline std::string valueOf(const MSG_Message* message) {
    ConfigIF::ConfigChangedNtfy payload;
    payload.ParseFromArray(MSG_GetPayload(message), static_cast<int>(MSG_GetPayloadBytes(message)));
    return payload.inst_value().value_size() == 1 ? payload.inst_value().value(0) : "?";
}

/// Answers an ask as the library does. \return what MSG_SendMsg returned.
inline int answerAsk(const MSG_Message* message, const std::string& text) {
    ConfigIF::DynamicValidateRsp response;
    response.mutable_result()->add_message(text);
    char owner[128];
    if (MSG_GetOwnerName(message, owner, sizeof owner) != 0) return -1;
    return MSG_SendMsg(owner, MSG_GetSender(message), msgUtil_buildMsgWithHeader(response, message, nullptr));
}

/// \return the text that answerAsk() put into \p payload.
inline std::string textOf(const std::string& payload) {
    ConfigIF::DynamicValidateRsp response;
    response.ParseFromString(payload);
    return response.result().message_size() == 1 ? response.result().message(0) : "?";
}

inline constexpr char changed[] = "ConfigIF.ConfigChangedNtfy";
inline constexpr char validate[] = "ConfigIF.DynamicValidateReq";

}  // namespace AppConfigTest
