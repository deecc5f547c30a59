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

Outcome unexpectedFrame(const Frame& frame) {
    if (frame.kind() == REFUSED) return {TRANSPORT_REFUSED, frame.reason().substr(0, longestReason)};
    return {TRANSPORT_PROTOCOL_ERROR, "a frame of kind " + Kind_Name(frame.kind()) + " may not come here"};
}

Outcome readWelcome(const Frame& frame, Welcome& welcome) {
    if (frame.kind() != WELCOME) return unexpectedFrame(frame);
    welcome = frame.welcome();
    return {};
}

Outcome greet(FrameStream& stream, const Hello& hello, Deadline deadline, Waiter& waiter, Welcome& welcome) {
    // A peer that refuses at once may have closed the connection before it takes the HELLO; its reason can be read
    // still.
    Outcome written = stream.write(encodeHello(hello), deadline, waiter);
    if (!written.ok() && written.status != TRANSPORT_BROKEN_OFF) return written;
    Frame frame;
    Outcome read = stream.read(frame, deadline, waiter);
    if (!read.ok()) return read;
    return readWelcome(frame, welcome);
}

}  // namespace AppConfigHost
