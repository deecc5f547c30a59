#pragma once

#include <memory>
#include <string>

#include "core/Limits.h"
#include "core/Types.h"
#include "os/Network.h"
#include "server/SendQueue.h"
#include "wire/FrameCodec.h"

namespace Simulation {

/// A service's end of one connection. Owned by the ServiceHost, which alone looks inside.
struct Session {
    Session(AppConfigService::ConnectionId number, std::shared_ptr<Connection> made)
        : id(number), connection(std::move(made)), queue(AppConfigService::mostQueuedBytes) {}

    const AppConfigService::ConnectionId id;
    const std::shared_ptr<Connection> connection;
    AppConfigWire::FrameDecoder decoder;
    AppConfigService::SendQueue queue;
    std::string outgoing;  ///< taken from the queue, being written
    std::size_t outgoingAt = 0;
    bool adopted = false;    ///< the core knows of it
    bool ready = false;      ///< it stands in the list of those that could go on
    bool cut = false;        ///< its queue was full
    bool wantsRoom = false;  ///< the core waits for room in its queue
    std::string endpoint;    ///< the client's, once it has said hello
    AppConfigWire::Purpose purpose = AppConfigWire::REQUESTS;
};

}  // namespace Simulation
