#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "FrameLimit.h"

namespace PbUtility {

/// How a host transport behaves. The defaults suit an application.
struct TransportOptions {
    /// Where the endpoints' sockets lie; empty for the default one (AppConfigHost::defaultRuntimeDirectory()). Only
    /// UnixTransport looks at it.
    std::string runtimeDirectory;

    /// How long one call may block, from its start to its return; also how long a delivery connection may take to be
    /// welcomed and an answer to be written.
    std::chrono::milliseconds deadline{5000};

    /// The largest frame to send or to take.
    std::size_t frameLimit = AppConfigHost::defaultFrameLimit;

    /// How many idle request connections are kept per endpoint. More are opened when more threads ask at once.
    std::size_t idleConnections = 8;

    /// The pause before the first further attempt to connect for deliveries, and what it grows to by doubling. Each is
    /// shortened at random by up to a half, so that many clients do not return in step.
    std::chrono::milliseconds firstPause{50};
    std::chrono::milliseconds longestPause{2000};

    /// Called on the delivery thread when deliveries from \p endpoint can come (true) and when they no longer can
    /// (false). May call the transport, as handlers may. Must not throw.
    std::function<void(const std::string& endpoint, bool connected)> onConnection;
};

}  // namespace PbUtility
