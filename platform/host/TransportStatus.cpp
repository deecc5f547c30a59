#include "TransportStatus.h"

#include <utility>

namespace PbUtility {

namespace {
thread_local std::string lastFailure;
}

const char* transportStatusText(int status) {
    switch (static_cast<TransportStatus>(status)) {
        case TRANSPORT_OK: return "done";
        case TRANSPORT_BAD_ENDPOINT: return "not a valid endpoint here";
        case TRANSPORT_NO_SUCH_ENDPOINT: return "nothing listens at the endpoint";
        case TRANSPORT_REFUSED: return "the endpoint refused the connection";
        case TRANSPORT_TIMED_OUT: return "the deadline passed";
        case TRANSPORT_BROKEN_OFF: return "the connection was lost before the reply";
        case TRANSPORT_UNREADABLE_REPLY: return "the reply cannot be read";
        case TRANSPORT_TOO_LARGE: return "the message is too large to be sent";
        case TRANSPORT_UNSUPPORTED: return "the endpoint does not support this message";
        case TRANSPORT_UNREADABLE_REQUEST: return "the endpoint could not read the message";
        case TRANSPORT_PROTOCOL_ERROR: return "the endpoint violated the protocol";
        case TRANSPORT_UNKNOWN_MESSAGE: return "the message has no id";
        case TRANSPORT_BAD_ARGUMENT: return "an argument is missing";
        case TRANSPORT_OUT_OF_RESOURCES: return "the system has run out of descriptors, threads or memory";
        case TRANSPORT_ENDED: return "the transport has been ended";
    }
    return "an unknown status";
}

const std::string& lastTransportFailure() {
    return lastFailure;
}

void setLastTransportFailure(std::string sentence) {
    lastFailure = std::move(sentence);
}

}  // namespace PbUtility
