#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "WireNames.h"
#include "frame.pb.h"

namespace AppConfigHost {

/// Per endpoint, what the transport says about itself when it connects: up to which change its handlers have run, and
/// which newer changes this process has learnt of. From this the service knows what the client missed, and whether its
/// own state is the one that the client knew: a state that was lost or set back lacks some of these points.
/// Thread-safe; no operation blocks.
class ResumePoints {
public:
    /// For how many timelines the newest seen number is kept. A client that has seen more says that no state is its
    /// own.
    static constexpr std::size_t mostSeen = 16;

    /// What the transport that took over an endpoint has to know; see Handover.
    struct PassOn {
        /// See saw().
        std::function<void(const std::string& endpoint, std::uint64_t timeline, std::uint64_t number)> saw;
        /// The client had no point there, and has got one.
        std::function<void(const std::string& endpoint)> joined;
    };

    ResumePoints() = default;
    explicit ResumePoints(PassOn passOn) : m_passOn(std::move(passOn)) {}

    /// Sets the points in a HELLO for requests.
    void describe(const std::string& endpoint, Hello& hello) const;

    /// The same for a connection for deliveries. \return the connection's number, for the operations below.
    std::uint64_t describeForDelivery(const std::string& endpoint, Hello& hello);

    /// A registration at \p endpoint did not reach the service. If the service was never reached there, the client
    /// begins before all changes, because it has been waiting for them.
    void registeredInVain(const std::string& endpoint);

    /// From now on, handlers of \p endpoint are passed over, and handled() does not count for them.
    void handOver(const std::string& endpoint);

    /// Another transport served the handlers of \p endpoint; \p former are its points. From the next connection on,
    /// this client has known the service since the earlier of the two began, has seen what both have seen, and stands
    /// where it stood when it handed the endpoint over, if it did. If the handlers may hold contents of another state,
    /// it stands in no state, and is told everything. \p waits: something was registered there, so that the client
    /// waits for changes although it may have reached no service yet. \return false, with nothing taken over, if
    /// nothing was registered or read there: the client then stands where its own handshake has put it, or will.
    bool takeOver(const std::string& endpoint, const ResumePoints& former, bool waits);

    /// Takes the WELCOME on a request connection. Only a client without a point takes the point in it.
    void welcomedForRequests(const std::string& endpoint, const Welcome& welcome);

    /// Takes the WELCOME on the delivery connection \p connection. \return false if the client had no point to send and
    /// has meanwhile got one other than that in WELCOME: then it must reconnect, or the service would begin at a point
    /// that is not the client's.
    bool welcomedForDelivery(const std::string& endpoint, std::uint64_t connection, const Welcome& welcome);

    /// The process is about to learn of change \p number of \p timeline. To be called before it does.
    void saw(const std::string& endpoint, std::uint64_t timeline, std::uint64_t number);

    /// The same for what was learnt over another transport; it is not passed on.
    void sawElsewhere(const std::string& endpoint, std::uint64_t timeline, std::uint64_t number);

    /// A frame of \p connection that carries the point \p sequence of \p timeline has been handled, and with it
    /// everything that the service had to send up to there.
    void handled(const std::string& endpoint, std::uint64_t connection, std::uint64_t timeline, std::uint64_t sequence);

private:
    struct Point {
        std::uint64_t timeline = 0;
        std::optional<std::uint64_t> joined;  ///< nothing when the client came from another state
        std::uint64_t delivered = 0;
    };
    struct Seen {
        std::uint64_t timeline = 0;
        std::uint64_t number = 0;
        std::optional<std::uint64_t> told;  ///< the number that the current delivery connection began with
    };
    struct State {
        std::optional<Point> point;
        std::vector<Seen> seen;
        std::optional<Point> handedOver;  ///< its point when it first handed over, if that state lasts
        std::uint64_t countsFrom = 0;     ///< earlier connections do not move the point
        bool foreign = false;             ///< its handlers may hold what a state brought that the point has left since
        bool early = false;               ///< something was registered in vain before there was a point
        bool crowded = false;             ///< more timelines were seen than are kept
        bool crowdedTold = false;         ///< the current delivery connection began with that
        std::uint64_t connection = 0;     ///< the last one for deliveries
        bool hadPoint = false;            ///< it began with a point
        bool pointKnown = false;          ///< the client's point belongs to the state at its other end
    };

    static void describe(const State& state, Hello& hello);
    static bool join(State& state, const Welcome& welcome);
    static void takeBack(State& state);
    static void note(State& state, std::uint64_t timeline, std::uint64_t number);
    State copyOf(const std::string& endpoint) const;
    template <typename Predicate>
    static void forgetSeen(State& state, const Predicate& isCovered);

    const PassOn m_passOn{};
    mutable AppConfig::PlainMutex m_mutex;
    std::map<std::string, State> m_states APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
