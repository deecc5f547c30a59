#include "delivery/DeliveryConnection.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "Handshake.h"
#include "MessageIds.h"
#include "delivery/ResumePoints.h"
#include "wire/FrameVersion.h"

namespace AppConfigHost {

using namespace PbUtility;

namespace {

Deadline now() {
    return Deadline::after({});
}

}  // namespace

DeliveryConnection::DeliveryConnection(const Collaborators& with, std::string endpoint)
    : m_with(with),
      m_endpoint(std::move(endpoint)),
      m_registrations(with.book, with.options, m_endpoint),
      m_nextAttempt(now()),
      m_pause(with.options.firstPause) {}

void DeliveryConnection::renew() {
    if (m_phase != Phase::paused) lose({TRANSPORT_BROKEN_OFF, {}});
    m_with.reachability.renewalBegins(m_endpoint);
    m_renewing = true;
    m_nextAttempt = now();
}

void DeliveryConnection::attempt() {
    PlainWaiter waiter(&m_with.ended);
    // A local socket takes both at once or not at all.
    Result<FileDescriptor> socket = m_with.connector.connect(m_endpoint, now(), waiter);
    if (!socket) {
        schedule();
        m_with.reachability.attemptEnded(m_endpoint, -1);
        return;
    }
    Hello hello;
    hello.set_version(frameVersion);
    hello.set_endpoint(m_with.localEndpoint);
    hello.set_purpose(DELIVERY);
    m_number = m_with.resume.describeForDelivery(m_endpoint, hello);
    m_registrations.describe(hello);
    m_stream = std::make_shared<FrameStream>(std::move(*socket), m_with.options.frameLimit);
    m_phase = Phase::handshake;
    m_handshakeDeadline = Deadline::after(m_with.options.deadline);
    const Result<> written = m_stream->write(encodeHello(hello), now(), waiter);
    // A peer that has closed already may have left a reason to be read.
    if (!written && written.error().code != TRANSPORT_BROKEN_OFF) lose(written.error());
}

std::vector<RegistrationReport> DeliveryConnection::sendRegistrations() {
    if (m_phase == Phase::up) {
        PlainWaiter waiter(&m_with.ended);
        const std::shared_ptr<FrameStream> stream = m_stream;
        const Result<> told = m_registrations.sendNext(*stream, waiter);
        if (!told) lose(told.error());
    }
    return m_registrations.takeReports();
}

Deadline DeliveryConnection::due(bool mayAttempt) const {
    switch (m_phase) {
        case Phase::paused: return mayAttempt ? m_nextAttempt : Deadline::never();
        case Phase::handshake: return m_handshakeDeadline;
        case Phase::up: return m_registrations.due();
    }
    return Deadline::never();
}

bool DeliveryConnection::isLate() const {
    return m_phase == Phase::handshake ? m_handshakeDeadline.passed() : m_registrations.isOverdue();
}

bool DeliveryConnection::take(const Frame& frame) {
    if (m_phase == Phase::handshake) {
        const Result<Welcome> welcome = readWelcome(frame);
        if (welcome) {
            welcomed(*welcome);
        } else {
            lose(welcome.error());
        }
        return false;
    }
    switch (frame.kind()) {
        case REGISTERED:
            if (!m_registrations.answered(frame)) {
                lose({TRANSPORT_PROTOCOL_ERROR, "unexpected REGISTERED frame"});
            } else if (m_registrations.isSettled()) {
                m_with.settled(m_endpoint);
            }
            return false;
        case REACHED: return true;
        case NOTIFICATION:
        case ASK:
            if (!ConfigIF::messageName(frame.message_id()).empty()) return true;
            lose({TRANSPORT_PROTOCOL_ERROR, "unknown message id " + std::to_string(frame.message_id())});
            return false;
        default: lose(unexpectedFrame(frame)); return false;
    }
}

void DeliveryConnection::welcomed(const Welcome& welcome) {
    if (!m_with.resume.welcomedForDelivery(m_endpoint, m_number, welcome)) {
        return lose({TRANSPORT_BROKEN_OFF, {}});
    }
    m_phase = Phase::up;
    m_renewing = false;
    m_registrations.welcomed(welcome);
    m_steady = Deadline::after(m_with.options.longestPause);
    m_with.reachability.attemptEnded(m_endpoint, m_stream->fd());
    m_with.observe(m_endpoint, true);
}

void DeliveryConnection::answer(const std::shared_ptr<FrameStream>& stream, const Frame& frame) {
    if (!isOn(stream)) return;
    PlainWaiter waiter(&m_with.ended);
    const Result<> written = stream->write(encodeFrame(frame), Deadline::after(m_with.options.deadline), waiter);
    if (!written) lose(written.error());
}

void DeliveryConnection::lose(const Failure& why) {
    const Phase before = std::exchange(m_phase, Phase::paused);
    if (before == Phase::up && m_steady.passed()) m_pause = m_with.options.firstPause;
    m_with.reachability.lost(m_endpoint);
    // Shut down as well: somebody further up may still hold the stream.
    m_stream->shutDown();
    m_stream.reset();
    m_registrations.lost();
    schedule();
    if (before == Phase::handshake) m_with.reachability.attemptEnded(m_endpoint, -1);

    const bool remarkable = why.code == TRANSPORT_PROTOCOL_ERROR || why.code == TRANSPORT_REFUSED;
    if (remarkable) report(why);
    // Last, since the application may call back.
    if (before == Phase::up) m_with.observe(m_endpoint, false);
}

void DeliveryConnection::sayGoodbye(const std::string& goodbye, Deadline deadline) {
    if (m_phase != Phase::up) return;
    PlainWaiter waiter(nullptr);
    m_with.reachability.lost(m_endpoint);
    (void)m_stream->write(goodbye, deadline, waiter);
    m_stream.reset();
}

/// Says once why a connection is closed, and not again with each attempt that ends the same way.
void DeliveryConnection::report(const Failure& why) {
    const std::string sentence = std::string(transportStatusText(why.code)) + ": " + why.reason;
    if (std::exchange(m_reported, sentence) == sentence) return;
    std::fprintf(stderr, "appconfig: closed the delivery connection to %s: %s\n", m_endpoint.c_str(), sentence.c_str());
}

/// Sets the time of the next attempt: a random part of the pause sooner, so that clients of a service that comes back
/// do not all come at once.
void DeliveryConnection::schedule() {
    std::uniform_int_distribution<std::chrono::milliseconds::rep> shorter(0, m_pause.count() / 2);
    m_nextAttempt = Deadline::after(m_pause - std::chrono::milliseconds(shorter(m_with.random)));
    m_pause = std::min(m_pause * 2, m_with.options.longestPause);
}

}  // namespace AppConfigHost
