#pragma once

#include <string>

#include "SocketTransport.h"

namespace PbUtility {

/// A service that lives in this process.
class InProcessPeer {
public:
    virtual ~InProcessPeer() = default;

    /// Makes a pair of connected stream sockets and keeps one end. Any thread; does not block.
    /// \return the other end, which the caller owns; -1 with errno set when \p endpoint is not there (ENOENT) or takes
    /// nobody now (ECONNREFUSED), or for another reason of the system's.
    virtual int connect(const std::string& endpoint) = 0;
};

/// The transport to a service in the same process, with the same threads and rules as between processes.
class InProcessTransport final : public SocketTransport {
public:
    /// \p peer is not owned and outlives the transport.
    explicit InProcessTransport(InProcessPeer& peer, TransportOptions options = {});
};

}  // namespace PbUtility
