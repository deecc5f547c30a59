#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "check/Ledger.h"
#include "check/Watch.h"
#include "os/System.h"
#include "script/Script.h"
#include "world/Image.h"
#include "world/ServiceHost.h"

namespace Simulation {

/// Everything of one simulation: operating system, services, processes, what befalls them, and the checks. Carries a
/// script out once. One thread.
class World final : public Ground {
public:
    /// What is referred to is not owned.
    World(const Script& script, Images& images, const std::vector<AppConfigService::Definitions>& definitions,
          Trace& trace);
    ~World() override;

    /// Carries the script out, waits for quiet and checks. To be called once.
    void run();

    const Findings& findings() const { return m_book.findings; }
    Time now() const override { return m_scheduler.now(); }
    std::uint64_t switches() const { return m_scheduler.switches(); }

private:
    /// One process of the script through all its lives.
    struct Place {
        const ProcessScript* script = nullptr;
        int number = 0;
        int lives = 0;
        std::vector<std::size_t> progress;  ///< by thread: the next operation
        int threadsLeft = 0;
        Process* process = nullptr;  ///< the present life; null while there is none
        Ledger* ledger = nullptr;
        ProcessCode* code = nullptr;
    };

    // Ground.
    const void* thread() const override { return m_scheduler.current(); }
    void pause(std::chrono::milliseconds time) override;
    void note(std::string_view who, std::string_view what, std::string_view text) override;
    bool isPrinted() const override { return m_trace.isPrinted(); }
    std::unique_lock<std::recursive_mutex> lock() override { return {}; }

    void makeServices();
    void startService(ServiceHost& host, std::optional<std::size_t> unchanged = std::nullopt);
    void compareWithBefore(const ServiceHost& host, const std::vector<State>& before);
    void startProcess(Place& place);
    void runThread(Place& place, Ledger& ledger, std::size_t thread);
    ProcessPlan planOf(const ProcessScript& script) const;
    Ledger* find(const Process& process);

    // Faults.cpp
    void operationEnded();
    static constexpr int mostAttempts = 400;
    void fire(const Fault& fault, int attempts = mostAttempts);
    void after(Time time, std::function<void()> action);
    bool apply(const Fault& fault);
    bool killService(const Fault& fault);
    void serviceReturns(const Fault& fault, std::size_t definitions);
    bool killProcess(const Fault& fault);
    void heal(const Fault& fault, std::function<void()> action);
    void lookForEnd();
    bool isOver() const;

    // Settling.cpp
    void settle(Time time);
    void complainOfStuck();
    void inspect();
    void readAll();
    void readMissing(Place& place, int link);
    void probe();
    void probeProviders(ServiceHost& host);
    void probeVariable(ServiceHost& host, int variable);
    void submit(ServiceHost& host, const google::protobuf::MessageLite& message);

    const Script& m_script;
    Images& m_images;
    const std::vector<AppConfigService::Definitions>& m_definitions;
    Trace& m_trace;
    Random m_random;
    Scheduler m_scheduler;
    System m_system;
    Book m_book;
    Watch m_watch;
    std::vector<std::unique_ptr<ServiceHost>> m_services;
    std::vector<std::unique_ptr<Process>> m_processes;
    std::vector<std::unique_ptr<Ledger>> m_ledgers;
    std::vector<Place> m_places;
    int m_operations = 0;
    std::size_t m_nextFault = 0;
    int m_healing = 0;
};

}  // namespace Simulation
