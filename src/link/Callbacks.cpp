#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProtobufMessageHelper.h"
#include "link/LinkState.h"
#include "link/Reply.h"

namespace AppConfig {

namespace {

/// The variable pattern of a handler: any namespace, any instance.
ConfigVar pattern(const std::string& node, const std::string& attribute) {
    return ConfigVar(0, node, 0, attribute, 0);
}

struct Wish {
    bool ConsumerConfigHandler::*flag;
    ConfigRegistrar::ConsumerCallbackType type;
};

// The order in which a consumer's kinds are registered and removed.
constexpr Wish wishes[] = {
    {&ConsumerConfigHandler::m_wantsChange, ConfigRegistrar::CONFIG_CHANGED},
    {&ConsumerConfigHandler::m_wantsSubmit, ConfigRegistrar::SUBMIT},
    {&ConsumerConfigHandler::m_wantsAttribute, ConfigRegistrar::ATTRIBUTE_CHANGED},
    {&ConsumerConfigHandler::m_wantsOptions, ConfigRegistrar::OPTIONS_CHANGED},
    {&ConsumerConfigHandler::m_wantsAccessLevels, ConfigRegistrar::ACCESS_LEVELS_CHANGED},
};

}  // namespace

bool PlatformCfgService::registerCallback(const ConfigVar& var, ConfigIF::CallbackType type) {
    return registerName(var.getFQName(), type);
}

bool PlatformCfgService::registerName(const std::string& name, ConfigIF::CallbackType type) {
    ConfigIF::RegisterClientCallbackRsp reply;
    return sendRequest(
               ProtobufMessageHelper::getRegClientCallbackRequest(getSelfFQName(), role(), name, type, m_clientName),
               reply) &&
           succeeded(reply);
}

bool PlatformCfgService::unregisterCallback(const ConfigVar& var, ConfigIF::CallbackType type) {
    m_state->setup.forget({var.getFQName(), type});
    ConfigIF::UnregisterClientCallbackRsp reply;
    return sendRequest(ProtobufMessageHelper::getUnregClientCallbackRequest(getSelfFQName(), role(), var.getFQName(),
                                                                            type, m_clientName),
                       reply) &&
           succeeded(reply);
}

bool PlatformCfgService::unregisterChangeCallback(const ConfigVar& var) {
    return unregisterCallback(var, ConfigIF::CALLBACK_CONFIG_CHANGED);
}

bool PlatformCfgService::unregisterAttributeCallback(const ConfigVar& var) {
    return unregisterCallback(var, ConfigIF::CALLBACK_ATTRIBUTE_CHANGED);
}

bool PlatformCfgService::unregisterOptionsCallback(const ConfigVar& var) {
    return unregisterCallback(var, ConfigIF::CALLBACK_OPTIONS_CHANGED);
}

bool PlatformCfgService::unregisterSubmitCallback(const ConfigVar& var) {
    return unregisterCallback(var, ConfigIF::CALLBACK_SUBMIT);
}

bool PlatformCfgService::unregisterAccessLevelsCallback(const ConfigVar& var) {
    return unregisterCallback(var, ConfigIF::CALLBACK_ACCESS_LEVELS_CHANGED);
}

void PlatformCfgService::unregisterAllCallbacks() {
    m_state->setup.takeKept();
    sendOneWay(ProtobufMessageHelper::getUnregAllClientCallbacksRequest(getSelfFQName()));
}

/// The reply is ignored: the handler is added all the same, and the variable and kind count as registered. Without a
/// transport the registration is kept for the first one.
void PlatformCfgService::registerFor(const ConfigVar& var, ConfigIF::CallbackType type) {
    if (!m_state->setup.keep({var.getFQName(), type})) registerCallback(var, type);
}

void PlatformCfgService::registerHandler(const std::string& node, const std::string& attribute,
                                         ProviderConfigHandler* handler) {
    const ConfigVar var = pattern(node, attribute);
    if (m_registrar.isProviderHandlerRegistered(var)) return m_registrar.registerHandler(var, handler);
    const HandlersBeingAdded::Addition addition(m_state->additions, var, HandlersBeingAdded::provider);
    registerFor(var, ConfigIF::CALLBACK_DYNAMIC_VALIDATE);
    registerFor(var, ConfigIF::CALLBACK_ON_CHANGE);
    m_registrar.registerHandler(var, handler);
}

void PlatformCfgService::registerHandler(const std::string& node, const std::string& attribute,
                                         ConsumerConfigHandler* handler) {
    const ConfigVar var = pattern(node, attribute);
    for (const Wish& wish : wishes) {
        if (handler->*wish.flag) registerHandlerRequested(var, handler, wish.type);
    }
}

void PlatformCfgService::registerHandlerRequested(ConfigVar var, ConsumerConfigHandler* handler,
                                                  ConfigRegistrar::ConsumerCallbackType type) {
    if (m_registrar.isHandlerRegistered(var, type)) return m_registrar.registerHandler(var, handler, type);
    const HandlersBeingAdded::Addition addition(m_state->additions, var, type);
    registerFor(var, enumTranslate(type));
    m_registrar.registerHandler(var, handler, type);
}

void PlatformCfgService::registerHandlerProactively(ConfigVar var, ConfigRegistrar::ConsumerCallbackType type) {
    if (m_registrar.isHandlerRegistered(var, type)) return;
    // No handler stands behind the entry, so nothing that arrives before it is missed.
    registerFor(var, enumTranslate(type));
    m_registrar.registerHandler(var, nullptr, type);
}

void PlatformCfgService::unregisterHandler(const std::string& node, const std::string& attribute,
                                           ProviderConfigHandler* handler) {
    m_registrar.unregisterHandler(pattern(node, attribute), handler);
}

void PlatformCfgService::unregisterHandler(const std::string& node, const std::string& attribute,
                                           ConsumerConfigHandler* handler) {
    const ConfigVar var = pattern(node, attribute);
    for (const Wish& wish : wishes) m_registrar.unregisterHandler(var, handler, wish.type);
}

void PlatformCfgService::unregisterHandlerAndWait(const std::string& node, const std::string& attribute,
                                                  ProviderConfigHandler* handler) {
    unregisterHandler(node, attribute, handler);
    m_state->calls.awaitEnd(handler);
}

void PlatformCfgService::unregisterHandlerAndWait(const std::string& node, const std::string& attribute,
                                                  ConsumerConfigHandler* handler) {
    unregisterHandler(node, attribute, handler);
    m_state->calls.awaitEnd(handler);
}

}  // namespace AppConfig
