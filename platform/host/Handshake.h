#pragma once

#include <string>

#include "FrameStream.h"

namespace AppConfigHost {

/// \return an encoded HELLO.
std::string encodeHello(const Hello& hello);

/// Takes the frame that answers a HELLO. \p welcome is filled in on success, else untouched.
Outcome readWelcome(const Frame& frame, Welcome& welcome);

/// \return what a frame means that may not come here: TRANSPORT_REFUSED with the peer's reason for REFUSED, else
/// TRANSPORT_PROTOCOL_ERROR.
Outcome unexpectedFrame(const Frame& frame);

/// Says HELLO and awaits the WELCOME.
Outcome greet(FrameStream& stream, const Hello& hello, Deadline deadline, Waiter& waiter, Welcome& welcome);

}  // namespace AppConfigHost
