#pragma once

#include <string>

#include "AppConfig/Export.h"

class ConsumerConfigHandler;
class ProviderConfigHandler;

namespace AppConfig {
class AppCfgManager;
}

/// How an application enters and removes its handlers.
///
/// Each function acts on the service link of \p mgr; null means AppConfig::AppCfgManager::getInstance(). The forms
/// without an attribute act on the whole node: all its attributes and every node below it. Names may be written in any
/// case.
///
/// Registering stores the pointer (the application keeps ownership) and, for the first handler of a variable and kind
/// of event, asks the service to announce that kind: such a call blocks for one request per kind, up to the transport's
/// time limit. Nothing is reported: when the service refuses or cannot be reached the handler is entered all the same,
/// and the library does not ask a second time for that variable and kind; a host's transport does, as soon as the
/// service can take it. Before a transport has been handed over nobody is asked; the first one makes up for it. A null
/// handler is ignored, without even creating the manager.
///
/// unregisterHandler() only removes the pointer, every occurrence of it under these names; it does not block and the
/// service is not told (see PlatformCfgService for that). It is for handlers that live on, and for use from within a
/// handler: no call comes any more on that thread, so the removed handler may be deleted there unless it is itself
/// running. On another thread a call to it may still be running or about to begin: use unregisterHandlerAndWait()
/// before deleting a handler. That returns only when no call on account of this registration runs or will come, and so
/// blocks for as long as such a call takes; called from within a handler it does not wait for calls that its own thread
/// is in. Do not hold a lock that the handler takes. A null handler is passed on like any other.
///
/// Any thread; also from within a handler.
APPCONFIG_EXPORT void registerHandler(std::string node, std::string attribute, ProviderConfigHandler* h,
                                      AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void registerHandler(std::string node, ProviderConfigHandler* h,
                                      AppConfig::AppCfgManager* mgr = nullptr);
/// The want-flags of \p h are read now: they say which kinds of event it is entered for.
APPCONFIG_EXPORT void registerHandler(std::string node, std::string attribute, ConsumerConfigHandler* h,
                                      AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void registerHandler(std::string node, ConsumerConfigHandler* h,
                                      AppConfig::AppCfgManager* mgr = nullptr);

APPCONFIG_EXPORT void unregisterHandler(std::string node, std::string attribute, ProviderConfigHandler* h,
                                        AppConfig::AppCfgManager* mgr = nullptr);
APPCONFIG_EXPORT void unregisterHandler(std::string node, ProviderConfigHandler* h,
                                        AppConfig::AppCfgManager* mgr = nullptr);
/// Removes \p h from every kind of event, whatever its want-flags say now.
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

/// Asks the service to forget every registration of the link, without waiting for an answer. The handlers stay entered,
/// so registering the same variables again asks the service for nothing.
APPCONFIG_EXPORT void unregisterAllHandlers(AppConfig::AppCfgManager* mgr = nullptr);
