#pragma once

#include <string>

#include "TransportResult.h"
#include "Waiter.h"
#include "WireNames.h"
#include "wire/FileDescriptor.h"

namespace AppConfigHost {

/// How a transport gets a stream socket that is connected to an endpoint. Thread-safe.
class Connector {
public:
    virtual ~Connector() = default;

    /// \return whether \p endpoint can be reached by this connector at all; fails with TRANSPORT_BAD_ENDPOINT. Does not
    /// block.
    virtual Result<> check(const std::string& endpoint) const = 0;

    /// Connects to \p endpoint, which passed check(). Blocks only while the endpoint has more callers than it takes, up
    /// to \p deadline. \return a non-blocking socket that does not survive exec.
    virtual Result<FileDescriptor> connect(const std::string& endpoint, Deadline deadline, Waiter& waiter) = 0;
};

/// \return what a failed connect that left \p error in errno means.
Failure connectFailure(int error, const std::string& what);

}  // namespace AppConfigHost
