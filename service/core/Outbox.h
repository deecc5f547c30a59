#pragma once

#include <functional>
#include <string>

#include "core/Types.h"
#include "frame.pb.h"

namespace AppConfigService {

/// Carries what the core sends to its clients. The core calls it from within its own operations; it must not call the
/// core back from there.
class Outbox {
public:
    virtual ~Outbox() = default;

    /// Queues \p frame for \p connection; nothing blocks.
    virtual void send(ConnectionId connection, const AppConfigWire::Frame& frame) = 0;

    /// \return whether what can wait may be sent to \p connection now. If not, Core::drained() is called once it may.
    virtual bool hasRoom(ConnectionId connection) = 0;

    /// The request that kept \p connection busy has ended: its next frame may be given to the core, once the core has
    /// returned.
    virtual void idle(ConnectionId connection) = 0;

    /// \p connection is to be closed once everything that was queued for it has been sent; the core does not know it
    /// any more.
    virtual void close(ConnectionId connection) = 0;
};

enum class LogLevel : std::uint8_t { debug, info, warning, error };

/// Takes one line per event.
using Log = std::function<void(LogLevel, const std::string&)>;

}  // namespace AppConfigService
