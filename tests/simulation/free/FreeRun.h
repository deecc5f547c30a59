#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "check/Ledger.h"
#include "script/Script.h"
#include "server/EmbeddedService.h"
#include "wire/InProcessPeer.h"
#include "world/Image.h"
#include "world/ServiceStore.h"

namespace Simulation {

/// Carries a script out with real threads, real sockets and embedded services: all threads at once, for a sanitizer to
/// watch, and with the same checks. Processes are copies of their code in this one process, so none is killed or
/// stopped; of the faults those happen that a service in the same process can suffer.
class FreeRun final : public Ground, public PbUtility::InProcessPeer {
public:
    /// \p images is not owned.
    FreeRun(const Script& script, Images& images);
    ~FreeRun() override;

    /// To be called once. Blocks until everything is checked.
    void run();
    /// A copy: delivery threads go on.
    Findings findings() {
        const auto held = lock();
        return m_book.findings;
    }

    /// Connects to the service of that name.
    int connect(const std::string& endpoint) override;

private:
    struct Place {
        const ProcessScript* script = nullptr;
        std::unique_ptr<Ledger> ledger;
        ProcessCode* code = nullptr;
    };
    struct Service {
        std::shared_ptr<ServiceStore> store;
        std::unique_ptr<AppConfigService::EmbeddedService> service;
    };

    // Ground.
    Time now() const override;
    const void* thread() const override;
    void pause(std::chrono::milliseconds time) override;
    void note(std::string_view who, std::string_view what, std::string_view text) override;
    bool isPrinted() const override { return false; }
    std::unique_lock<std::recursive_mutex> lock() override { return std::unique_lock<std::recursive_mutex>(m_mutex); }

    void makeServices();
    void start(int number);
    void makeProcesses();
    void perform(Place& place, std::size_t thread);
    void faults();
    void apply(const Fault& fault);
    void check();
    void awaitQuiet();

    const Script& m_script;
    Images& m_images;
    std::recursive_mutex m_mutex;  ///< guards the book and the ledgers
    Book m_book;
    std::vector<Service> m_services;
    std::vector<Place> m_places;
    std::atomic<int> m_operations{0};
    std::atomic<int> m_working{0};
};

}  // namespace Simulation
