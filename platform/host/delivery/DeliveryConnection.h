#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "Connector.h"
#include "Deadline.h"
#include "EventFlag.h"
#include "FrameStream.h"
#include "TransportOptions.h"
#include "delivery/Reachability.h"
#include "delivery/RegistrationSender.h"

namespace AppConfigHost {

class ResumePoints;

/// The delivery connection to one endpoint, made again whenever it is lost: when to try, the handshake, when to close
/// it, and that the endpoint gets the registrations over it. Calls no application code itself. The delivery thread's
/// own.
class DeliveryConnection {
public:
    /// paused: there is none, and the next attempt is due later. handshake: HELLO is on its way. up: deliveries come.
    enum class Phase { paused, handshake, up };

    /// None of them is owned; all outlive the connection.
    struct Collaborators {
        Connector& connector;
        ResumePoints& resume;
        RegistrationBook& book;
        Reachability& reachability;
        const PbUtility::TransportOptions& options;
        const std::string& localEndpoint;
        const EventFlag& ended;
        std::minstd_rand& random;
        /// Tells the application that the connection is up, or was and is lost.
        std::function<void(const std::string& endpoint, bool connected)> observe;
        /// All registrations with the endpoint have been told.
        std::function<void(const std::string& endpoint)> settled;
    };

    DeliveryConnection(const Collaborators& with, std::string endpoint);

    const std::string& endpoint() const { return m_endpoint; }
    Phase phase() const { return m_phase; }
    /// \return the stream; null while paused. A handler may lose the connection, so whoever goes on with the stream
    /// after one holds it and asks isOn() first.
    const std::shared_ptr<FrameStream>& stream() const { return m_stream; }
    bool isOn(const std::shared_ptr<FrameStream>& stream) const { return m_stream == stream; }
    /// \return its number among the resume points.
    std::uint64_t number() const { return m_number; }

    /// Gives up the connection, if there is one, and lets the next attempt begin at once.
    void renew();
    /// \return whether its point was taken over from another transport and the service was not told yet.
    bool isRenewing() const { return m_renewing; }

    bool attemptIsDue() const { return m_nextAttempt.passed(); }
    /// Connects and says HELLO, neither of which may block: that would hold up the other endpoints. While paused.
    void attempt();

    /// Tells the endpoint of what it does not hold, if it can be told now. \return what the observer is to be told.
    std::vector<PbUtility::RegistrationReport> sendRegistrations();

    /// \return when there is something to do, other than what comes over it. \p mayAttempt: the next attempt counts.
    Deadline due(bool mayAttempt) const;

    /// \return whether an answer of the peer's should have come by now.
    bool isLate() const;

    /// Takes a frame that came over the present stream. \return whether it is one to be delivered; if not, it has been
    /// dealt with, which may have lost the connection.
    bool take(const Frame& frame);

    /// Writes \p frame over \p stream if that is still the connection.
    void answer(const std::shared_ptr<FrameStream>& stream, const Frame& frame);

    /// There is a connection, which is closed. Says so on standard error where the peer broke the rules or refused.
    void lose(const Failure& why);

    /// Writes \p goodbye and closes the connection, if it is up.
    void sayGoodbye(const std::string& goodbye, Deadline deadline);

private:
    void welcomed(const Welcome& welcome);
    void schedule();
    void report(const Failure& why);

    const Collaborators& m_with;
    const std::string m_endpoint;
    RegistrationSender m_registrations;
    Phase m_phase = Phase::paused;
    std::shared_ptr<FrameStream> m_stream;
    std::uint64_t m_number = 0;
    Deadline m_handshakeDeadline = Deadline::never();
    Deadline m_nextAttempt;
    Deadline m_steady = Deadline::never();  ///< from then on the connection counts as one that lasts
    std::chrono::milliseconds m_pause;
    bool m_renewing = false;
    std::string m_reported;
};

}  // namespace AppConfigHost
