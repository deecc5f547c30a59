#pragma once

#include <string>

namespace PbUtility {

/// What the calls of a host transport return. 0 is success; each other number has one meaning.
enum TransportStatus : int {
    TRANSPORT_OK = 0,
    TRANSPORT_BAD_ENDPOINT = 1,      ///< the endpoint's name is none, or leads to no usable place on this host
    TRANSPORT_NO_SUCH_ENDPOINT = 2,  ///< nobody listens under that name now
    TRANSPORT_REFUSED = 3,           ///< the peer, or the system, does not let this client in
    TRANSPORT_TIMED_OUT = 4,         ///< the deadline passed; whether the peer acted on the message is not known
    TRANSPORT_BROKEN_OFF = 5,        ///< the connection was lost before the reply; whether the peer acted is not known
    TRANSPORT_UNREADABLE_REPLY = 6,  ///< a reply came, but is not the message that was expected
    TRANSPORT_TOO_LARGE = 7,         ///< the message exceeds the limit of a frame and was not sent
    TRANSPORT_UNSUPPORTED = 8,       ///< the peer knows the message but does not answer it
    TRANSPORT_UNREADABLE_REQUEST = 9,  ///< the peer could not parse the message
    TRANSPORT_PROTOCOL_ERROR = 10,     ///< the peer sent what no peer may send; the connection was closed
    TRANSPORT_UNKNOWN_MESSAGE = 11,    ///< the message has no id, so it cannot travel
    TRANSPORT_BAD_ARGUMENT = 12,       ///< a null table or the like
    TRANSPORT_OUT_OF_RESOURCES = 13,   ///< the system gave no descriptor, no thread or no memory
    TRANSPORT_ENDED = 14,              ///< the transport itself has been ended
};

/// \return one clause for people that says what \p status means, such as "the deadline passed"; a text that says so for
/// a number without a meaning. Never null; lives as long as the program. Any thread.
const char* transportStatusText(int status);

/// \return one sentence on the calling thread's most recent call to a transport, with the endpoint's name and what the
/// system or the peer said; empty when that call succeeded. Valid until this thread's next call to a transport.
const std::string& lastTransportFailure();

/// Sets what lastTransportFailure() returns on this thread. For transports and what decorates them.
void setLastTransportFailure(std::string sentence);

}  // namespace PbUtility
