#pragma once

#include <string>

#include "AppConfig/Export.h"

class ConsumerConfigHandler;
class ProviderConfigHandler;

namespace AppConfig {
class AppCfgManager;
}

/// How an application registers and unregisters its handlers.
///
/// Each function acts on the service link of \p mgr; null means AppConfig::AppCfgManager::getInstance(). The forms
/// without an attribute act on the whole node: all its attributes and every node below it. Names may be written in any
/// case.
///
/// registerHandler() stores the pointer (the application keeps ownership). For the first handler of a variable and kind
/// it also registers with the service, which blocks for one request per kind, up to the transport's deadline. Failures
/// are not reported: if the service refuses or cannot be reached, the handler stays registered with the library, which
/// does not send the request again for that variable and kind; a host's transport does, as soon as the service can
/// accept it. Before a transport has been set nothing is sent; setting the first one sends it. A null handler is
/// ignored; the manager is not even created.
///
/// unregisterHandler() only removes the pointer, every occurrence of it under these names. It does not block, and the
/// service is not told (see PlatformCfgService for that). Use it for handlers that continue to exist, and from within a
/// handler: no further call comes on that thread, so the removed handler may be deleted there unless it is itself
/// running. On another thread a call to it may still be running or about to begin, so use unregisterHandlerAndWait()
/// before deleting a handler. That returns only when no call from this registration is running or will come, so it
/// blocks for as long as such a call takes; from within a handler it does not wait for calls that its own thread is in.
/// Do not hold a lock that the handler takes. A null handler is treated like any other.
///
/// All may be called from any thread, also from within a handler.
APPCONFIG_EXPORT void registerHandler(std::string node, std::string attribute, ProviderConfigHandler* h,
                                      AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void registerHandler(std::string node, ProviderConfigHandler* h,
                                      AppConfig::AppCfgManager* mgr = nullptr);
/// The want-flags of \p h are read now: they say for which kinds it is registered.
APPCONFIG_EXPORT void registerHandler(std::string node, std::string attribute, ConsumerConfigHandler* h,
                                      AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void registerHandler(std::string node, ConsumerConfigHandler* h,
                                      AppConfig::AppCfgManager* mgr = nullptr);

APPCONFIG_EXPORT void unregisterHandler(std::string node, std::string attribute, ProviderConfigHandler* h,
                                        AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void unregisterHandler(std::string node, ProviderConfigHandler* h,
                                        AppConfig::AppCfgManager* mgr = nullptr);
/// Removes \p h from every kind, whatever its want-flags say now.
APPCONFIG_EXPORT void unregisterHandler(std::string node, std::string attribute, ConsumerConfigHandler* h,
                                        AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void unregisterHandler(std::string node, ConsumerConfigHandler* h,
                                        AppConfig::AppCfgManager* mgr = nullptr);

APPCONFIG_EXPORT void unregisterHandlerAndWait(std::string node, std::string attribute, ProviderConfigHandler* h,
                                               AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void unregisterHandlerAndWait(std::string node, ProviderConfigHandler* h,
                                               AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void unregisterHandlerAndWait(std::string node, std::string attribute, ConsumerConfigHandler* h,
                                               AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void unregisterHandlerAndWait(std::string node, ConsumerConfigHandler* h,
                                               AppConfig::AppCfgManager* mgr = nullptr);

/// Withdraws all registrations of the link at the service with a one-way message. The handlers stay in the library's
/// registry, so registering handlers for the same variables again sends nothing to the service.
APPCONFIG_EXPORT void unregisterAllHandlers(AppConfig::AppCfgManager* mgr = nullptr);
