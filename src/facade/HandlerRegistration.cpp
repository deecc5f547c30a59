#include "AppConfig/HandlerRegistration.h"

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"

namespace {

AppConfig::PlatformCfgService& linkOf(AppConfig::AppCfgManager* mgr) {
    if (mgr == nullptr) mgr = AppConfig::AppCfgManager::getInstance();
    return *mgr->getPlatformCfgService();
}

}  // namespace

void registerHandler(std::string node, std::string attribute, ProviderConfigHandler* h, AppConfig::AppCfgManager* mgr) {
    if (h != nullptr) linkOf(mgr).registerHandler(node, attribute, h);
}

void registerHandler(std::string node, ProviderConfigHandler* h, AppConfig::AppCfgManager* mgr) {
    if (h != nullptr) linkOf(mgr).registerHandler(node, std::string(), h);
}

void registerHandler(std::string node, std::string attribute, ConsumerConfigHandler* h, AppConfig::AppCfgManager* mgr) {
    if (h != nullptr) linkOf(mgr).registerHandler(node, attribute, h);
}

void registerHandler(std::string node, ConsumerConfigHandler* h, AppConfig::AppCfgManager* mgr) {
    if (h != nullptr) linkOf(mgr).registerHandler(node, std::string(), h);
}

// Unlike registration, removal passes a null handler on: the link knows entries without a handler.

void unregisterHandler(std::string node, std::string attribute, ProviderConfigHandler* h,
                       AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterHandler(node, attribute, h);
}

void unregisterHandler(std::string node, ProviderConfigHandler* h, AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterHandler(node, std::string(), h);
}

void unregisterHandler(std::string node, std::string attribute, ConsumerConfigHandler* h,
                       AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterHandler(node, attribute, h);
}

void unregisterHandler(std::string node, ConsumerConfigHandler* h, AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterHandler(node, std::string(), h);
}

void unregisterHandlerAndWait(std::string node, std::string attribute, ProviderConfigHandler* h,
                              AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterHandlerAndWait(node, attribute, h);
}

void unregisterHandlerAndWait(std::string node, ProviderConfigHandler* h, AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterHandlerAndWait(node, std::string(), h);
}

void unregisterHandlerAndWait(std::string node, std::string attribute, ConsumerConfigHandler* h,
                              AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterHandlerAndWait(node, attribute, h);
}

void unregisterHandlerAndWait(std::string node, ConsumerConfigHandler* h, AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterHandlerAndWait(node, std::string(), h);
}

void unregisterAllHandlers(AppConfig::AppCfgManager* mgr) {
    linkOf(mgr).unregisterAllCallbacks();
}
