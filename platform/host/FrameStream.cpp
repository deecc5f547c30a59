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

Outcome waitFailure(Waiter::Result result) {
    return {result == Waiter::Result::ended ? TRANSPORT_ENDED : TRANSPORT_TIMED_OUT, {}};
}

}  // namespace

FrameStream::FrameStream(FileDescriptor socket, std::size_t frameLimit)
    : m_socket(std::move(socket)), m_decoder(frameLimit) {}

Outcome FrameStream::write(std::string_view bytes, Deadline deadline, Waiter& waiter, std::size_t* taken) {
    std::size_t done = 0;
    for (;;) {
        const ssize_t count = ::send(fd(), bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) done += static_cast<std::size_t>(count);
        if (taken != nullptr) *taken = done;
        if (done == bytes.size()) return {};
        if (count >= 0 || errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return {TRANSPORT_BROKEN_OFF, std::strerror(errno)};
        const Waiter::Result result = waiter.wait(fd(), POLLOUT, deadline);
        if (result != Waiter::Result::ready) return waitFailure(result);
    }
}

Outcome FrameStream::read(Frame& frame, Deadline deadline, Waiter& waiter) {
    for (;;) {
        switch (m_decoder.next(frame)) {
            case FrameDecoder::Result::frame: return {};
            case FrameDecoder::Result::invalid: return {TRANSPORT_PROTOCOL_ERROR, m_decoder.error()};
            case FrameDecoder::Result::more: break;
        }
        switch (fill()) {
            case Fill::some: continue;
            case Fill::closed:
                return {TRANSPORT_BROKEN_OFF, m_readError == 0 ? "the peer closed it" : std::strerror(m_readError)};
            case Fill::nothing: break;
        }
        const Waiter::Result result = waiter.wait(fd(), POLLIN, deadline);
        if (result != Waiter::Result::ready) return waitFailure(result);
    }
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

bool peerHasGone(int fd) {
    pollfd state{fd, POLLRDHUP, 0};
    return poll(&state, 1, 0) > 0;
}

}  // namespace AppConfigHost
