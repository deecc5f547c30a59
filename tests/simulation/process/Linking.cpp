#include "AppConfig/PlatformCfgService.h"
#include "InProcessTransport.h"
#include "process/Application.h"

namespace Simulation {

WatchedTransport& Application::transport(int slot) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto& place = m_transports[static_cast<std::size_t>(slot)];
    if (!place) {
        PbUtility::TransportOptions options;
        options.runtimeDirectory = m_plan.runtimeDirectory;
        options.deadline = m_plan.deadline;
        std::unique_ptr<PbUtility::SocketTransport> made;
        if (m_plan.peer == nullptr) {
            made = std::make_unique<PbUtility::UnixTransport>(options);
        } else {
            made = std::make_unique<PbUtility::InProcessTransport>(*m_plan.peer, options);
        }
        place = std::make_unique<WatchedTransport>(std::move(made), *m_host, *m_names);
        m_host->transportMade(slot, place->localEndpoint());
    }
    return *place;
}

void Application::setRole(Running& running) {
    auto* const at = managerFor(running);
    if (at == nullptr) return;
    at->setSecurityRole(static_cast<AppConfig::SecurityRole>(running.operation.number));
}

void Application::setTransport(Running& running) {
    auto* const at = managerFor(running);
    if (at == nullptr) return;
    at->setPbInterface(&transport(running.operation.slot));
}

void Application::endTransport(Running& running) {
    // Not from a handler: the delivery thread cannot wait for itself.
    running.outcome.done = !running.inHandler;
    if (running.inHandler) return;
    transport(running.operation.slot).end();
}

void Application::changePrimary(Running& running) {
    running.outcome.accepted = AppConfig::AppCfgManager::changePrimaryConfigService(
        m_plan.movedNamespace, m_plan.movedPath, std::string(), &transport(running.operation.slot));
    if (running.outcome.accepted) m_moved = true;
}

void Application::pause(Running& running) {
    m_host->pause(std::chrono::milliseconds(running.operation.number));
}

}  // namespace Simulation
