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

/// Remembers which application objects want to hear of which variables: consumers per kind of event, providers once per
/// variable. A registration with an empty attribute covers the node, all its attributes and every node below it.
///
/// It owns nothing that it points to and never calls a handler. Pointers may be null (placeholders, which say that the
/// service was already asked for a kind of event although no handler stands behind it) and may occur several times.
///
/// Thread-safe: each operation takes the registrar's mutex for its own duration and returns copies; it blocks on
/// nothing else. A handler taken from a returned list may have been unregistered since.
class APPCONFIG_EXPORT ConfigRegistrar {
public:
    /// Kinds of events. The service's number for a kind is this one plus 3; any other number counts as SUBMIT there.
    enum ConsumerCallbackType : std::int32_t {
        CONFIG_CHANGED = 0,
        ATTRIBUTE_CHANGED = 1,  ///< the library dispatches nothing for it
        OPTIONS_CHANGED = 2,
        SUBMIT = 3,
        ACCESS_LEVELS_CHANGED = 4,
    };

    /// Handlers under what they were registered for. Entries are never erased; an empty list finds nothing.
    template <typename Handler>
    using Table = std::map<ConfigVar, std::list<Handler*>, CfgHandlerLookup>;

    ConfigRegistrar();
    /// No operation may be running.
    ~ConfigRegistrar();

    ConfigRegistrar(const ConfigRegistrar&) = delete;
    ConfigRegistrar& operator=(const ConfigRegistrar&) = delete;

    /// Appends \p h to the handlers of \p var, also when it is there already.
    void registerHandler(ConfigVar const& var, ProviderConfigHandler* h);
    void registerHandler(ConfigVar const& var, ConsumerConfigHandler* h, ConsumerCallbackType type);

    /// Removes every occurrence of \p h among the handlers of exactly \p var (node and attribute).
    /// \return whether there was one.
    bool unregisterHandler(ConfigVar const& var, ConsumerConfigHandler* h, ConsumerCallbackType type);
    bool unregisterHandler(ConfigVar const& var, ProviderConfigHandler* h);

    /// \return the handlers to call for the variable: those of its fully qualified name first, then those of nodes that
    /// cover it, each group in the order of its names, without placeholders. A handler is returned once per
    /// registration.
    std::list<ConsumerConfigHandler*> getHandlers(std::string const& node, std::string const& attribute,
                                                  ConsumerCallbackType type);
    std::list<ProviderConfigHandler*> getProviderHandlers(std::string const& node, std::string const& attribute);

    /// \return whether a lookup finds anything for \p var, placeholders included.
    bool isHandlerRegistered(ConfigVar const& var, ConsumerCallbackType type);
    bool isProviderHandlerRegistered(ConfigVar const& var);

    /// \return whether \p h is among the handlers to call for the variable now. For whoever calls the handlers of a
    /// list one after another, since each may remove those after it.
    bool isStillRegistered(std::string const& node, std::string const& attribute, ConsumerConfigHandler* h,
                           ConsumerCallbackType type);
    bool isStillRegistered(std::string const& node, std::string const& attribute, ProviderConfigHandler* h);

    /// \return how many removals have found something so far: as long as it stays, no list has lost a handler.
    std::uint64_t removals() const { return m_removals.load(std::memory_order_relaxed); }

    /// The lookup and the removal behind the operations above, on one of this registrar's tables; they take the mutex.
    template <typename Handler>
    std::list<Handler*> getHandlers(ConfigVar const& var, const Table<Handler>& table, bool includePlaceholders);
    template <typename Handler>
    bool unregisterHandler(ConfigVar const& var, Handler* h, Table<Handler>& table);

private:
    /// \return whether \p accept accepts the handlers of an entry that reaches \p var.
    template <typename Handler, typename Accept>
    bool reaches(ConfigVar const& var, const Table<Handler>& table, Accept&& accept);
    Table<ConsumerConfigHandler>& consumerTable(ConsumerCallbackType type);
    Table<ProviderConfigHandler>& providerTable();

    AppConfig::PlainMutex m_mutex;
    std::map<ConsumerCallbackType, Table<ConsumerConfigHandler>> m_consumerHandlers APPCONFIG_GUARDED_BY(m_mutex);
    Table<ProviderConfigHandler> m_providerHandlers APPCONFIG_GUARDED_BY(m_mutex);
    std::atomic<std::uint64_t> m_removals{0};
};
