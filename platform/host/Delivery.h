#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "Connector.h"
#include "Dispatcher.h"
#include "EventFlag.h"
#include "FrameStream.h"
#include "HandlerActivity.h"
#include "Reachability.h"
#include "RegistrationTeller.h"
#include "TransportOptions.h"
#include "Waiter.h"

namespace AppConfigHost {

class HandlerTable;
class ResumePoints;

/// Keeps the delivery connections of one transport and calls the handlers for what comes over them. Owns the delivery
/// thread, which starts with the first endpoint.
///
/// One poll(2) waits for all connections, so a slow endpoint holds up no other. A handler that makes a request waits in
/// the same loop, as its Waiter: asks that arrive meanwhile are handled nested in it, notifications are queued until it
/// has returned, up to a limit beyond which the connection is given up, to be resumed afterwards.
class Delivery final : public Waiter {
public:
    /// How many notifications, and how many bytes of them per frame limit, wait for a handler that waits itself.
    static constexpr std::size_t queueLimit = 4096;

    /// The arguments are not owned and outlive this object.
    Delivery(Connector& connector, ResumePoints& resume, RegistrationBook& book, const HandlerTable& handlers,
             const PbUtility::TransportOptions& options, const std::string& localEndpoint, const EventFlag& ended);
    ~Delivery() override;

    /// Starts to connect to \p endpoint unless it was added before. Any thread; does not block.
    Outcome add(const std::string& endpoint);

    /// The book of registrations has changed, so that an endpoint may have to be told. Any thread; does not block.
    void registrationsChanged() { m_wake->set(); }

    /// Gives up the connection to \p endpoint for another at once. Any thread; does not block.
    void renew(const std::string& endpoint);

    /// Delivers no notifications as long as the application code goes on that \p other watches now. Any thread; does
    /// not block.
    void deliverAfter(const std::shared_ptr<HandlerActivity>& other) APPCONFIG_EXCLUDES(m_mutex);

    /// \return what watches the handlers of this object.
    const std::shared_ptr<HandlerActivity>& activity() const { return m_dispatcher.activity(); }

    /// \return whether the caller is this object's thread.
    bool isDeliveryThread() const;

    /// Waits until deliveries from \p endpoint can come or cannot for now, at most until half the time to \p deadline
    /// is over: a handler that waits for the calling thread must not cost it the request. An endpoint that was not
    /// added is not waited for. \p justConnected: see Reachability. Any thread.
    void awaitConnection(const std::string& endpoint, bool justConnected, Deadline deadline);

    /// Takes an answer to the ask that \p receiver stands for. \return whether one of its handlers is still running.
    /// Any thread.
    bool answer(MSG_Address receiver, std::string payload) { return m_dispatcher.answer(receiver, std::move(payload)); }

    /// Says goodbye and returns when the thread has ended. The flag given to the constructor must be set before. Not
    /// from the delivery thread.
    void end();

    /// How the delivery thread waits for a reply. Only there.
    Result wait(int fd, short events, Deadline deadline) override;

private:
    enum class Phase { paused, greeting, up };

    struct Remote {
        Remote(RegistrationBook& book, const PbUtility::TransportOptions& options, const std::string& name)
            : endpoint(name), registrations(book, options, name) {}

        const std::string endpoint;
        RegistrationTeller registrations;
        Phase phase = Phase::paused;
        std::shared_ptr<FrameStream> stream;  ///< null while paused
        std::uint64_t connection = 0;         ///< its number among the resume points
        Deadline greetingEnds = Deadline::never();
        Deadline nextAttempt = Deadline::never();
        Deadline steady = Deadline::never();  ///< from then on the connection counts as one that lasts
        std::chrono::milliseconds pause{};
        std::size_t queued = 0;
        bool renewing = false;  ///< its point was taken over from another transport, and the service was not told yet
        std::string reported;
    };

    struct Queued {
        Remote* remote;
        std::shared_ptr<FrameStream> stream;  ///< that it came over
        std::uint64_t connection;
        Frame frame;
    };

    void run();
    bool turn(int fd, short events, Deadline deadline);
    Deadline doWhatIsDue();
    void attempt(Remote& remote);
    void tellRegistrations(Remote& remote);
    void readFrom(Remote& remote);
    void take(Remote& remote, const std::shared_ptr<FrameStream>& stream, Frame& frame);
    void welcomed(Remote& remote, const Welcome& welcome);
    void lose(Remote& remote, const Outcome& why);
    void report(Remote& remote, const Outcome& why);
    void schedule(Remote& remote);
    void enqueue(Remote& remote, Frame& frame);
    bool mayDeliver() APPCONFIG_EXCLUDES(m_mutex);
    void deliverQueued();
    void deliver(const Queued& next);
    void answer(Remote& remote, const std::shared_ptr<FrameStream>& stream, const Frame& frame);
    void ask(Remote& remote, const std::shared_ptr<FrameStream>& stream, const Frame& frame);
    void sayGoodbye();

    Connector& m_connector;
    ResumePoints& m_resume;
    RegistrationBook& m_book;
    const PbUtility::TransportOptions& m_options;
    const std::string& m_localEndpoint;
    const EventFlag& m_ended;

    // Each synchronises itself. The flag is shared with the transports whose place this one takes.
    const std::shared_ptr<EventFlag> m_wake = std::make_shared<EventFlag>();
    Reachability m_reachability;

    AppConfig::PlainMutex m_mutex;
    std::thread m_thread APPCONFIG_GUARDED_BY(m_mutex);
    std::vector<std::pair<std::shared_ptr<HandlerActivity>, HandlerActivity::Run>> m_before
        APPCONFIG_GUARDED_BY(m_mutex);
    std::atomic<bool> m_mustWait{false};  ///< m_before is not empty
    /// Set and cleared by the delivery thread alone, so each thread reads here surely whether it is that one. An id and
    /// no thread_local: several of a simulation's threads may run on one of the system's.
    std::atomic<std::thread::id> m_threadId{};

    // The delivery thread's own.
    Dispatcher m_dispatcher;
    std::vector<std::unique_ptr<Remote>> m_remotes;
    std::deque<Queued> m_queue;
    std::size_t m_queuedBytes = 0;
    std::minstd_rand m_random;
};

}  // namespace AppConfigHost
