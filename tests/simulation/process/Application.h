#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <vector>

#include "AppConfig/AppCfgManager.h"
#include "process/Handlers.h"
#include "process/Names.h"
#include "process/ProcessCode.h"
#include "process/WatchedTransport.h"

namespace Simulation {

/// The application of one simulated process: carries operations out through the library's public interface. Owns its
/// transports and handlers and never gives them back, as a process that is killed does not. Thread-safe.
class Application final : public ProcessCode, public HandlerOwner {
public:
    void begin(ProcessHost& host, const ProcessPlan& plan) override;
    void perform(const Operation& operation) override { perform(operation, -1); }
    void perform(const Operation& operation, int fromHandler) override;
    CachedRecord inspect(int link, int variable) override;
    const void* threadLocal() override;

    ProcessHost& host() override { return *m_host; }
    const Names& names() const override { return *m_names; }

private:
    static constexpr std::size_t slots = 8;

    /// One operation under way.
    struct Running {
        const Operation& operation;
        std::uint64_t number;
        Outcome outcome;
        bool inHandler;
    };

    using Perform = void (Application::*)(Running&);
    static Perform performerOf(Action action);

    // By topic: Reading.cpp, Writing.cpp, Handling.cpp, Linking.cpp.
    void readList(Running& running);
    void readText(Running& running);
    void readBool(Running& running);
    void readInt(Running& running);
    void readRecord(Running& running);
    void readIsDefault(Running& running);
    void readOptions(Running& running);
    void readOptionsList(Running& running);
    void readDefaultOptions(Running& running);
    void readDefaultIndex(Running& running);
    void readLevels(Running& running);
    void write(Running& running);
    void writeUnawaited(Running& running);
    void reset(Running& running);
    void validate(Running& running);
    void setOptions(Running& running);
    void setOptionsWithIndex(Running& running);
    void setLevels(Running& running);
    void setLevelsUnawaited(Running& running);
    void removeVars(Running& running);
    void addConsumer(Running& running);
    void removeConsumer(Running& running);
    void deleteConsumer(Running& running);
    void addProvider(Running& running);
    void removeProvider(Running& running);
    void forgetAll(Running& running);
    void setRole(Running& running);
    void setTransport(Running& running);
    void endTransport(Running& running);
    void changePrimary(Running& running);
    void readAtLink(Running& running);
    void addConsumerAtLink(Running& running);
    void pause(Running& running);

    /// \return the manager of \p link; null while there is no such link.
    AppConfig::AppCfgManager* manager(int link) const;
    /// The same for an operation, which is not done when there is none.
    AppConfig::AppCfgManager* managerFor(Running& running) const;
    ConfigVar named(int variable) const;
    WatchedTransport& transport(int slot);
    Consumer& makeConsumer(Running& running);
    /// Takes the handler out of its slot. \return null when there is none.
    Consumer* takeConsumer(int slot);

    ProcessHost* m_host = nullptr;
    ProcessPlan m_plan;
    std::unique_ptr<Names> m_names;
    std::atomic<bool> m_moved{false};

    std::mutex m_mutex;  ///< guards what follows; not held while the library is called
    std::array<std::unique_ptr<WatchedTransport>, slots> m_transports;
    std::vector<std::unique_ptr<Consumer>> m_allConsumers;
    std::vector<std::unique_ptr<Provider>> m_allProviders;
    std::array<Consumer*, slots> m_consumers{};
    std::array<Provider*, slots> m_providers{};
    int m_handlers = 0;
};

}  // namespace Simulation
