#include "delivery/Reachability.h"

#include <utility>

#include "FrameStream.h"

namespace AppConfigHost {

using AppConfig::PlainLock;

bool Reachability::add(const std::string& endpoint) {
    const PlainLock lock(m_mutex);
    const bool isNew = m_states.emplace(endpoint, State{}).second;
    if (isNew) m_added.push_back(endpoint);
    return isNew;
}

std::vector<std::string> Reachability::takeAdded() {
    const PlainLock lock(m_mutex);
    return std::exchange(m_added, {});
}

void Reachability::renew(const std::string& endpoint) {
    const PlainLock lock(m_mutex);
    const auto found = m_states.find(endpoint);
    if (found != m_states.end()) found->second.mustRenew = true;
}

bool Reachability::mustRenew(const std::string& endpoint) const {
    const PlainLock lock(m_mutex);
    const auto found = m_states.find(endpoint);
    return found != m_states.end() && found->second.mustRenew;
}

void Reachability::renewalBegins(const std::string& endpoint) {
    const PlainLock lock(m_mutex);
    State& state = m_states[endpoint];
    state.mustRenew = false;
    state.renewing = true;
}

void Reachability::attemptEnded(const std::string& endpoint, int fd) {
    const PlainLock lock(m_mutex);
    State& state = m_states[endpoint];
    if (state.mustRenew) return;
    state.renewing = false;
    ++state.attempts;
    state.fd = fd;
    state.nudged = false;
    m_changed.notify_all();
}

void Reachability::lost(const std::string& endpoint) {
    const PlainLock lock(m_mutex);
    m_states[endpoint].fd = -1;
}

bool Reachability::takeNudge(const std::string& endpoint) {
    const PlainLock lock(m_mutex);
    return std::exchange(m_states[endpoint].nudged, false);
}

std::uint64_t Reachability::attemptsToAwait(const std::string& endpoint, bool justConnected) {
    const PlainLock lock(m_mutex);
    const auto found = m_states.find(endpoint);
    if (found == m_states.end()) return 0;
    State& state = found->second;
    if (state.attempts == 0 || state.mustRenew || state.renewing) return state.attempts + 1;
    // The descriptor is closed only after lost(), so it can be looked at here. It may be dead although the delivery
    // thread, busy with a handler, has not seen it yet.
    if (!justConnected || (state.fd >= 0 && !peerHasClosed(state.fd))) return 0;
    state.nudged = true;
    return state.attempts + 1;
}

bool Reachability::haveEndedLocked(const std::string& endpoint, std::uint64_t attempts) const {
    if (m_stopped) return true;
    const auto found = m_states.find(endpoint);
    return found == m_states.end() || found->second.attempts >= attempts;
}

bool Reachability::haveEnded(const std::string& endpoint, std::uint64_t attempts) const {
    const PlainLock lock(m_mutex);
    return haveEndedLocked(endpoint, attempts);
}

void Reachability::await(const std::string& endpoint, std::uint64_t attempts, Deadline deadline) {
    const PlainLock lock(m_mutex);
    while (!haveEndedLocked(endpoint, attempts)) {
        if (m_changed.wait_until(m_mutex, deadline.time()) == std::cv_status::timeout) return;
    }
}

void Reachability::stop() {
    const PlainLock lock(m_mutex);
    m_stopped = true;
    m_changed.notify_all();
}

}  // namespace AppConfigHost
