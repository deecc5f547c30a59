#pragma once

#include <string>
#include <utility>

#include "core/Core.h"
#include "server/SendQueue.h"

/// Whether the core asks its outbox for room before it sends what can wait. With one that does not, the queue itself
/// keeps the newest state of each variable.
#if __has_include("core/Backlog.h")
#define SIMULATION_CORE_ASKS_FOR_ROOM 1
#else
#define SIMULATION_CORE_ASKS_FOR_ROOM 0
#endif

namespace Simulation {

/// The outbox as a ServiceHost implements it, whichever interface the core has.
class OutboxOfHost : public AppConfigService::Outbox {
protected:
    /// See Outbox::send(). \p replaces: see SendQueue::push().
    virtual void carry(AppConfigService::ConnectionId id, const AppConfigHost::Frame& frame,
                       const std::string& replaces) = 0;
    /// See Outbox::hasRoom().
    virtual bool isRoomFor(AppConfigService::ConnectionId id) = 0;

#if SIMULATION_CORE_ASKS_FOR_ROOM
    void send(AppConfigService::ConnectionId id, const AppConfigHost::Frame& frame) final {
        carry(id, frame, {});
    }
    bool hasRoom(AppConfigService::ConnectionId id) final {
        return isRoomFor(id);
    }

    static bool push(AppConfigService::SendQueue& queue, std::string bytes, const std::string& /*replaces*/) {
        return queue.push(std::move(bytes));
    }
    static void drained(AppConfigService::Core& core, AppConfigService::ConnectionId id, AppConfigService::Time now) {
        core.drained(id, now);
    }
#else
    void send(AppConfigService::ConnectionId id, const AppConfigHost::Frame& frame, const std::string& replaces) final {
        carry(id, frame, replaces);
    }

    static bool push(AppConfigService::SendQueue& queue, std::string bytes, const std::string& replaces) {
        return queue.push(std::move(bytes), replaces);
    }
    static void drained(AppConfigService::Core& /*core*/, AppConfigService::ConnectionId /*id*/,
                        AppConfigService::Time /*now*/) {}
#endif
};

}  // namespace Simulation
