#include <type_traits>

#include "AppConfig/ProtobufMessageHelper.h"
#include "wire/Inst.h"

namespace AppConfig {

namespace {

template <typename Message>
Message withHeader(std::string const& clientName, CommonIF::eSecurityRole role) {
    Message message;
    message.set_client_name(clientName);
    message.set_role(role);
    return message;
}

template <typename Message>
Message callbackRequest(std::string const& clientName, CommonIF::eSecurityRole role, std::string const& varName,
                        ConfigIF::CallbackType type, std::string const& callbackName) {
    auto message = withHeader<Message>(clientName, role);
    message.set_var_name(varName);
    message.set_type(type);
    message.set_callback_name(callbackName);
    return message;
}

}  // namespace

ProtobufMessageHelper::~ProtobufMessageHelper() = default;

void ProtobufMessageHelper::addVarName(ConfigIF::Inst* inst, ConfigVar var) {
    AppConfigWire::addNames(*inst, var.m_namespace, var.m_node, var.m_nodeInstance, var.m_attribute,
                            var.m_attributeInstance);
}

void ProtobufMessageHelper::addVarValue(ConfigIF::InstValue* instValue, std::string const& value) {
    instValue->add_value(value);
}

void ProtobufMessageHelper::addVarValue(ConfigIF::InstValue* instValue, std::list<std::string> const& value) {
    for (const std::string& element : value) instValue->add_value(element);
}

template <typename Message>
Message ProtobufMessageHelper::fillBasicMessage(std::string const& clientName, CommonIF::eSecurityRole role,
                                                ConfigVar var) {
    auto message = withHeader<Message>(clientName, role);
    addVarName(message.mutable_inst(), var);
    return message;
}

template <typename Message>
Message ProtobufMessageHelper::fillBasicMessage(std::string const& clientName, CommonIF::eSecurityRole role,
                                                std::list<ConfigVar> vars) {
    auto message = withHeader<Message>(clientName, role);
    for (const ConfigVar& var : vars) addVarName(message.add_inst(), var);
    return message;
}

template <typename Message>
Message ProtobufMessageHelper::fillBasicMessage(std::string const& clientName, CommonIF::eSecurityRole role,
                                                std::string const& name) {
    auto message = withHeader<Message>(clientName, role);
    message.set_name(name);
    return message;
}

template <typename Message, typename Value>
Message ProtobufMessageHelper::fillBasicMessage(std::string const& clientName, CommonIF::eSecurityRole role,
                                                ConfigVar var, Value const& value) {
    auto message = withHeader<Message>(clientName, role);
    ConfigIF::InstValue* instValue = message.mutable_inst_value();
    addVarName(instValue->mutable_inst(), var);
    addVarValue(instValue, value);
    return message;
}

// Exported here as well: Clang gives an instance the visibility of the message class, which is hidden.
#define APPCONFIG_FILL_ONE(Message)                                                                         \
    template APPCONFIG_EXPORT ConfigIF::Message ProtobufMessageHelper::fillBasicMessage<ConfigIF::Message>( \
        std::string const&, CommonIF::eSecurityRole, ConfigVar)
#define APPCONFIG_FILL_MANY(Message)                                                                        \
    template APPCONFIG_EXPORT ConfigIF::Message ProtobufMessageHelper::fillBasicMessage<ConfigIF::Message>( \
        std::string const&, CommonIF::eSecurityRole, std::list<ConfigVar>)
#define APPCONFIG_FILL_NAME(Message)                                                                        \
    template APPCONFIG_EXPORT ConfigIF::Message ProtobufMessageHelper::fillBasicMessage<ConfigIF::Message>( \
        std::string const&, CommonIF::eSecurityRole, std::string const&)
#define APPCONFIG_FILL_VALUE(Message, Value)                                                                       \
    template APPCONFIG_EXPORT ConfigIF::Message ProtobufMessageHelper::fillBasicMessage<ConfigIF::Message, Value>( \
        std::string const&, CommonIF::eSecurityRole, ConfigVar, Value const&)

APPCONFIG_FILL_ONE(ReadReq);
APPCONFIG_FILL_MANY(BatchReadReq);
APPCONFIG_FILL_VALUE(WriteReq, std::string);
APPCONFIG_FILL_VALUE(WriteReq, std::list<std::string>);
APPCONFIG_FILL_VALUE(ValidateReq, std::string);
APPCONFIG_FILL_VALUE(ValidateReq, std::list<std::string>);
APPCONFIG_FILL_ONE(ReadAttributesReq);
APPCONFIG_FILL_ONE(GetAttributeOptionsReq);
APPCONFIG_FILL_ONE(GetAccessLevelsReq);
APPCONFIG_FILL_ONE(GetValueOptionsAccessReq);
APPCONFIG_FILL_MANY(BatchGetValueOptionsAccessReq);
APPCONFIG_FILL_ONE(ResetValueReq);
APPCONFIG_FILL_NAME(ResetAttributeReq);
APPCONFIG_FILL_NAME(ResetNodeValueReq);

ConfigIF::ReadReq ProtobufMessageHelper::getReadRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                                        ConfigVar var) {
    return fillBasicMessage<ConfigIF::ReadReq>(clientName, role, var);
}

