#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "Connector.h"
#include "EventFlag.h"
#include "FrameStream.h"
#include "TransportOptions.h"
#include "Waiter.h"
#include "delivery/DeliveryConnection.h"
#include "delivery/Dispatcher.h"
#include "delivery/HandlerActivity.h"
#include "delivery/PreviousHandlers.h"
#include "delivery/Reachability.h"

namespace AppConfigHost {

class HandlerTable;
class ResumePoints;

/// Keeps the delivery connections of one transport and calls the handlers for what comes over them. Owns the delivery
/// thread, which starts with the first endpoint.
///
/// One poll(2) waits for all connections, so a slow endpoint does not hold up another. A handler that makes a request
/// waits in the same loop, as its Waiter: questions that arrive meanwhile are handled nested in it; notifications are
/// queued until it has returned, up to a limit beyond which the connection is closed and resumed later. This class is
/// the loop and the queue; DeliveryConnection handles a single connection, Dispatcher calls the handlers.
class Delivery final : public Waiter {
public:
    /// How many notifications, and how many bytes of them per frame limit, wait for a handler that waits itself.
    static constexpr std::size_t queueLimit = 4096;

    /// The arguments are not owned and outlive this object. \p settled is called on the delivery thread when all
    /// registrations at an endpoint have been sent and answered.
    Delivery(Connector& connector, ResumePoints& resume, RegistrationBook& book, const HandlerTable& handlers,
             const PbUtility::TransportOptions& options, const std::string& localEndpoint, const EventFlag& ended,
             std::function<void(const std::string& endpoint)> settled);
    ~Delivery() override;

    /// Starts to connect to \p endpoint unless it was added before. Any thread; does not block.
    Result<> add(const std::string& endpoint);

    /// The book of registrations has changed, so there may be registrations to send. Any thread; does not block.
    void registrationsChanged() { m_wake->set(); }

    /// Closes the connection to \p endpoint and makes another at once. Any thread; does not block.
    void renew(const std::string& endpoint);

    /// Delivers no notifications until the application code that \p other watches now has returned. Any thread; does
    /// not block.
    void deliverAfter(const std::shared_ptr<HandlerActivity>& other) { m_previousHandlers.add(other, m_wake); }

    /// \return what watches the handlers of this object.
    const std::shared_ptr<HandlerActivity>& activity() const { return m_dispatcher.activity(); }

    /// \return whether the caller is this object's thread.
    bool isDeliveryThread() const;

    /// Waits until deliveries from \p endpoint can come, or cannot come for now, at most until half the time to
    /// \p deadline is over: if a handler waits for the calling thread, the request must still have time. Does not wait
    /// for an endpoint that was not added. \p justConnected: see Reachability. Any thread.
    void awaitConnection(const std::string& endpoint, bool justConnected, Deadline deadline);

    /// Takes an answer to the question with the address \p receiver. \return whether one of its handlers is still
    /// running. Any thread.
    bool answer(MSG_Address receiver, std::string payload) { return m_dispatcher.answer(receiver, std::move(payload)); }

    /// Says goodbye and returns when the thread has ended. The flag given to the constructor must be set before. Not
    /// from the delivery thread.
    void end();

    /// How the delivery thread waits for a reply. Only there.
    Event wait(int fd, short events, Deadline deadline) override;

private:
    struct Queued {
        DeliveryConnection* from;
        std::shared_ptr<FrameStream> stream;  ///< that it came over
        std::uint64_t connection;             ///< the number that this one had
        Frame frame;
    };

    void run();
    bool turn(int fd, short events, Deadline deadline);
    Deadline doWhatIsDue();
    bool isQueued(const DeliveryConnection& connection) const;
    void attempt(DeliveryConnection& connection);
    void readFrom(DeliveryConnection& connection);
    void handle(DeliveryConnection& connection, const std::shared_ptr<FrameStream>& stream, Frame& frame);
    void enqueue(DeliveryConnection& connection, Frame& frame);
    void deliverQueued();
    void deliver(const Queued& next);
    void handleQuestion(DeliveryConnection& connection, const std::shared_ptr<FrameStream>& stream, const Frame& frame);
    void sayGoodbye();

    ResumePoints& m_resume;
    const PbUtility::TransportOptions& m_options;
    const EventFlag& m_ended;

    // Each synchronises itself. The flag is shared with the transports that this one takes over from.
    const std::shared_ptr<EventFlag> m_wake = std::make_shared<EventFlag>();
    Reachability m_reachability;
    PreviousHandlers m_previousHandlers;

    AppConfig::PlainMutex m_mutex;
    std::thread m_thread APPCONFIG_GUARDED_BY(m_mutex);
    /// Set and cleared by the delivery thread alone, so every thread can find out here whether it is that thread. A
    /// thread id and not thread_local, because several simulated threads may run on one system thread.
    std::atomic<std::thread::id> m_threadId{};

    // The delivery thread's own.
    Dispatcher m_dispatcher;
    std::minstd_rand m_random;
    const DeliveryConnection::Collaborators m_forConnections;
    std::vector<std::unique_ptr<DeliveryConnection>> m_connections;
    std::deque<Queued> m_queue;
    std::size_t m_queuedBytes = 0;
};

}  // namespace AppConfigHost
