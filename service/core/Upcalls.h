#pragma once

#include <google/protobuf/message_lite.h>

#include "core/Types.h"
#include "frame.pb.h"

namespace AppConfigService {

/// One request that is being served.
struct Call {
    ConnectionId connection = 0;
    std::uint64_t correlation = 0;
    std::uint32_t messageId = 0;
    bool awaited = true;
    ClientKey client;
    std::int32_t pid = 0;   ///< of its process, for the log
    bool internal = false;  ///< see Core::connected()
};

/// What the parts of the core need from the core that owns them. Each call may come in the middle of an operation, so
/// only store() starts anything else.
class Upcalls {
public:
    virtual ~Upcalls() = default;

    /// Ends \p call with \p response, which is sent if it is awaited and the connection still exists.
    virtual void reply(const Call& call, const google::protobuf::MessageLite& response) = 0;

    /// Ends \p call without a response; \p status says why.
    virtual void fail(const Call& call, AppConfigWire::Status status) = 0;

    /// Sends \p frame, which carries a message, over \p delivery, a delivery connection, and counts it.
    virtual void deliver(ConnectionId delivery, const AppConfigWire::Frame& frame) = 0;

    /// Stores what is pending, now. Everything that waited for that continues in there and may end requests, begin
    /// others and forget clients: the caller looks up again what it needs afterwards.
    virtual void store() = 0;
};

}  // namespace AppConfigService