ConfigIF::BatchReadReq ProtobufMessageHelper::getBatchReadRequest(std::string const& clientName,
                                                                  CommonIF::eSecurityRole role,
                                                                  std::list<ConfigVar> vars) {
    return fillBasicMessage<ConfigIF::BatchReadReq>(clientName, role, vars);
}

ConfigIF::WriteReq ProtobufMessageHelper::getWriteRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                                          ConfigVar var, std::string const& value) {
    return fillBasicMessage<ConfigIF::WriteReq, std::string>(clientName, role, var, value);
}

ConfigIF::WriteReq ProtobufMessageHelper::getWriteRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                                          ConfigVar var, std::list<std::string> const& value) {
    return fillBasicMessage<ConfigIF::WriteReq, std::list<std::string>>(clientName, role, var, value);
}

ConfigIF::ValidateReq ProtobufMessageHelper::getValidateRequest(std::string const& clientName,
                                                                CommonIF::eSecurityRole role, ConfigVar var,
                                                                std::string const& value) {
    return fillBasicMessage<ConfigIF::ValidateReq, std::string>(clientName, role, var, value);
}

ConfigIF::ValidateReq ProtobufMessageHelper::getValidateRequest(std::string const& clientName,
                                                                CommonIF::eSecurityRole role, ConfigVar var,
                                                                std::list<std::string> const& value) {
    return fillBasicMessage<ConfigIF::ValidateReq, std::list<std::string>>(clientName, role, var, value);
}

ConfigIF::ReadAttributesReq ProtobufMessageHelper::getReadAttributesRequest(std::string const& clientName,
                                                                            CommonIF::eSecurityRole role,
                                                                            ConfigVar var) {
    return fillBasicMessage<ConfigIF::ReadAttributesReq>(clientName, role, var);
}

ConfigIF::GetAttributeOptionsReq ProtobufMessageHelper::getGetOptionsRequest(std::string const& clientName,
                                                                             CommonIF::eSecurityRole role,
                                                                             ConfigVar var) {
    return fillBasicMessage<ConfigIF::GetAttributeOptionsReq>(clientName, role, var);
}

ConfigIF::GetDefaultOptionsReq ProtobufMessageHelper::getGetDefaultOptionsRequest(std::string const& clientName,
                                                                                  CommonIF::eSecurityRole role,
                                                                                  std::string const& name) {
    auto message = withHeader<ConfigIF::GetDefaultOptionsReq>(clientName, role);
    message.set_name(name);
    return message;
}

ConfigIF::GetAccessLevelsReq ProtobufMessageHelper::getGetAccessLevelsReq(std::string const& clientName,
                                                                          CommonIF::eSecurityRole role, ConfigVar var) {
    return fillBasicMessage<ConfigIF::GetAccessLevelsReq>(clientName, role, var);
}

