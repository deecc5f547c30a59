#include <cerrno>
#include <utility>

#include "script/ActionNames.h"
#include "world/World.h"

// What befalls a world: faults come when so many operations have ended, and most heal after their time.

namespace Simulation {

void World::operationEnded() {
    ++m_operations;
    while (m_nextFault < m_script.faults.size() && m_script.faults[m_nextFault].after <= m_operations) {
        const Fault& fault = m_script.faults[m_nextFault++];
        // Not here: a fibre runs.
        after(Time{}, [this, &fault] { fire(fault); });
    }
}

bool World::isOver() const {
    if (m_nextFault < m_script.faults.size() || m_healing != 0) return false;
    for (const Place& place : m_places) {
        if (place.process != nullptr && place.threadsLeft != 0) return false;
    }
    return true;
}

/// Something has ended. Anywhere.
void World::lookForEnd() {
    bool working = m_healing != 0;
    for (const Place& place : m_places) working = working || (place.process != nullptr && place.threadsLeft != 0);
    // The remaining faults are run()'s.
    if (!working) m_scheduler.end();
}

/// Lets the fault happen, or tries again for a while when there is nothing that it could befall.
void World::fire(const Fault& fault, int attempts) {
    const bool done = apply(fault);
    m_trace.note(now(), "world", nameOf(fault.kind), done ? "" : "has no effect");
    if (done) {
        ++m_book.findings.faults;
    } else if (attempts > 0) {
        constexpr Time again = std::chrono::milliseconds(20);
        after(again, [this, &fault, attempts] { fire(fault, attempts - 1); });
    }
}

/// Calls \p action then; the world is not over before.
void World::after(Time time, std::function<void()> action) {
    ++m_healing;
    m_scheduler.at(now() + time, [this, action = std::move(action)] {
        action();
        --m_healing;
        lookForEnd();
    });
}

void World::heal(const Fault& fault, std::function<void()> action) {
    after(std::chrono::milliseconds(fault.milliseconds), std::move(action));
}

bool World::apply(const Fault& fault) {
    ServiceHost& host = *m_services[static_cast<std::size_t>(fault.service)];
    Place& place = m_places[static_cast<std::size_t>(fault.process)];
    Process* const process = place.process;
    switch (fault.kind) {
        case FaultKind::killService: return killService(fault);
        case FaultKind::killProcess: return killProcess(fault);
        case FaultKind::breakRequests: return host.breakConnections(process, true, false);
        case FaultKind::breakDeliveries: return host.breakConnections(process, false, true);
        case FaultKind::breakAll: return host.breakConnections(nullptr, true, true);
        case FaultKind::refuse: {
            constexpr int errors[] = {ECONNREFUSED, ENOENT, EAGAIN};
            host.refuse(errors[fault.number]);
            heal(fault, [&host] { host.refuse(0); });
            return true;
        }
        case FaultKind::stopProcess:
            if (process == nullptr || process->stopped) return false;
            m_scheduler.stop(*process);
            heal(fault, [this, process] { m_scheduler.resume(*process); });
            return true;
        case FaultKind::failCommits:
            host.store().fail(true);
            heal(fault, [&host] { host.store().fail(false); });
            return true;
        case FaultKind::reload: host.reload(static_cast<std::size_t>(fault.number)); return true;
        case FaultKind::backUp: host.store().backUp(); return true;
        case FaultKind::changeWeather: host.setWeather(weatherOf(fault.number)); return true;
    }
    return false;
}

bool World::killService(const Fault& fault) {
    ServiceHost& host = *m_services[static_cast<std::size_t>(fault.service)];
    if (!host.isRunning()) return false;
    host.kill(static_cast<StateAfter>(fault.number) == StateAfter::keptAndLosing);
    const std::size_t definitions = host.definitionsInUse();
    heal(fault, [this, &fault, definitions] { serviceReturns(fault, definitions); });
    return true;
}

/// \p definitions: those that it used when it was killed.
void World::serviceReturns(const Fault& fault, std::size_t definitions) {
    ServiceHost& host = *m_services[static_cast<std::size_t>(fault.service)];
    const auto state = static_cast<StateAfter>(fault.number);
    if (state == StateAfter::older) host.store().putBack();
    if (state == StateAfter::forgotten) host.store().forget();
    const bool replaced = state == StateAfter::older || state == StateAfter::forgotten;
    if (replaced) {
        for (const auto& ledger : m_ledgers) ledger->stateReplaced(fault.service);
    }
    startService(host, replaced ? std::nullopt : std::optional<std::size_t>(definitions));
}

bool World::killProcess(const Fault& fault) {
    Place& place = m_places[static_cast<std::size_t>(fault.process)];
    if (place.process == nullptr || m_images.left() == 0) return false;
    place.ledger->end();
    m_scheduler.kill(*place.process);
    m_system.closeAll(*place.process);
    place.process = nullptr;
    heal(fault, [this, &place] { startProcess(place); });
    return true;
}

}  // namespace Simulation
