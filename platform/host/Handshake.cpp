#include "Handshake.h"

namespace AppConfigHost {

using namespace PbUtility;

namespace {
constexpr std::size_t longestReason = 512;
}

std::string encodeHello(const Hello& hello) {
    Frame frame;
    frame.set_kind(HELLO);
    *frame.mutable_hello() = hello;
    return encodeFrame(frame);
}

Failure unexpectedFrame(const Frame& frame) {
    if (frame.kind() == REFUSED) return {TRANSPORT_REFUSED, frame.reason().substr(0, longestReason)};
    return {TRANSPORT_PROTOCOL_ERROR, "unexpected " + Kind_Name(frame.kind()) + " frame"};
}

Result<Welcome> readWelcome(const Frame& frame) {
    if (frame.kind() != WELCOME) return failure(unexpectedFrame(frame));
    return frame.welcome();
}

Result<Welcome> shakeHands(FrameStream& stream, const Hello& hello, Deadline deadline, Waiter& waiter) {
    // A peer that refuses at once may have closed the connection before it takes the HELLO; its reason can be read
    // still.
    const Result<> written = stream.write(encodeHello(hello), deadline, waiter);
    if (!written && written.error().code != TRANSPORT_BROKEN_OFF) return failure(written.error());
    const Result<Frame> frame = stream.read(deadline, waiter);
    if (!frame) return failure(frame.error());
    return readWelcome(*frame);
}

}  // namespace AppConfigHost
