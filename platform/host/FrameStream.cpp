#include "FrameStream.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace AppConfigHost {

using namespace PbUtility;

namespace {

constexpr std::size_t readAtOnce = 64U * 1024;

tl::unexpected<Failure> waitFailure(Waiter::Event event) {
    return failure(event == Waiter::Event::ended ? TRANSPORT_ENDED : TRANSPORT_TIMED_OUT);
}

}  // namespace

FrameStream::FrameStream(FileDescriptor socket, std::size_t frameLimit)
    : m_socket(std::move(socket)), m_decoder(frameLimit) {}

Result<> FrameStream::write(std::string_view bytes, Deadline deadline, Waiter& waiter, std::size_t* taken) {
    std::size_t done = 0;
    for (;;) {
        const ssize_t count = ::send(fd(), bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) done += static_cast<std::size_t>(count);
        if (taken != nullptr) *taken = done;
        if (done == bytes.size()) return {};
        if (count >= 0 || errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return failure(TRANSPORT_BROKEN_OFF, std::strerror(errno));
        const Waiter::Event event = waiter.wait(fd(), POLLOUT, deadline);
        if (event != Waiter::Event::ready) return waitFailure(event);
    }
}

Result<Frame> FrameStream::read(Deadline deadline, Waiter& waiter) {
    Result<Frame> frame;
    for (;;) {
        const Result<bool> found = next(*frame);
        if (!found) return failure(found.error());
        if (*found) return frame;
        switch (fill()) {
            case Fill::some: continue;
            case Fill::closed:
                return failure(TRANSPORT_BROKEN_OFF,
                               m_readError == 0 ? "the peer closed the connection" : std::strerror(m_readError));
            case Fill::nothing: break;
        }
        const Waiter::Event event = waiter.wait(fd(), POLLIN, deadline);
        if (event != Waiter::Event::ready) return waitFailure(event);
    }
}

Result<bool> FrameStream::next(Frame& frame) {
    auto found = m_decoder.next(frame);
    if (!found) return failure(TRANSPORT_PROTOCOL_ERROR, std::move(found.error().reason));
    return *found;
}

FrameStream::Fill FrameStream::fill() {
    char bytes[readAtOnce];
    for (;;) {
        const ssize_t count = ::recv(fd(), bytes, sizeof bytes, MSG_DONTWAIT);
        if (count > 0) {
            m_decoder.feed(bytes, static_cast<std::size_t>(count));
            return Fill::some;
        }
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return Fill::nothing;
        m_readError = count < 0 ? errno : 0;
        return Fill::closed;
    }
}

void FrameStream::shutDown() {
    (void)::shutdown(fd(), SHUT_RDWR);
}

bool FrameStream::isQuiet() const {
    pollfd state{fd(), POLLIN | POLLRDHUP, 0};
    return m_decoder.isEmpty() && poll(&state, 1, 0) == 0;
}

bool peerHasClosed(int fd) {
    pollfd state{fd, POLLRDHUP, 0};
    return poll(&state, 1, 0) > 0;
}

}  // namespace AppConfigHost