ConfigIF::SetAccessLevelsReq ProtobufMessageHelper::getSetAccessLevelsReq(std::string const& clientName,
                                                                          CommonIF::eSecurityRole role,
                                                                          std::list<ConfigVar> vars,
                                                                          CommonIF::eSecurityRole* readLevel,
                                                                          CommonIF::eSecurityRole* writeLevel) {
    auto message = withHeader<ConfigIF::SetAccessLevelsReq>(clientName, role);
    for (const ConfigVar& var : vars) addVarName(message.add_inst(), var);
    if (readLevel != nullptr) message.set_read_level(*readLevel);
    if (writeLevel != nullptr) message.set_write_level(*writeLevel);
    return message;
}

ConfigIF::GetValueOptionsAccessReq ProtobufMessageHelper::getGetValueOptionsAccessRequest(std::string const& clientName,
                                                                                          CommonIF::eSecurityRole role,
                                                                                          ConfigVar var) {
    return fillBasicMessage<ConfigIF::GetValueOptionsAccessReq>(clientName, role, var);
}

ConfigIF::BatchGetValueOptionsAccessReq ProtobufMessageHelper::getBatchGetValueOptionsAccessReq(
    std::string const& clientName, CommonIF::eSecurityRole role, std::list<ConfigVar> const& vars) {
    return fillBasicMessage<ConfigIF::BatchGetValueOptionsAccessReq>(clientName, role, vars);
}

ConfigIF::ResetValueReq ProtobufMessageHelper::getResetValueRequest(std::string const& clientName,
                                                                    CommonIF::eSecurityRole role, ConfigVar var) {
    return fillBasicMessage<ConfigIF::ResetValueReq>(clientName, role, var);
}

ConfigIF::ResetAttributeReq ProtobufMessageHelper::getResetAttributeRequest(std::string const& clientName,
                                                                            CommonIF::eSecurityRole role,
                                                                            std::string const& name) {
    return fillBasicMessage<ConfigIF::ResetAttributeReq>(clientName, role, name);
}

ConfigIF::ResetNodeValueReq ProtobufMessageHelper::getResetNodeValueRequest(std::string const& clientName,
                                                                            CommonIF::eSecurityRole role,
                                                                            std::string const& name) {
    return fillBasicMessage<ConfigIF::ResetNodeValueReq>(clientName, role, name);
}

ConfigIF::RegisterClientCallbackReq ProtobufMessageHelper::getRegClientCallbackRequest(std::string const& clientName,
                                                                                       CommonIF::eSecurityRole role,
                                                                                       std::string const& varName,
                                                                                       ConfigIF::CallbackType type,
                                                                                       std::string callbackName) {
    return callbackRequest<ConfigIF::RegisterClientCallbackReq>(clientName, role, varName, type, callbackName);
}

ConfigIF::UnregisterClientCallbackReq ProtobufMessageHelper::getUnregClientCallbackRequest(
    std::string const& clientName, CommonIF::eSecurityRole role, std::string const& varName,
    ConfigIF::CallbackType type, std::string callbackName) {
    return callbackRequest<ConfigIF::UnregisterClientCallbackReq>(clientName, role, varName, type, callbackName);
}

ConfigIF::UnregisterAllClientCallbacksReq ProtobufMessageHelper::getUnregAllClientCallbacksRequest(
    std::string const& clientName) {
    ConfigIF::UnregisterAllClientCallbacksReq message;
    message.set_client_name(clientName);
    return message;
}

ConfigIF::SetAttributeOptionsReq ProtobufMessageHelper::getSetOptionsRequest(std::string const& clientName,
                                                                             CommonIF::eSecurityRole role,
                                                                             ConfigVar var,
                                                                             std::list<std::string> options,
                                                                             unsigned int* defaultIndex) {
    auto message = withHeader<ConfigIF::SetAttributeOptionsReq>(clientName, role);
    addVarName(message.mutable_inst(), var);
    if (defaultIndex != nullptr) message.set_default_index(*defaultIndex);
    for (const std::string& option : options) message.add_option(option);
    return message;
}

}  // namespace AppConfig
