#include "Connector.h"

#include <cstring>

namespace AppConfigHost {

Outcome connectFailure(int error, const std::string& what) {
    using namespace PbUtility;
    Outcome outcome;
    outcome.reason = what + ": " + std::strerror(error);
    switch (error) {
        case ENOENT:
        case ECONNREFUSED: outcome.status = TRANSPORT_NO_SUCH_ENDPOINT; break;
        case EMFILE:
        case ENFILE:
        case ENOBUFS:
        case ENOMEM: outcome.status = TRANSPORT_OUT_OF_RESOURCES; break;
        case ENOTDIR:
        case ENAMETOOLONG: outcome.status = TRANSPORT_BAD_ENDPOINT; break;
        default: outcome.status = TRANSPORT_REFUSED; break;
    }
    return outcome;
}

}  // namespace AppConfigHost
