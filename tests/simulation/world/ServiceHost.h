#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/Core.h"
#include "os/Network.h"
#include "os/Random.h"
#include "script/Script.h"
#include "world/ServiceStore.h"
#include "world/Session.h"

namespace Simulation {

/// Who hears what a simulated service does.
class ServiceObserver {
public:
    virtual ~ServiceObserver() = default;

    /// A frame of \p client is about to be given to the core.
    virtual void received(int service, const Session& from, const AppConfigWire::Frame& frame) = 0;
    /// The core has handed a frame for \p client over.
    virtual void sent(int service, const Session& to, const AppConfigWire::Frame& frame) = 0;
    virtual void stored(int service, const AppConfigService::Batch& batch) = 0;
    /// The service was started or has read other definitions.
    virtual void adopted(int service) = 0;
};

/// How a simulated service is set up.
struct ServiceSettings {
    int number = 0;  ///< from 0
    AppConfigService::ServiceOptions options;
    Sabotage sabotage = Sabotage::none;
};

/// One simulated service: the core with sessions that behave as those of the program, on simulated connections. Each
/// piece of its work, such as one frame, one transaction or what a deadline makes due, is a step of its own. One
/// thread, not in a fibre, but for admit().
class ServiceHost final : public Listener, public Steps, private AppConfigService::Outbox {
public:
    /// What is referred to is not owned. \p definitions: those it may be told to read, the first ones at its start.
    ServiceHost(Scheduler& scheduler, Random random, ServiceSettings settings,
                const std::vector<AppConfigService::Definitions>& definitions, ServiceObserver& observer);
    ~ServiceHost() override;

    /// \return whether it runs now: it does not when its disk fails.
    bool start();
    /// Ends at once; what is not stored is lost. With \p losing, so is what is under way to clients.
    void kill(bool losing);
    bool isRunning() const { return m_core != nullptr; }

    /// Reads the definitions of that number, now or at the next start.
    void reload(std::size_t definitions);
    /// Refuses connects with \p error; 0: no longer.
    void refuse(int error) { m_refusal = error; }
    /// How connections that are made from now on behave.
    void setWeather(const Weather& weather) { m_weather = weather; }
    /// Breaks connections of \p client; of everybody when it is null. \return whether there were some.
    bool breakConnections(const Process* client, bool requests, bool deliveries);
    /// Serves a request of the service's own user. Nobody gets the reply.
    void call(std::uint32_t messageId, const std::string& payload);

    ServiceStore& store() { return m_store; }
    AppConfigService::Core* core() { return m_core.get(); }
    const std::vector<AppConfigService::Definitions>& definitions() const { return m_definitions; }
    std::size_t definitionsInUse() const { return m_inUse; }
    int number() const { return m_settings.number; }

    std::shared_ptr<Connection> admit(Process& client, int& error) override;
    std::size_t ready() const override;
    void run() override;

private:
    void send(AppConfigService::ConnectionId id, const AppConfigWire::Frame& frame) override;
    bool hasRoom(AppConfigService::ConnectionId id) override;
    void idle(AppConfigService::ConnectionId id) override;
    void close(AppConfigService::ConnectionId id) override;

    AppConfigService::Time time() const;
    bool tickIsDue() const;
    void settle();
    void mark(Session& session);
    void serve(Session& session);
    bool takeFrame(Session& session);
    bool reportRoom(Session& session);
    void report(Session& session);

    Scheduler& m_scheduler;
    Random m_random;
    const ServiceSettings m_settings;
    const std::vector<AppConfigService::Definitions>& m_definitions;
    ServiceObserver& m_observer;
    const std::string m_name;
    ServiceStore m_store;
    std::unique_ptr<AppConfigService::Core> m_core;
    std::size_t m_inUse = 0;
    int m_refusal = 0;
    Weather m_weather;
    AppConfigService::ConnectionId m_next = 1;
    std::map<AppConfigService::ConnectionId, std::unique_ptr<Session>> m_sessions;
    std::vector<std::unique_ptr<Session>> m_closed;  ///< those that end within a step that may still look at them
    std::vector<Session*> m_ready;
    Time m_tick = never;
    Time m_armed = never;
};

}  // namespace Simulation
