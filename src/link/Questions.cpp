#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "link/IncomingVariable.h"
#include "link/LinkState.h"
#include "link/Reply.h"
#include "msgUtil.h"

namespace AppConfig {

namespace {

template <typename Request>
ConfigResult resultFor(const Request& req) {
    ConfigResult result;
    result.setServerContext(req.server_context());
    result.setClientName(req.client_name());
    return result;
}

/// \return whether variable and value could be read. If not, \p result says which could not, with error 0, because
/// having nothing to say about a question is not a refusal.
bool read(const ConfigIF::InstValue& instValue, IncomingVariable& var, std::list<std::string>& value,
          ConfigResult& result) {
    if (!var.read(instValue.inst())) {
        result.addResultMessage("unable to parse variable name");
        return false;
    }
    if (ProtobufMessageHelper::getConfigVarValue(value, instValue) != 0) {
        result.addResultMessage("unable to parse value");
        return false;
    }
    return true;
}

}  // namespace

MSG_Message* PlatformCfgService::onChangeHandler(const ConfigIF::OnChangeReq& req, const MSG_Message* msg,
                                                 void* context) {
    PlatformCfgService* const link = findMatchingCfgService(context, req.inst_value().inst());
    AppCfgManager* const manager = findMatchingCfgManager(context);
    ConfigResult result = resultFor(req);
    IncomingVariable var;
    std::list<std::string> value;
    if (link == nullptr || manager == nullptr) {
        result.addResultMessage("Not interested");
    } else if (read(req.inst_value(), var, value, result)) {
        const Revision revision = revisionOf(req);
        manager->storeNotified(var.key(), value, revision);
        const ChangesUnderWay::Change change(link->m_state->changes, var.key(), revision);
        link->callProviders(var, [&](ProviderConfigHandler& provider) {
            // A question that was overtaken has ended: the newer change is sent to every provider itself.
            if (change.isOvertaken()) return false;
            provider.onChange(var.node, var.nodeInstance, var.attribute, var.attributeInstance, value,
                              enumTranslate(req.role()), result);
            // Every provider applies the change, even if another one fails; failures are noted in the result.
            return true;
        });
    }
    return msgUtil_buildMsgWithHeader(ProtobufMessageHelper::getOnChangeResponse(result), msg, nullptr);
}

MSG_Message* PlatformCfgService::dynamicValidateHandler(const ConfigIF::DynamicValidateReq& req, const MSG_Message* msg,
                                                        void* context) {
    PlatformCfgService* const link = findMatchingCfgService(context, req.inst_value().inst());
    ConfigResult result = resultFor(req);
    IncomingVariable var;
    std::list<std::string> value;
    if (link == nullptr) {
        result.addResultMessage("Not intersted");  // in this spelling; the service's side knows it so
    } else if (read(req.inst_value(), var, value, result)) {
        link->callProviders(var, [&](ProviderConfigHandler& provider) {
            return provider.onDynamicValidate(var.node, var.nodeInstance, var.attribute, var.attributeInstance, value,
                                              enumTranslate(req.role()), result);
        });
    }
    return msgUtil_buildMsgWithHeader(ProtobufMessageHelper::getDynamicValidateResponse(result), msg, nullptr);
}

}  // namespace AppConfig
