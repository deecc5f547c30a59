#include "Delivery.h"

#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <system_error>
#include <utility>

#include "Handshake.h"
#include "MessageIds.h"
#include "ResumePoints.h"
#include "SignalsBlocked.h"
#include "wire/FrameVersion.h"

namespace AppConfigHost {

using namespace PbUtility;

namespace {

constexpr auto goodbyeTime = std::chrono::milliseconds(100);

Deadline now() {
    return Deadline::after({});
}

}  // namespace

Delivery::Delivery(Connector& connector, ResumePoints& resume, RegistrationBook& book, const HandlerTable& handlers,
                   const TransportOptions& options, const std::string& localEndpoint, const EventFlag& ended)
    : m_connector(connector),
      m_resume(resume),
      m_book(book),
      m_options(options),
      m_localEndpoint(localEndpoint),
      m_ended(ended),
      m_dispatcher(handlers, options, localEndpoint),
      m_random(std::random_device()()) {}

Delivery::~Delivery() = default;

Outcome Delivery::add(const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    // end() may be joining already; a thread started now would have nobody to join it.
    if (m_ended.isSet()) return {TRANSPORT_ENDED, {}};
    if (!m_thread.joinable()) {
        const SignalsBlocked blocked;
        try {
            m_thread = std::thread([this] { run(); });
        } catch (const std::system_error& error) {
            return {TRANSPORT_OUT_OF_RESOURCES, error.what()};
        }
    }
    if (m_reachability.add(endpoint)) m_wake->set();
    return {};
}

void Delivery::renew(const std::string& endpoint) {
    m_reachability.renew(endpoint);
    m_wake->set();
}

void Delivery::deliverAfter(const std::shared_ptr<HandlerActivity>& other) {
    const std::optional<HandlerActivity::Run> run = other->setWhenEnded(m_wake);
    if (!run) return;
    const AppConfig::PlainLock lock(m_mutex);
    m_before.emplace_back(other, *run);
    m_mustWait.store(true);
}

bool Delivery::mayDeliver() {
    if (!m_mustWait.load()) return true;
    const AppConfig::PlainLock lock(m_mutex);
    const auto hasEnded = [](const auto& before) { return before.first->hasEnded(before.second); };
    m_before.erase(std::remove_if(m_before.begin(), m_before.end(), hasEnded), m_before.end());
    m_mustWait.store(!m_before.empty());
    return m_before.empty();
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

Waiter::Result Delivery::wait(int fd, short events, Deadline deadline) {
    for (;;) {
        if (m_ended.isSet()) return Result::ended;
        if (turn(fd, events, deadline)) return Result::ready;
        if (deadline.passed()) return Result::timedOut;
    }
}

void Delivery::run() {
    // The thread says itself who it is: whoever started it may learn its id too late for its first handler.
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
    std::vector<std::pair<Remote*, std::shared_ptr<FrameStream>>> watched;
    for (const auto& remote : m_remotes) {
        if (remote->stream == nullptr) continue;
        fds.push_back({remote->stream->fd(), POLLIN, 0});
        watched.emplace_back(remote.get(), remote->stream);
    }
    if (poll(fds.data(), fds.size(), until.pollTimeout()) < 0) return false;
    if (fds[0].revents != 0) m_wake->clear();

    // Before any handler runs, and only where nothing waits to be read: a handler may take longer than an answer.
    for (std::size_t i = 0; i < watched.size(); ++i) {
        auto& [remote, stream] = watched[i];
        const bool late =
            remote->phase == Phase::greeting ? remote->greetingEnds.passed() : remote->registrations.isOverdue();
        if (late && remote->stream == stream && fds[first + i].revents == 0) lose(*remote, {TRANSPORT_TIMED_OUT, {}});
    }
    for (std::size_t i = 0; i < watched.size(); ++i) {
        auto& [remote, stream] = watched[i];
        // Handling one connection may have replaced another.
        if (remote->stream == stream && fds[first + i].revents != 0) readFrom(*remote);
    }
    if (!m_dispatcher.isRunning()) deliverQueued();
    return fds[2].revents != 0;
}

/// \return when there is something to do next, other than what connections bring.
Deadline Delivery::doWhatIsDue() {
    for (const std::string& endpoint : m_reachability.takeAdded()) {
        auto remote = std::make_unique<Remote>(m_book, m_options, endpoint);
        remote->nextAttempt = now();
        remote->pause = m_options.firstPause;
        m_remotes.push_back(std::move(remote));
    }
    Deadline next = Deadline::never();
    // By index: an observer that is called from here may add endpoints.
    for (std::size_t i = 0; i < m_remotes.size(); ++i) {
        Remote& remote = *m_remotes[i];
        if (m_reachability.mustRenew(remote.endpoint)) {
            if (remote.phase != Phase::paused) lose(remote, {TRANSPORT_BROKEN_OFF, {}});
            m_reachability.renewalBegins(remote.endpoint);
            remote.renewing = true;
            remote.nextAttempt = now();
        }
        tellRegistrations(remote);
        if (remote.phase == Phase::paused) {
            // Notifications of the lost connection are delivered before the next HELLO tells the point, or they would
            // come again. Two cases do not wait for that. They never move a point that was taken over from another
            // transport, and may wait for a handler of that one, which may be waiting for this connection. And a
            // handler whose request needs the connection must not wait for what waits for its own return: then they
            // come again.
            const bool mayAttempt = remote.queued == 0 || remote.renewing;
            const bool isDue = mayAttempt && remote.nextAttempt.passed();
            if (m_reachability.takeNudge(remote.endpoint) || isDue) attempt(remote);
            if (remote.phase == Phase::paused && mayAttempt) next = next.orEarlier(remote.nextAttempt);
        }
        if (remote.phase == Phase::greeting) next = next.orEarlier(remote.greetingEnds);
        if (remote.phase == Phase::up) next = next.orEarlier(remote.registrations.due());
    }
    return next;
}

void Delivery::attempt(Remote& remote) {
    // Handlers are still to learn of what waits, so a state that lacks it must not pass for the client's.
    for (const Queued& waiting : m_queue) {
        const Frame& frame = waiting.frame;
        if (waiting.remote == &remote && frame.has_as_of()) {
            m_resume.saw(remote.endpoint, frame.timeline(), frame.as_of());
        }
    }
    PlainWaiter waiter(&m_ended);
    FileDescriptor socket;
    // Neither connecting nor the HELLO may hold up the other endpoints; a local socket takes both at once or not at
    // all.
    Outcome outcome = m_connector.connect(remote.endpoint, now(), waiter, socket);
    if (outcome.ok()) {
        Hello hello;
        hello.set_version(frameVersion);
        hello.set_endpoint(m_localEndpoint);
        hello.set_purpose(DELIVERY);
        remote.connection = m_resume.describeForDelivery(remote.endpoint, hello);
        remote.registrations.describe(hello);
        remote.stream = std::make_shared<FrameStream>(std::move(socket), m_options.frameLimit);
        remote.phase = Phase::greeting;
        remote.greetingEnds = Deadline::after(m_options.deadline);
        outcome = remote.stream->write(encodeHello(hello), now(), waiter);
        // A peer that has closed already may have left a reason to be read.
        if (!outcome.ok() && outcome.status != TRANSPORT_BROKEN_OFF) lose(remote, outcome);
        return;
    }
    schedule(remote);
    m_reachability.attemptEnded(remote.endpoint, -1);
}

/// Tells the endpoint what it does not hold, if it can be told now, and the observer how that goes.
void Delivery::tellRegistrations(Remote& remote) {
    if (remote.phase == Phase::up) {
        PlainWaiter waiter(&m_ended);
        const std::shared_ptr<FrameStream> stream = remote.stream;
        const Outcome told = remote.registrations.tell(*stream, waiter);
        if (!told.ok()) lose(remote, told);
    }
    for (const RegistrationReport& report : remote.registrations.takeReports()) m_dispatcher.report(report);
}

void Delivery::readFrom(Remote& remote) {
    // Kept alive: a handler further down may lose the connection.
    const std::shared_ptr<FrameStream> stream = remote.stream;
    const FrameStream::Fill filled = stream->fill();
    Frame frame;
    while (remote.stream == stream && !m_ended.isSet()) {
        const FrameDecoder::Result result = stream->next(frame);
        if (result == FrameDecoder::Result::more) break;
        if (result == FrameDecoder::Result::invalid) {
            lose(remote, {TRANSPORT_PROTOCOL_ERROR, stream->error()});
        } else {
            take(remote, stream, frame);
        }
    }
    if (filled == FrameStream::Fill::closed && remote.stream == stream) lose(remote, {TRANSPORT_BROKEN_OFF, {}});
}

void Delivery::take(Remote& remote, const std::shared_ptr<FrameStream>& stream, Frame& frame) {
    if (remote.phase == Phase::greeting) {
        Welcome welcome;
        const Outcome outcome = readWelcome(frame, welcome);
        if (outcome.ok()) {
            welcomed(remote, welcome);
        } else {
            lose(remote, outcome);
        }
    } else if (frame.kind() == REGISTERED) {
        if (!remote.registrations.answered(frame)) {
            lose(remote, {TRANSPORT_PROTOCOL_ERROR, "registrations were answered that nobody had made"});
        }
    } else if (frame.kind() == REACHED) {
        enqueue(remote, frame);
        if (!m_dispatcher.isRunning()) deliverQueued();
    } else if (frame.kind() != NOTIFICATION && frame.kind() != ASK) {
        lose(remote, unexpectedFrame(frame));
    } else if (ConfigIF::messageName(frame.message_id()).empty()) {
        lose(remote, {TRANSPORT_PROTOCOL_ERROR, "no message has the id " + std::to_string(frame.message_id())});
    } else if (frame.kind() == ASK) {
        ask(remote, stream, frame);
    } else {
        enqueue(remote, frame);
        if (!m_dispatcher.isRunning()) deliverQueued();
    }
}

void Delivery::welcomed(Remote& remote, const Welcome& welcome) {
    if (!m_resume.greetedForDelivery(remote.endpoint, remote.connection, welcome)) {
        lose(remote, {TRANSPORT_BROKEN_OFF, {}});
        return;
    }
    remote.phase = Phase::up;
    remote.renewing = false;
    remote.registrations.greeted(welcome);
    remote.steady = Deadline::after(m_options.longestPause);
    m_reachability.attemptEnded(remote.endpoint, remote.stream->fd());
    m_dispatcher.observe(remote.endpoint, true);
}

void Delivery::lose(Remote& remote, const Outcome& why) {
    const Phase before = std::exchange(remote.phase, Phase::paused);
    if (before == Phase::up && remote.steady.passed()) remote.pause = m_options.firstPause;
    m_reachability.lost(remote.endpoint);
    // Shut down as well: somebody further up may still hold the stream.
    remote.stream->shutDown();
    remote.stream.reset();
    remote.registrations.lost();
    schedule(remote);
    if (before == Phase::greeting) m_reachability.attemptEnded(remote.endpoint, -1);

    const bool remarkable = why.status == TRANSPORT_PROTOCOL_ERROR || why.status == TRANSPORT_REFUSED;
    if (remarkable) report(remote, why);
    if (before == Phase::up) m_dispatcher.observe(remote.endpoint, false);
}

/// Says once why a connection is closed, and not again with each attempt that ends the same way.
void Delivery::report(Remote& remote, const Outcome& why) {
    const std::string sentence = std::string(transportStatusText(why.status)) + ": " + why.reason;
    if (std::exchange(remote.reported, sentence) == sentence) return;
    std::fprintf(stderr, "appconfig: closed the connection for deliveries from %s: %s\n", remote.endpoint.c_str(),
                 sentence.c_str());
}

void Delivery::schedule(Remote& remote) {
    std::uniform_int_distribution<std::chrono::milliseconds::rep> shorter(0, remote.pause.count() / 2);
    remote.nextAttempt = Deadline::after(remote.pause - std::chrono::milliseconds(shorter(m_random)));
    remote.pause = std::min(remote.pause * 2, m_options.longestPause);
}

void Delivery::enqueue(Remote& remote, Frame& frame) {
    const std::size_t bytes = frame.payload().size();
    if (m_queue.size() >= queueLimit || m_queuedBytes + bytes > m_options.frameLimit) {
        // Nothing is missed: what was not taken is sent anew after the next connect.
        lose(remote, {TRANSPORT_BROKEN_OFF, {}});
        return;
    }
    m_queuedBytes += bytes;
    ++remote.queued;
    m_queue.push_back({&remote, remote.stream, remote.connection, std::move(frame)});
}

void Delivery::deliverQueued() {
    while (!m_queue.empty() && !m_ended.isSet() && mayDeliver()) {
        const Queued next = std::move(m_queue.front());
        m_queue.pop_front();
        m_queuedBytes -= next.frame.payload().size();
        --next.remote->queued;
        deliver(next);
    }
}

void Delivery::deliver(const Queued& next) {
    const Frame& frame = next.frame;
    const std::string& endpoint = next.remote->endpoint;
    // Before the handlers: what they have learnt must be known even when the process goes on without the rest.
    if (frame.has_as_of()) m_resume.saw(endpoint, frame.timeline(), frame.as_of());
    if (frame.kind() == NOTIFICATION) m_dispatcher.notify(endpoint, frame);
    // Only now: a connection made while a handler ran asks for this state once more, which does no harm.
    if (frame.has_sequence()) m_resume.handled(endpoint, next.connection, frame.timeline(), frame.sequence());
    if (frame.kind() == REACHED && frame.has_correlation()) {
        Frame handled;
        handled.set_kind(HANDLED);
        handled.set_correlation(frame.correlation());
        answer(*next.remote, next.stream, handled);
    }
}

/// Writes \p frame over \p stream if that is still the connection to \p remote.
void Delivery::answer(Remote& remote, const std::shared_ptr<FrameStream>& stream, const Frame& frame) {
    if (remote.stream != stream) return;
    PlainWaiter waiter(&m_ended);
    const Outcome written = stream->write(encodeFrame(frame), Deadline::after(m_options.deadline), waiter);
    if (!written.ok()) lose(remote, written);
}

void Delivery::ask(Remote& remote, const std::shared_ptr<FrameStream>& stream, const Frame& frame) {
    // Nobody waits for the answer. And what another start of the service has asked since, over the transport that took
    // this one's place, must not be followed by this. Nor may what comes after it be handled: to reach the point behind
    // it would mean that it was.
    if (peerHasGone(stream->fd())) return lose(remote, {TRANSPORT_BROKEN_OFF, {}});
    if (frame.has_as_of()) m_resume.saw(remote.endpoint, frame.timeline(), frame.as_of());
    answer(remote, stream, m_dispatcher.ask(remote.endpoint, frame));
}

void Delivery::sayGoodbye() {
    Frame frame;
    frame.set_kind(GOODBYE);
    const std::string bytes = encodeFrame(frame);
    PlainWaiter waiter(nullptr);
    const Deadline deadline = Deadline::after(goodbyeTime);
    for (const auto& remote : m_remotes) {
        if (remote->phase != Phase::up) continue;
        m_reachability.lost(remote->endpoint);
        (void)remote->stream->write(bytes, deadline, waiter);
        remote->stream.reset();
    }
}

}  // namespace AppConfigHost
