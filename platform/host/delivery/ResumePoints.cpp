#include "delivery/ResumePoints.h"

#include <algorithm>
#include <utility>

namespace AppConfigHost {

void ResumePoints::describe(const State& state, Hello& hello) {
    if (!state.point) {
        if (state.early) hello.set_joined(0);
        return;
    }
    hello.set_timeline(state.point->timeline);
    if (state.point->joined) hello.set_joined(*state.point->joined);
    hello.set_delivered(state.point->delivered);
    for (const Seen& seen : state.seen) {
        AppConfigWire::Point* point = hello.add_seen();
        point->set_timeline(seen.timeline);
        point->set_number(seen.number);
    }
    // No timeline has the number 0, so this belongs to no state.
    if (state.crowded) hello.add_seen()->set_timeline(0);
}

void ResumePoints::describe(const std::string& endpoint, Hello& hello) const {
    const AppConfig::PlainLock lock(m_mutex);
    const auto found = m_states.find(endpoint);
    if (found != m_states.end()) describe(found->second, hello);
}

std::uint64_t ResumePoints::describeForDelivery(const std::string& endpoint, Hello& hello) {
    const AppConfig::PlainLock lock(m_mutex);
    State& state = m_states[endpoint];
    describe(state, hello);
    for (Seen& seen : state.seen) seen.told = seen.number;
    state.crowdedTold = state.crowded;
    state.hadPoint = state.point.has_value();
    state.pointKnown = false;
    hello.set_connection(++state.connection);
    return state.connection;
}

void ResumePoints::registeredInVain(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    State& state = m_states[endpoint];
    state.early = !state.point;
}

ResumePoints::State ResumePoints::copyOf(const std::string& endpoint) const {
    const AppConfig::PlainLock lock(m_mutex);
    const auto found = m_states.find(endpoint);
    return found != m_states.end() ? found->second : State{};
}

void ResumePoints::handOver(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    State& state = m_states[endpoint];
    if (!state.handedOver) state.handedOver = state.point.value_or(Point{});
}

/// Goes back to where the client stood when it handed over the endpoint.
void ResumePoints::takeBack(State& state) {
    if (!state.handedOver) return;
    const Point handedOver = *std::exchange(state.handedOver, std::nullopt);
    if (!state.point) return;
    // Another state came meanwhile, or there was no point yet. A state that is known continues in another timeline with
    // the same numbers.
    if (handedOver.timeline == 0) {
        state.point = Point{};
        return;
    }
    // It has seen the questions that came on the way, even if it goes back behind them.
    const Point reached = *state.point;
    state.point->delivered = std::min(state.point->delivered, handedOver.delivered);
    if (state.point->joined) state.point->joined = std::min(*state.point->joined, state.point->delivered);
    note(state, reached.timeline, reached.delivered);
}

bool ResumePoints::takeOver(const std::string& endpoint, const ResumePoints& former, bool waits) {
    const State theirs = former.copyOf(endpoint);
    const AppConfig::PlainLock lock(m_mutex);
    State& state = m_states[endpoint];
    if (!waits && !theirs.point) {
        // Nothing was missed since this client handed the endpoint over, if it did.
        state.handedOver.reset();
        return false;
    }
    takeBack(state);
    if (!theirs.point && !state.point) {
        state.early = true;
    } else if (!state.point) {
        state.point = theirs.point;
        // What was registered here before has waited for all changes.
        if (state.early && state.point->joined) *state.point = {state.point->timeline, 0, 0};
    } else if (!theirs.point) {
        if (state.point->joined) state.point->joined = 0;
    } else if (theirs.foreign) {
        // Their handlers are this client's now. No timeline has the number 0, so this belongs to no state.
        state.point = Point{};
    } else if (!theirs.point->joined) {
        state.point->joined.reset();
    } else if (state.point->joined) {
        // The timelines may differ, since a service draws one when it first stores something. Whether both points
        // belong to one state, the service finds out itself, because it is told both.
        state.point->joined = std::min(*state.point->joined, *theirs.point->joined);
    }
    state.foreign = state.foreign || theirs.foreign;
    for (const Seen& seen : theirs.seen) note(state, seen.timeline, seen.number);
    if (theirs.point) note(state, theirs.point->timeline, theirs.point->delivered);
    state.crowded = state.crowded || theirs.crowded;
    state.crowdedTold = false;
    // The current connection was made without knowing this, and the notifications that it brought may have been passed
    // over.
    state.countsFrom = ++state.connection + 1;
    return true;
}

/// \return whether to pass that on.
bool ResumePoints::join(State& state, const Welcome& welcome) {
    state.point = Point{welcome.timeline(), welcome.changes(), welcome.changes()};
    return state.handedOver.has_value();
}

void ResumePoints::welcomedForRequests(const std::string& endpoint, const Welcome& welcome) {
    {
        const AppConfig::PlainLock lock(m_mutex);
        State& state = m_states[endpoint];
        if (state.point || !join(state, welcome) || !m_passOn.joined) return;
    }
    // A thread that had looked up this transport before is about to read here, starting at this point.
    m_passOn.joined(endpoint);
}

bool ResumePoints::welcomedForDelivery(const std::string& endpoint, std::uint64_t connection, const Welcome& welcome) {
    bool passOn = false;
    bool begins = true;
    {
        const AppConfig::PlainLock lock(m_mutex);
        State& state = m_states[endpoint];
        if (connection != state.connection) return false;
        state.pointKnown = !state.hadPoint || welcome.point_known();
        if (state.hadPoint) return true;
        if (!state.point) passOn = join(state, welcome);
        begins = state.point->timeline == welcome.timeline() && state.point->joined == welcome.changes();
    }
    if (passOn && m_passOn.joined) m_passOn.joined(endpoint);
    return begins;
}

void ResumePoints::saw(const std::string& endpoint, std::uint64_t timeline, std::uint64_t number) {
    {
        const AppConfig::PlainLock lock(m_mutex);
        State& state = m_states[endpoint];
        note(state, timeline, number);
        if (!state.handedOver || !m_passOn.saw) return;
    }
    // Another transport serves its handlers, and says what they know.
    m_passOn.saw(endpoint, timeline, number);
}

void ResumePoints::sawElsewhere(const std::string& endpoint, std::uint64_t timeline, std::uint64_t number) {
    const AppConfig::PlainLock lock(m_mutex);
    note(m_states[endpoint], timeline, number);
}

void ResumePoints::note(State& state, std::uint64_t timeline, std::uint64_t number) {
    if (state.point && state.point->timeline == timeline && number <= state.point->delivered) return;
    for (Seen& seen : state.seen) {
        if (seen.timeline != timeline) continue;
        seen.number = std::max(seen.number, number);
        return;
    }
    if (state.seen.size() < mostSeen) {
        state.seen.push_back({timeline, number, {}});
    } else {
        state.crowded = true;
        state.crowdedTold = false;
    }
}

void ResumePoints::handled(const std::string& endpoint, std::uint64_t connection, std::uint64_t timeline,
                           std::uint64_t sequence) {
    const AppConfig::PlainLock lock(m_mutex);
    State& state = m_states[endpoint];
    if (!state.point || connection < state.countsFrom) return;
    Point& point = *state.point;
    // A handler that was still running may return after the next connection was made. That connection began at the
    // older point and brings this change again. If the point moved now, the service would take it for one that it has
    // sent on this connection, and so for proof that everything before it has arrived.
    if (connection != state.connection) return;
    if (!state.pointKnown) {
        // The service did not know this client's state and has told all of its own, which is the client's from here on.
        point = {timeline, std::nullopt, sequence};
        state.foreign = true;
        // The same timeline may continue with other changes, if a copy of the state without the newest ones was put in
        // place.
        if (state.handedOver) state.handedOver = Point{};
        forgetSeen(state, [](const Seen& seen) { return seen.told && *seen.told >= seen.number; });
        state.pointKnown = true;
        return;
    }
    // A state that is known continues in another timeline with the same numbers.
    point.timeline = timeline;
    point.delivered = std::max(point.delivered, sequence);
    forgetSeen(state, [&](const Seen& seen) {
        if (seen.number > point.delivered) return false;
        return seen.timeline == timeline || (seen.told && *seen.told >= seen.number);
    });
}

template <typename Predicate>
void ResumePoints::forgetSeen(State& state, const Predicate& isCovered) {
    state.seen.erase(std::remove_if(state.seen.begin(), state.seen.end(), isCovered), state.seen.end());
    if (state.crowdedTold) state.crowded = state.crowdedTold = false;
}

}  // namespace AppConfigHost
