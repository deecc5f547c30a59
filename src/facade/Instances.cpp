#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "link/StaticMutex.h"

namespace AppConfig {

namespace {

/// Guards the creation and replacement of the two instances. Taken before the link's own lock, and not held while the
/// link calls a transport, whose delivery thread may request an instance meanwhile.
StaticMutex instancesMutex;

}  // namespace

std::atomic<AppCfgManager*> AppCfgManager::ms_instance{nullptr};
std::atomic<AppCfgManager*> AppCfgManager::ms_localInstance{nullptr};

AppCfgManager::AppCfgManager(PlatformCfgService* service) : m_service(service) {}

AppCfgManager::~AppCfgManager() = default;

AppCfgManager* AppCfgManager::localManager() {
    AppCfgManager* manager = ms_localInstance.load(std::memory_order_acquire);
    if (manager == nullptr) {
        manager = new AppCfgManager(PlatformCfgService::getLocalCfgService());
        ms_localInstance.store(manager, std::memory_order_release);
    }
    return manager;
}

AppCfgManager* AppCfgManager::getInstance() {
    if (AppCfgManager* manager = ms_instance.load(std::memory_order_acquire)) return manager;
    const StaticLock lock(instancesMutex);
    AppCfgManager* manager = ms_instance.load(std::memory_order_acquire);
    if (manager == nullptr) {
        manager = localManager();
        ms_instance.store(manager, std::memory_order_release);
    }
    return manager;
}

AppCfgManager* AppCfgManager::getLocalCfgManager() {
    if (AppCfgManager* manager = ms_localInstance.load(std::memory_order_acquire)) return manager;
    const StaticLock lock(instancesMutex);
    return localManager();
}

bool AppCfgManager::changePrimaryConfigService(int ns, const std::string& a, const std::string& b,
                                               PbUtility::PbUtils* pb) {
    {
        const StaticLock lock(instancesMutex);
        const AppCfgManager* const primary = ms_instance.load(std::memory_order_acquire);
        if (primary != nullptr && primary != localManager()) return false;
    }
    // First without the transport: its messages belong to the new manager, which must exist before they arrive.
    PlatformCfgService* const link = PlatformCfgService::changePrimaryConfigService(ns, a, b, nullptr);
    if (link == nullptr) return false;
    {
        auto* const manager = new AppCfgManager(link);
        const StaticLock lock(instancesMutex);
        ms_instance.store(manager, std::memory_order_release);
    }
    link->setPbInterface(pb);
    return true;
}

void AppCfgManager::setPbInterface(PbUtility::PbUtils* pb) {
    m_service->setPbInterface(pb);
}

PlatformCfgService* AppCfgManager::getPlatformCfgService() const {
    return m_service;
}

SecurityRole AppCfgManager::setSecurityRole(SecurityRole role) {
    return m_service->setSecurityRole(role);
}

unsigned int AppCfgManager::removeVars(std::string pattern) {
    return m_cache.removeVars(pattern);
}

}  // namespace AppConfig
