#pragma once

#include "configadmin.pb.h"
#include "configservice.pb.h"
#include "core/Changes.h"

/// How each kind of reply says that its request was refused. Pure functions.
namespace AppConfigService {

/// Replies that carry a ReturnMessage tell the reason, too.
template <typename Response>
auto setRefusal(Response& response, const Failure& why) -> decltype(response.mutable_result(), void()) {
    response.mutable_result()->set_error(why.code);
    if (!why.reason.empty()) response.mutable_result()->add_message(why.reason);
}

/// The others have room for the code alone.
template <typename Response>
auto setRefusal(Response& response, const Failure& why) -> decltype(response.set_error(why.code), void()) {
    response.set_error(why.code);
}

/// A refusal of levels stands beside each variable that was named.
inline void refuseLevels(const ConfigIF::SetAccessLevelsReq& request, Error error,
                         ConfigIF::SetAccessLevelsRsp& response) {
    for (const ConfigIF::Inst& inst : request.inst()) {
        ConfigIF::AccessLevelErr* entry = response.add_access_error();
        *entry->mutable_inst() = inst;
        entry->set_error(error);
    }
}

template <typename Request, typename Response>
void setRefusalTo(const Request& request, Response& response, const Failure& why) {
    if constexpr (std::is_same_v<Request, ConfigIF::SetAccessLevelsReq>) {
        refuseLevels(request, why.code, response);
    } else {
        setRefusal(response, why);
    }
}

/// What a change came to, with all messages where the reply has room for them.
template <typename Response>
void setResult(Response& response, const ChangeResult& result, const std::string& requester) {
    if constexpr (std::is_same_v<Response, ConfigIF::WriteRsp> || std::is_same_v<Response, ConfigIF::ValidateRsp>) {
        ConfigIF::ReturnMessage* out = response.mutable_result();
        out->set_error(errorOf(result.verdict));
        out->set_result_flag(result.flag);
        for (const std::string& message : result.messages) out->add_message(message);
        out->set_server_context(result.context);
        out->set_client_name(requester);
    } else {
        response.set_error(errorOf(result.verdict));
    }
    if constexpr (std::is_same_v<Response, ConfigIF::WriteRsp> || std::is_same_v<Response, ConfigIF::ResetValueRsp>) {
        if (result.verdict) *response.mutable_revision() = result.revision;
    }
}

}  // namespace AppConfigService
