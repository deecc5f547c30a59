#pragma once

#include <string>

#include "TransportStatus.h"

namespace AppConfigHost {

/// What came of one step on a connection.
struct Outcome {
    int status = PbUtility::TRANSPORT_OK;
    std::string reason;  ///< what the system or the peer said; may be empty

    bool ok() const { return status == PbUtility::TRANSPORT_OK; }
};

}  // namespace AppConfigHost
