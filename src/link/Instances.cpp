#include <unistd.h>

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProtobufMessageHelper.h"
#include "PbUtils.h"
#include "link/LinkState.h"
#include "link/StaticMutex.h"

namespace AppConfig {

namespace {

/// Guards the creation and replacement of the two instances. Not held while a transport is called.
StaticMutex instancesMutex;

constexpr char serviceEndpoint[] = "ConfigSrvc";

std::string clientNameOf(int namespaceId) {
    const std::string number = std::to_string(namespaceId);
    // The namespace is in it twice: the service and its tools know the name in this form.
    return "PlatCfgSvc" + number + "-" + std::to_string(getpid()) + "-" + number;
}

std::string joined(const std::string& path, const std::string& name) {
    if (path.empty() || path.back() == '/') return path + name;
    return path + '/' + name;
}

}  // namespace

std::atomic<PlatformCfgService*> PlatformCfgService::ms_instance{nullptr};
std::atomic<PlatformCfgService*> PlatformCfgService::ms_localInstance{nullptr};

PlatformCfgService::PlatformCfgService(int namespaceId, const std::string& linkToConfig, const std::string& linkToSelf)
    : m_clientName(clientNameOf(namespaceId)),
      m_securityRole(CommonIF::SECURITY_ROLE_WIRE_20),
      m_namespace(namespaceId),
      m_linkToConfig(linkToConfig),
      m_linkToSelf(linkToSelf),
      m_state(std::make_unique<State>()) {}

PlatformCfgService::~PlatformCfgService() = default;

PlatformCfgService* PlatformCfgService::getLocalCfgService() {
    if (PlatformCfgService* link = ms_localInstance.load(std::memory_order_acquire)) return link;
    const StaticLock lock(instancesMutex);
    PlatformCfgService* link = ms_localInstance.load(std::memory_order_acquire);
    if (link == nullptr) {
        link = new PlatformCfgService(0, std::string(), std::string());
        ms_localInstance.store(link, std::memory_order_release);
    }
    return link;
}

PlatformCfgService* PlatformCfgService::getInstance() {
    if (PlatformCfgService* link = ms_instance.load(std::memory_order_acquire)) return link;
    PlatformCfgService* const local = getLocalCfgService();
    PlatformCfgService* link = nullptr;
    // The one that was stored first stays: another caller's, or a replacement that came in between.
    return ms_instance.compare_exchange_strong(link, local) ? local : link;
}

PlatformCfgService* PlatformCfgService::changePrimaryConfigService(int namespaceId, const std::string& linkToConfig,
                                                                   const std::string& linkToSelf,
                                                                   PbUtility::PbUtils* pb) {
    PlatformCfgService* const local = getLocalCfgService();
    PlatformCfgService* link = nullptr;
    {
        const StaticLock lock(instancesMutex);
        PlatformCfgService* const present = ms_instance.load(std::memory_order_acquire);
        if (present != nullptr && present != local) return nullptr;
        link = new PlatformCfgService(namespaceId, linkToConfig, linkToSelf);
        ms_instance.store(link, std::memory_order_release);
    }
    if (pb != nullptr) link->setPbInterface(pb);
    return link;
}

void PlatformCfgService::setPbInterface(PbUtility::PbUtils* pb) {
    if (pb == nullptr) return;
    {
        const TransportSetup::Installation installation(m_state->setup, pb);
        if (!installation.isNeeded()) return;
        install(*pb);
    }
    // Handlers that were added before there was any transport; none, once there was one.
    for (const auto& [name, type] : m_state->setup.takeKept()) registerName(name, type);
}

void PlatformCfgService::install(PbUtility::PbUtils& pb) {
    pb.addRemoteEndpoint(getConfigFQName(), -1);
    constexpr std::size_t rows = sizeof(msgCallbacks) / sizeof(msgCallbacks[0]);
    MSG_Callback table[rows];
    for (std::size_t i = 0; i < rows; ++i) {
        table[i] = msgCallbacks[i];
        if (table[i].entry != nullptr) table[i].context = this;
    }
    pb.addHandlers(table);
}

PbUtility::PbUtils* PlatformCfgService::transport() const {
    return m_state->setup.transport();
}

SecurityRole PlatformCfgService::setSecurityRole(SecurityRole role) {
    const std::int32_t before = m_securityRole.exchange(enumTranslate(role), std::memory_order_relaxed);
    return enumTranslate(static_cast<CommonIF::eSecurityRole>(before));
}

std::string PlatformCfgService::getConfigFQName() const {
    return joined(m_linkToConfig, serviceEndpoint);
}

std::string PlatformCfgService::getSelfFQName() const {
    const PbUtility::PbUtils* const pb = transport();
    return pb == nullptr ? std::string() : joined(m_linkToSelf, pb->localEndpoint());
}

int PlatformCfgService::getNamespace() const {
    return m_namespace;
}
const std::string& PlatformCfgService::getLinkToConfig() const {
    return m_linkToConfig;
}
const std::string& PlatformCfgService::getLinkToSelf() const {
    return m_linkToSelf;
}

PlatformCfgService* PlatformCfgService::findMatchingCfgService(void* context) {
    PlatformCfgService* const primary = getInstance();
    if (context == primary) return primary;
    PlatformCfgService* const local = getLocalCfgService();
    return context == local ? local : nullptr;
}

PlatformCfgService* PlatformCfgService::findMatchingCfgService(void* context, const ConfigIF::Inst& inst) {
    PlatformCfgService* const link = findMatchingCfgService(context);
    if (link == nullptr) return nullptr;
    const int namespaceId = ProtobufMessageHelper::getConfigVarNamespace(inst);
    return link->isMatchingNamespace(namespaceId, inst.scope()) ? link : nullptr;
}

AppCfgManager* PlatformCfgService::findMatchingCfgManager(void* context) {
    if (context == getInstance()) {
        AppCfgManager* const manager = AppCfgManager::getInstance();
        // The link is replaced before its manager. If it is still the primary link, this was its manager.
        if (context == getInstance()) return manager;
    }
    if (context == getLocalCfgService()) return AppCfgManager::getLocalCfgManager();
    return nullptr;
}

bool PlatformCfgService::isMatchingNamespace(int namespaceId, ConfigIF::Scope scope) const {
    return scope != ConfigIF::SCOPE_NAMESPACE || namespaceId == m_namespace;
}

}  // namespace AppConfig
