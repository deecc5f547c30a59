#include "free/FreeRun.h"

#include <cerrno>

#include "check/Quiet.h"
#include "core/Core.h"
#include "os/Random.h"
#include "script/Variables.h"

namespace Simulation {

namespace {

constexpr const char* serviceName = "ConfigSrvc";

thread_local char ownThread = 0;

std::string nameOf(int service) {
    return service == 0 ? serviceName : std::string(secondPath) + "/" + serviceName;
}

}  // namespace

FreeRun::FreeRun(const Script& script, Images& images)
    : m_script(script), m_images(images), m_book(*this, script.services) {
    m_book.onOperation = [this] { ++m_operations; };
    m_book.history.isDefault = [definitions = readDefinitionSets().front()](int,
                                                                            const AppConfigService::VariableRow& row) {
        return isDefault(definitions, row);
    };
}

FreeRun::~FreeRun() = default;

Time FreeRun::now() const {
    return std::chrono::steady_clock::now().time_since_epoch();
}

const void* FreeRun::thread() const {
    return &ownThread;
}

void FreeRun::pause(std::chrono::milliseconds time) {
    // Long pauses are there to let virtual time pass; here they would only make it dull.
    constexpr std::chrono::milliseconds longest(5);
    std::this_thread::sleep_for(std::min(time, longest));
}

void FreeRun::note(std::string_view /*who*/, std::string_view /*what*/, std::string_view /*text*/) {}

int FreeRun::connect(const std::string& endpoint) {
    for (std::size_t i = 0; i < m_services.size(); ++i) {
        if (endpoint == nameOf(static_cast<int>(i))) return m_services[i].service->connect(endpoint);
    }
    errno = ENOENT;
    return -1;
}

void FreeRun::makeServices() {
    for (int i = 0; i < m_script.services; ++i) {
        AppConfigService::ServiceOptions options;
        options.name = nameOf(i);
        options.namespaceNumber = i == 0 ? 0 : secondNamespace;
        options.providerDeadline = std::chrono::milliseconds(m_script.providerDeadline);
        Service made;
        made.store = std::make_shared<ServiceStore>();
        made.store->onStored = [this, i](const AppConfigService::Batch& batch) {
            const auto held = lock();
            m_book.history.stored(i, batch);
        };
        made.service =
            std::make_unique<AppConfigService::EmbeddedService>(definitionText(0), made.store, std::move(options));
        m_services.push_back(std::move(made));
    }
    for (int i = 0; i < m_script.services; ++i) start(i);
}

void FreeRun::start(int number) {
    AppConfigService::EmbeddedService& service = *m_services[static_cast<std::size_t>(number)].service;
    const auto started = service.start();
    if (!started) {
        std::fprintf(stderr, "simulation: the service does not start: %s\n", started.error().reason.c_str());
        std::abort();
    }
    (void)service.onServiceThread([&](AppConfigService::Core& core) {
        const auto held = lock();
        m_book.history.adopted(number, core);
    });
}

void FreeRun::makeProcesses() {
    ProcessPlan plan;
    plan.peer = this;
    plan.variables = variableNames();
    plan.movedNamespace = secondNamespace;
    plan.movedPath = secondPath;
    int number = 0;
    for (const ProcessScript& script : m_script.processes) {
        Image* const image = m_images.take();
        if (image == nullptr) return;
        Place place;
        Life life;
        life.name = "p" + std::to_string(++number);
        // All processes are of the user that runs this, and slow under a sanitizer.
        life.uid = ownUser;
        life.deadline = std::chrono::hours(1);
        place.script = &script;
        place.ledger = std::make_unique<Ledger>(m_book, life, m_script.services);
        place.code = image->code;
        plan.consumers = script.consumers;
        plan.providers = script.providers;
        place.code->begin(*place.ledger, plan);
        m_places.push_back(std::move(place));
    }
}

void FreeRun::perform(Place& place, std::size_t thread) {
    const ThreadScript& script = place.script->threads[thread];
    for (const Operation& operation : script.setUp) place.code->perform(operation);
    for (const Operation& operation : script.operations) {
        place.code->perform(operation);
        if (place.ledger->takeFailure()) pause(std::chrono::milliseconds(2));
    }
    --m_working;
}

void FreeRun::apply(const Fault& fault) {
    Service& hit = m_services[static_cast<std::size_t>(fault.service)];
    const auto state = static_cast<StateAfter>(fault.number);
    switch (fault.kind) {
        case FaultKind::breakRequests:
        case FaultKind::breakDeliveries:
        case FaultKind::breakAll: hit.service->disconnect(); break;
        case FaultKind::killService:
            hit.service->stop();
            if (state == StateAfter::forgotten) {
                const auto held = lock();
                hit.store->forget();
                for (const Place& place : m_places) place.ledger->stateReplaced(fault.service);
            }
            pause(std::chrono::milliseconds(fault.milliseconds));
            start(fault.service);
            break;
        default: return;
    }
    const auto held = lock();
    ++m_book.findings.faults;
}

void FreeRun::faults() {
    for (const Fault& fault : m_script.faults) {
        while (m_operations < fault.after && m_working != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        apply(fault);
    }
}

void FreeRun::check() {
    Quiet quiet(m_book);
    for (const Place& place : m_places) {
        for (int link = 0; link < (place.ledger->hasMoved() ? 2 : 1); ++link) {
            quiet.cache(*place.ledger, *place.code, link);
        }
        quiet.handlers(*place.ledger);
    }
}

/// Nobody says when everything has arrived: what is found at first is looked at again until it has been there for long.
void FreeRun::awaitQuiet() {
    constexpr auto longest = std::chrono::seconds(20);
    const auto begun = std::chrono::steady_clock::now();
    for (;;) {
        {
            // Held throughout: nothing of what is compared moves meanwhile.
            const auto held = lock();
            const Findings before = m_book.findings;
            check();
            const bool nothing = m_book.findings.all().size() == before.all().size();
            if (nothing || std::chrono::steady_clock::now() - begun > longest) return;
            m_book.findings = before;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void FreeRun::run() {
    makeServices();
    makeProcesses();
    std::vector<std::thread> threads;
    for (const Place& place : m_places) m_working += static_cast<int>(place.script->threads.size());
    for (Place& place : m_places) {
        for (std::size_t i = 0; i < place.script->threads.size(); ++i) {
            threads.emplace_back([this, &place, i] { perform(place, i); });
        }
    }
    faults();
    for (std::thread& thread : threads) thread.join();
    awaitQuiet();
}

}  // namespace Simulation
