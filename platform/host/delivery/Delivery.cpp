#include "delivery/Delivery.h"

#include <poll.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "SignalsBlocked.h"
#include "delivery/ResumePoints.h"

namespace AppConfigHost {

using namespace PbUtility;

namespace {

constexpr auto goodbyeTime = std::chrono::milliseconds(100);

using Phase = DeliveryConnection::Phase;

}  // namespace

Delivery::Delivery(Connector& connector, ResumePoints& resume, RegistrationBook& book, const HandlerTable& handlers,
                   const TransportOptions& options, const std::string& localEndpoint, const EventFlag& ended,
                   std::function<void(const std::string& endpoint)> settled)
    : m_resume(resume),
      m_options(options),
      m_ended(ended),
      m_dispatcher(handlers, options, localEndpoint),
      m_random(std::random_device()()),
      m_forConnections{connector,
                       resume,
                       book,
                       m_reachability,
                       options,
                       localEndpoint,
                       ended,
                       m_random,
                       [this](const std::string& endpoint, bool up) { m_dispatcher.observe(endpoint, up); },
                       std::move(settled)} {}

Delivery::~Delivery() = default;

Result<> Delivery::add(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    // end() may be joining already; a thread started now would have nobody to join it.
    if (m_ended.isSet()) return failure(TRANSPORT_ENDED);
    if (!m_thread.joinable()) {
        const SignalsBlocked blocked;
        try {
            m_thread = std::thread([this] { run(); });
        } catch (const std::system_error& error) {
            return failure(TRANSPORT_OUT_OF_RESOURCES, error.what());
        }
    }
    if (m_reachability.add(endpoint)) m_wake->set();
    return {};
}

void Delivery::renew(const std::string& endpoint) {
    m_reachability.renew(endpoint);
    m_wake->set();
}

bool Delivery::isDeliveryThread() const {
    return m_threadId.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

void Delivery::awaitConnection(const std::string& endpoint, bool justConnected, Deadline deadline) {
    const std::uint64_t attempts = m_reachability.attemptsToAwait(endpoint, justConnected);
    if (attempts == 0) return;
    const Deadline half = deadline.halfway();
    if (!isDeliveryThread()) {
        m_wake->set();
        m_reachability.await(endpoint, attempts, half);
        return;
    }
    while (!m_reachability.haveEnded(endpoint, attempts) && !half.passed() && !m_ended.isSet()) turn(-1, 0, half);
}

void Delivery::end() {
    m_reachability.stop();
    m_wake->set();
    std::thread thread;
    {
        const AppConfig::PlainLock lock(m_mutex);
        thread = std::move(m_thread);
    }
    if (thread.joinable()) thread.join();
}

Waiter::Event Delivery::wait(int fd, short events, Deadline deadline) {
    for (;;) {
        if (m_ended.isSet()) return Event::ended;
        if (turn(fd, events, deadline)) return Event::ready;
        if (deadline.passed()) return Event::timedOut;
    }
}

void Delivery::run() {
    // The thread sets its id itself: whoever starts it may learn the id too late for the first handler.
    m_threadId.store(std::this_thread::get_id(), std::memory_order_relaxed);
    while (!m_ended.isSet()) turn(-1, 0, Deadline::never());
    sayGoodbye();
    // The system may give the id to another thread.
    m_threadId.store(std::thread::id(), std::memory_order_relaxed);
}

/// Waits once, for whatever comes first, and handles it. \return whether \p fd has one of \p events.
bool Delivery::turn(int fd, short events, Deadline deadline) {
    const Deadline until = doWhatIsDue().orEarlier(deadline);

    std::vector<pollfd> fds{{m_wake->fd(), POLLIN, 0}, {m_ended.fd(), POLLIN, 0}, {fd, events, 0}};
    const std::size_t first = fds.size();
    std::vector<std::pair<DeliveryConnection*, std::shared_ptr<FrameStream>>> watched;
    for (const auto& connection : m_connections) {
        if (connection->stream() == nullptr) continue;
        fds.push_back({connection->stream()->fd(), POLLIN, 0});
        watched.emplace_back(connection.get(), connection->stream());
    }
    if (poll(fds.data(), fds.size(), until.pollTimeout()) < 0) return false;
    if (fds[0].revents != 0) m_wake->clear();

    // Before any handler runs, and only where nothing waits to be read: a handler may take longer than an answer.
    for (std::size_t i = 0; i < watched.size(); ++i) {
        auto& [connection, stream] = watched[i];
        if (connection->isLate() && connection->isOn(stream) && fds[first + i].revents == 0) {
            connection->lose({TRANSPORT_TIMED_OUT, {}});
        }
    }
    for (std::size_t i = 0; i < watched.size(); ++i) {
        auto& [connection, stream] = watched[i];
        // Handling one connection may have replaced another.
        if (connection->isOn(stream) && fds[first + i].revents != 0) readFrom(*connection);
    }
    if (!m_dispatcher.isRunning()) deliverQueued();
    return fds[2].revents != 0;
}

/// \return when there is something to do next, other than what connections bring.
Deadline Delivery::doWhatIsDue() {
    for (const std::string& endpoint : m_reachability.takeAdded()) {
        m_connections.push_back(std::make_unique<DeliveryConnection>(m_forConnections, endpoint));
    }
    Deadline next = Deadline::never();
    // By index: an observer that is called from here may add endpoints.
    for (std::size_t i = 0; i < m_connections.size(); ++i) {
        DeliveryConnection& connection = *m_connections[i];
        if (m_reachability.mustRenew(connection.endpoint())) connection.renew();
        for (const RegistrationReport& report : connection.sendRegistrations()) m_dispatcher.report(report);
        // Notifications of the lost connection are handled before the next HELLO, because the service would otherwise
        // send them again. There are two exceptions. A connection whose point was taken over from another transport
        // does not wait: its notifications never move that point, and may wait for a handler of the other transport,
        // which may be waiting for this connection. Nor does a connection that a handler's request needs: the handler
        // must not wait for notifications that wait for its own return. In both cases they come again.
        bool mayAttempt = false;
        if (connection.phase() == Phase::paused) {
            mayAttempt = connection.isRenewing() || !isQueued(connection);
            const bool isDue = mayAttempt && connection.attemptIsDue();
            if (m_reachability.takeNudge(connection.endpoint()) || isDue) attempt(connection);
        }
        next = next.orEarlier(connection.due(mayAttempt));
    }
    return next;
}

bool Delivery::isQueued(const DeliveryConnection& connection) const {
    return std::any_of(m_queue.begin(), m_queue.end(), [&](const Queued& entry) { return entry.from == &connection; });
}

void Delivery::attempt(DeliveryConnection& connection) {
    // The handlers have not seen what is queued, so the service must not take a state that lacks it for the client's.
    for (const Queued& waiting : m_queue) {
        const Frame& frame = waiting.frame;
        if (waiting.from == &connection && frame.has_as_of()) {
            m_resume.saw(connection.endpoint(), frame.timeline(), frame.as_of());
        }
    }
    connection.attempt();
}

void Delivery::readFrom(DeliveryConnection& connection) {
    // Kept alive: a handler further down may lose the connection.
    const std::shared_ptr<FrameStream> stream = connection.stream();
    const FrameStream::Fill filled = stream->fill();
    Frame frame;
    while (connection.isOn(stream) && !m_ended.isSet()) {
        const Result<bool> found = stream->next(frame);
        if (!found) {
            connection.lose(found.error());
        } else if (!*found) {
            break;
        } else if (connection.take(frame)) {
            handle(connection, stream, frame);
        }
    }
    if (filled == FrameStream::Fill::closed && connection.isOn(stream)) connection.lose({TRANSPORT_BROKEN_OFF, {}});
}

/// Questions are answered at once, also nested in a handler. Everything else is handled in order, after what is queued.
void Delivery::handle(DeliveryConnection& connection, const std::shared_ptr<FrameStream>& stream, Frame& frame) {
    if (frame.kind() == ASK) return handleQuestion(connection, stream, frame);
    enqueue(connection, frame);
    if (!m_dispatcher.isRunning()) deliverQueued();
}

void Delivery::enqueue(DeliveryConnection& connection, Frame& frame) {
    const std::size_t bytes = frame.payload().size();
    if (m_queue.size() >= queueLimit || m_queuedBytes + bytes > m_options.frameLimit) {
        // Nothing is missed: the service sends again, after the next connect, what was not handled.
        connection.lose({TRANSPORT_BROKEN_OFF, {}});
        return;
    }
    m_queuedBytes += bytes;
    m_queue.push_back({&connection, connection.stream(), connection.number(), std::move(frame)});
}

void Delivery::deliverQueued() {
    while (!m_queue.empty() && !m_ended.isSet() && m_previousHandlers.haveReturned()) {
        const Queued next = std::move(m_queue.front());
        m_queue.pop_front();
        m_queuedBytes -= next.frame.payload().size();
        deliver(next);
    }
}

void Delivery::deliver(const Queued& next) {
    const Frame& frame = next.frame;
    const std::string& endpoint = next.from->endpoint();
    // Before the handlers run: what they learn must be recorded even if the process never finishes the rest.
    if (frame.has_as_of()) m_resume.saw(endpoint, frame.timeline(), frame.as_of());
    if (frame.kind() == NOTIFICATION) m_dispatcher.notify(endpoint, frame);
    // Only now: a connection made while a handler runs requests this state once more, which does no harm.
    if (frame.has_sequence()) m_resume.handled(endpoint, next.connection, frame.timeline(), frame.sequence());
    if (frame.kind() == REACHED && frame.has_correlation()) {
        Frame handled;
        handled.set_kind(HANDLED);
        handled.set_correlation(frame.correlation());
        next.from->answer(next.stream, handled);
    }
}

void Delivery::handleQuestion(DeliveryConnection& connection, const std::shared_ptr<FrameStream>& stream,
                              const Frame& frame) {
    // Nobody waits for this answer any more. The transport that took over may meanwhile have been asked by a later run
    // of the service, and this older question must not be followed after that one. Nor may the frames after it be
    // handled, since reaching the point behind it would mean that it was handled.
    if (peerHasClosed(stream->fd())) return connection.lose({TRANSPORT_BROKEN_OFF, {}});
    if (frame.has_as_of()) m_resume.saw(connection.endpoint(), frame.timeline(), frame.as_of());
    connection.answer(stream, m_dispatcher.answerQuestion(connection.endpoint(), frame));
}

void Delivery::sayGoodbye() {
    Frame frame;
    frame.set_kind(GOODBYE);
    const std::string goodbye = encodeFrame(frame);
    const Deadline deadline = Deadline::after(goodbyeTime);
    for (const auto& connection : m_connections) connection->sayGoodbye(goodbye, deadline);
}

}  // namespace AppConfigHost
