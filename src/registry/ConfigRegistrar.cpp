#include "AppConfig/ConfigRegistrar.h"

#include <algorithm>

#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "registry/Reach.h"

using AppConfig::PlainLock;
using AppConfig::Reach;

namespace {

/// \return a predicate that tells whether a list of handlers holds \p h.
template <typename Handler>
auto holds(Handler* h) {
    return [h](const std::list<Handler*>& handlers) {
        return std::find(handlers.begin(), handlers.end(), h) != handlers.end();
    };
}

ConfigVar pattern(std::string const& node, std::string const& attribute) {
    return ConfigVar(0, node, 0, attribute, 0);
}

}  // namespace

ConfigRegistrar::ConfigRegistrar() = default;
ConfigRegistrar::~ConfigRegistrar() = default;

// A table is looked up, and created if its kind is new, under the lock; the work on it takes the lock again. The
// reference stays valid in between, because tables are never erased and the map does not move them.
ConfigRegistrar::Table<ConsumerConfigHandler>& ConfigRegistrar::consumerTable(ConsumerCallbackType type) {
    const PlainLock lock(m_mutex);
    return m_consumerHandlers[type];
}

ConfigRegistrar::Table<ProviderConfigHandler>& ConfigRegistrar::providerTable() {
    const PlainLock lock(m_mutex);
    return m_providerHandlers;
}

void ConfigRegistrar::registerHandler(ConfigVar const& var, ProviderConfigHandler* h) {
    const PlainLock lock(m_mutex);
    m_providerHandlers[var].push_back(h);
}

void ConfigRegistrar::registerHandler(ConfigVar const& var, ConsumerConfigHandler* h, ConsumerCallbackType type) {
    const PlainLock lock(m_mutex);
    m_consumerHandlers[type][var].push_back(h);
}

bool ConfigRegistrar::unregisterHandler(ConfigVar const& var, ConsumerConfigHandler* h, ConsumerCallbackType type) {
    return unregisterHandler(var, h, consumerTable(type));
}

bool ConfigRegistrar::unregisterHandler(ConfigVar const& var, ProviderConfigHandler* h) {
    return unregisterHandler(var, h, providerTable());
}

std::list<ConsumerConfigHandler*> ConfigRegistrar::getHandlers(std::string const& node, std::string const& attribute,
                                                               ConsumerCallbackType type) {
    return getHandlers(pattern(node, attribute), consumerTable(type), false);
}

std::list<ProviderConfigHandler*> ConfigRegistrar::getProviderHandlers(std::string const& node,
                                                                       std::string const& attribute) {
    return getHandlers(pattern(node, attribute), providerTable(), false);
}

bool ConfigRegistrar::isHandlerRegistered(ConfigVar const& var, ConsumerCallbackType type) {
    return reaches(var, consumerTable(type), [](const auto& handlers) { return !handlers.empty(); });
}

bool ConfigRegistrar::isProviderHandlerRegistered(ConfigVar const& var) {
    return reaches(var, providerTable(), [](const auto& handlers) { return !handlers.empty(); });
}

bool ConfigRegistrar::isStillRegistered(std::string const& node, std::string const& attribute, ConsumerConfigHandler* h,
                                        ConsumerCallbackType type) {
    return reaches(pattern(node, attribute), consumerTable(type), holds(h));
}

bool ConfigRegistrar::isStillRegistered(std::string const& node, std::string const& attribute,
                                        ProviderConfigHandler* h) {
    return reaches(pattern(node, attribute), providerTable(), holds(h));
}

template <typename Handler, typename Accept>
bool ConfigRegistrar::reaches(ConfigVar const& var, const Table<Handler>& table, Accept&& accept) {
    const std::string name = var.getFQName();
    const PlainLock lock(m_mutex);
    return std::any_of(table.begin(), table.end(), [&](const auto& entry) {
        return accept(entry.second) && AppConfig::reach(entry.first, var, name) != Reach::none;
    });
}

template <typename Handler>
std::list<Handler*> ConfigRegistrar::getHandlers(ConfigVar const& var, const Table<Handler>& table,
                                                 bool includePlaceholders) {
    const std::string name = var.getFQName();
    std::list<Handler*> exact;
    std::list<Handler*> wildcard;
    const PlainLock lock(m_mutex);
    for (const auto& [key, handlers] : table) {
        const Reach how = AppConfig::reach(key, var, name);
        if (how == Reach::none) continue;
        std::list<Handler*>& matches = how == Reach::exact ? exact : wildcard;
        for (Handler* handler : handlers) {
            if (handler != nullptr || includePlaceholders) matches.push_back(handler);
        }
    }
    exact.splice(exact.end(), wildcard);
    return exact;
}

template <typename Handler>
bool ConfigRegistrar::unregisterHandler(ConfigVar const& var, Handler* h, Table<Handler>& table) {
    const PlainLock lock(m_mutex);
    // An unknown variable leaves an empty entry behind, and an emptied one stays: neither finds anything.
    std::list<Handler*>& handlers = table[var];
    const std::size_t before = handlers.size();
    handlers.remove(h);
    if (handlers.size() == before) return false;
    m_removals.fetch_add(1, std::memory_order_relaxed);
    return true;
}

template std::list<ConsumerConfigHandler*> ConfigRegistrar::getHandlers<ConsumerConfigHandler>(
    ConfigVar const&, const Table<ConsumerConfigHandler>&, bool);
template std::list<ProviderConfigHandler*> ConfigRegistrar::getHandlers<ProviderConfigHandler>(
    ConfigVar const&, const Table<ProviderConfigHandler>&, bool);
template bool ConfigRegistrar::unregisterHandler<ConsumerConfigHandler>(ConfigVar const&, ConsumerConfigHandler*,
                                                                        Table<ConsumerConfigHandler>&);
template bool ConfigRegistrar::unregisterHandler<ProviderConfigHandler>(ConfigVar const&, ProviderConfigHandler*,
                                                                        Table<ProviderConfigHandler>&);
