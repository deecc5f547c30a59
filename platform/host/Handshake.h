#pragma once

#include <string>

#include "FrameStream.h"

namespace AppConfigHost {

/// \return an encoded HELLO.
std::string encodeHello(const Hello& hello);

/// \return what the frame that answers a HELLO says.
Result<Welcome> readWelcome(const Frame& frame);

/// \return what a frame means that may not come here: TRANSPORT_REFUSED with the peer's reason for REFUSED, else
/// TRANSPORT_PROTOCOL_ERROR.
Failure unexpectedFrame(const Frame& frame);

/// Says HELLO and waits for the WELCOME.
Result<Welcome> shakeHands(FrameStream& stream, const Hello& hello, Deadline deadline, Waiter& waiter);

}  // namespace AppConfigHost
