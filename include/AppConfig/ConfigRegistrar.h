#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "AppConfig/CfgHandlerLookup.h"
#include "AppConfig/ConfigVar.h"
#include "AppConfig/Export.h"
#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"

class ConsumerConfigHandler;
class ProviderConfigHandler;

/// The handlers of an application and the variables that they are registered for: consumers per kind of notification,
/// providers once per variable. A handler registered with an empty attribute is registered for the node, all its
/// attributes and every node below it.
///
/// Does not own the handlers and never calls one. A pointer may be null (a placeholder: there is a registration at the
/// service for this kind, but no handler) and may occur several times.
///
/// Thread-safe: each operation holds the registrar's mutex while it runs, blocks on nothing else and returns copies. A
/// handler taken from a returned list may have been unregistered since.
class APPCONFIG_EXPORT ConfigRegistrar {
public:
    /// Kinds of notifications. The service's number for a kind is this one plus 3; any other number is sent as SUBMIT.
    enum ConsumerCallbackType : std::int32_t {
        CONFIG_CHANGED = 0,
        ATTRIBUTE_CHANGED = 1,  ///< the library dispatches nothing for it
        OPTIONS_CHANGED = 2,
        SUBMIT = 3,
        ACCESS_LEVELS_CHANGED = 4,
    };

    /// Handlers by what they were registered for. Elements are never erased; an empty list has no effect.
    template <typename Handler>
    using Table = std::map<ConfigVar, std::list<Handler*>, CfgHandlerLookup>;

    ConfigRegistrar();
    /// No operation may be running.
    ~ConfigRegistrar();

    ConfigRegistrar(const ConfigRegistrar&) = delete;
    ConfigRegistrar& operator=(const ConfigRegistrar&) = delete;

    /// Appends \p h to the handlers of \p var, also if it is there already.
    void registerHandler(ConfigVar const& var, ProviderConfigHandler* h);
    void registerHandler(ConfigVar const& var, ConsumerConfigHandler* h, ConsumerCallbackType type);

    /// Removes every occurrence of \p h among the handlers of exactly \p var (node and attribute).
    /// \return whether there was one.
    bool unregisterHandler(ConfigVar const& var, ConsumerConfigHandler* h, ConsumerCallbackType type);
    bool unregisterHandler(ConfigVar const& var, ProviderConfigHandler* h);

    /// \return the handlers to call for the variable: first those of its fully qualified name, then those of its node
    /// and of the nodes above, each group ordered by name, without placeholders. A handler is returned as often as it
    /// was registered.
    std::list<ConsumerConfigHandler*> getHandlers(std::string const& node, std::string const& attribute,
                                                  ConsumerCallbackType type);
    std::list<ProviderConfigHandler*> getProviderHandlers(std::string const& node, std::string const& attribute);

    /// \return whether a lookup finds anything for \p var, placeholders included.
    bool isHandlerRegistered(ConfigVar const& var, ConsumerCallbackType type);
    bool isProviderHandlerRegistered(ConfigVar const& var);

    /// \return whether \p h is among the handlers to call for the variable now. Used between the calls to the handlers
    /// of a list, since each handler may remove those after it.
    bool isStillRegistered(std::string const& node, std::string const& attribute, ConsumerConfigHandler* h,
                           ConsumerCallbackType type);
    bool isStillRegistered(std::string const& node, std::string const& attribute, ProviderConfigHandler* h);

    /// \return how many removals have found a handler so far. While it does not change, no list has lost a handler.
    std::uint64_t removals() const { return m_removals.load(std::memory_order_relaxed); }

    /// The lookup and the removal behind the operations above, on one of this registrar's tables; they take the mutex.
    template <typename Handler>
    std::list<Handler*> getHandlers(ConfigVar const& var, const Table<Handler>& table, bool includePlaceholders);
    template <typename Handler>
    bool unregisterHandler(ConfigVar const& var, Handler* h, Table<Handler>& table);

private:
    /// \return whether \p accept returns true for the handlers of an element that reaches \p var.
    template <typename Handler, typename Accept>
    bool reaches(ConfigVar const& var, const Table<Handler>& table, Accept&& accept);
    Table<ConsumerConfigHandler>& consumerTable(ConsumerCallbackType type);
    Table<ProviderConfigHandler>& providerTable();

    AppConfig::PlainMutex m_mutex;
    std::map<ConsumerCallbackType, Table<ConsumerConfigHandler>> m_consumerHandlers APPCONFIG_GUARDED_BY(m_mutex);
    Table<ProviderConfigHandler> m_providerHandlers APPCONFIG_GUARDED_BY(m_mutex);
    std::atomic<std::uint64_t> m_removals{0};
};
