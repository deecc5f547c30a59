#include "Connector.h"

#include <cstring>

namespace AppConfigHost {

namespace {

PbUtility::TransportStatus statusFor(int error) {
    using namespace PbUtility;
    switch (error) {
        case ENOENT:
        case ECONNREFUSED: return TRANSPORT_NO_SUCH_ENDPOINT;
        case EMFILE:
        case ENFILE:
        case ENOBUFS:
        case ENOMEM: return TRANSPORT_OUT_OF_RESOURCES;
        case ENOTDIR:
        case ENAMETOOLONG: return TRANSPORT_BAD_ENDPOINT;
        default: return TRANSPORT_REFUSED;
    }
}

}  // namespace

Failure connectFailure(int error, const std::string& what) {
    return {statusFor(error), what + ": " + std::strerror(error)};
}

}  // namespace AppConfigHost
