#pragma once

#include "SocketTransport.h"
#include "wire/InProcessPeer.h"

namespace PbUtility {

/// The transport to a service in the same process, with the same threads and rules as between processes.
class InProcessTransport final : public SocketTransport {
public:
    /// \p peer is not owned and outlives the transport.
    explicit InProcessTransport(InProcessPeer& peer, TransportOptions options = {});
};

}  // namespace PbUtility
