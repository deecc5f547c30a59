#pragma once

#include "AppConfig/PlatformCfgService.h"
#include "link/ChangesUnderWay.h"
#include "link/HandlersBeingAdded.h"
#include "link/IncomingVariable.h"
#include "link/RunningCalls.h"
#include "link/TransportSetup.h"

namespace AppConfig {

/// The state of what is going on in a link. Each member synchronises itself.
struct PlatformCfgService::State {
    TransportSetup setup;
    HandlersBeingAdded additions;
    RunningCalls calls;
    ChangesUnderWay changes;
};

// The list is a copy, so a handler may register and unregister anything. Since it may also delete what it has
// unregistered, each handler is looked up again before its call if anything has been removed.

template <typename Call>
void PlatformCfgService::callConsumers(const IncomingVariable& var, ConfigRegistrar::ConsumerCallbackType type,
                                       Call&& call) {
    m_state->additions.await(var.node, var.attribute, type);
    const std::uint64_t removals = m_registrar.removals();
    for (ConsumerConfigHandler* handler : m_registrar.getHandlers(var.node, var.attribute, type)) {
        const RunningCalls::Call running(m_state->calls, handler);
        const bool gone = m_registrar.removals() != removals &&
                          !m_registrar.isStillRegistered(var.node, var.attribute, handler, type);
        if (!gone) call(*handler);
    }
}

template <typename Call>
void PlatformCfgService::callProviders(const IncomingVariable& var, Call&& call) {
    m_state->additions.await(var.node, var.attribute, HandlersBeingAdded::provider);
    const std::uint64_t removals = m_registrar.removals();
    for (ProviderConfigHandler* handler : m_registrar.getProviderHandlers(var.node, var.attribute)) {
        const RunningCalls::Call running(m_state->calls, handler);
        const bool gone =
            m_registrar.removals() != removals && !m_registrar.isStillRegistered(var.node, var.attribute, handler);
        if (!gone && !call(*handler)) break;
    }
}

}  // namespace AppConfig
