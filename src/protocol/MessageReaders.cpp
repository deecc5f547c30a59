#include "AppConfig/ProtobufMessageHelper.h"
#include "CommonIFUtil.h"
#include "wire/CarriesUnknown.h"
#include "wire/Inst.h"

namespace AppConfig {

namespace {

template <typename Answer>
Answer answer(ConfigResult const& result) {
    Answer message;
    ProtobufMessageHelper::fillReturnMessage(message.mutable_result(), result);
    return message;
}

}  // namespace

int ProtobufMessageHelper::getConfigVarName(std::string& node, int& nodeInstance, std::string& attribute,
                                            int& attributeInstance, ConfigIF::Inst const& inst) {
    const bool named = AppConfigWire::readNames(inst, node, nodeInstance, attribute, attributeInstance);
    return named ? CFG_ERROR_NONE : CFG_ERROR_MALFORMED_NAME;
}

int ProtobufMessageHelper::getConfigVarNamespace(ConfigIF::Inst const& inst) {
    return AppConfigWire::namespaceOf(inst);
}

int ProtobufMessageHelper::getConfigVarValue(std::list<std::string>& value, ConfigIF::InstValue const& instValue) {
    return getStringList(value, instValue.value());
}

int ProtobufMessageHelper::getStringList(std::list<std::string>& list,
                                         google::protobuf::RepeatedPtrField<std::string> const& strings) {
    list.assign(strings.begin(), strings.end());
    return CFG_ERROR_NONE;
}

void ProtobufMessageHelper::fillReturnMessage(ConfigResult& result, ConfigIF::ReturnMessage const& message) {
    const eErrorT error = AppConfigWire::carriesUnknown(message, ConfigIF::ReturnMessage::kErrorFieldNumber)
                              ? CFG_ERROR_GENERAL
                              : convertErrorTypeToCommonPbType(message.error());
    result.fillConfigResult(true, error, message.result_flag());
    for (const std::string& text : message.message()) result.addResultMessage(text);
    if (!message.server_context().empty()) result.setServerContext(message.server_context());
    if (!message.client_name().empty()) result.setClientName(message.client_name());
}

void ProtobufMessageHelper::fillReturnMessage(ConfigIF::ReturnMessage* message, ConfigResult const& result) {
    // Unlike in the reading direction nothing is converted: a provider's code goes out as it stands.
    message->set_error(static_cast<CommonIF::eErrorType>(result.m_error));
    message->set_result_flag(result.m_flag);
    for (const std::string& text : result.m_messages) message->add_message(text);
    if (!result.m_serverContext.empty()) message->set_server_context(result.m_serverContext);
    if (!result.m_clientName.empty()) message->set_client_name(result.m_clientName);
}

ConfigIF::OnChangeRsp ProtobufMessageHelper::getOnChangeResponse(ConfigResult const& result) {
    return answer<ConfigIF::OnChangeRsp>(result);
}

ConfigIF::DynamicValidateRsp ProtobufMessageHelper::getDynamicValidateResponse(ConfigResult const& result) {
    return answer<ConfigIF::DynamicValidateRsp>(result);
}

}  // namespace AppConfig
