#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "wire/FrameLimit.h"

namespace PbUtility {

/// What became of a callback registration that a service did not take at first.
struct RegistrationReport {
    std::string endpoint;  ///< the service's
    std::string name;      ///< what was registered for: a variable's fully qualified name, or a node
    int type = 0;          ///< ConfigIF::CallbackType
    int error = 0;         ///< why it is refused, a CommonIF::eErrorType; 0: it is taken now
};

/// How a host transport behaves. The defaults suit an application.
struct TransportOptions {
    /// Where the endpoints' sockets lie; empty for the default one (AppConfigWire::defaultRuntimeDirectory()). Only
    /// UnixTransport looks at it.
    std::string runtimeDirectory;

    /// How long one call may block, from its start to its return; also how long a delivery connection may take to be
    /// welcomed and an answer to be written.
    std::chrono::milliseconds deadline{5000};

    /// The largest frame to send or to take.
    std::size_t frameLimit = AppConfigWire::defaultFrameLimit;

    /// How many idle request connections are kept per endpoint. More are opened when more threads ask at once.
    std::size_t idleConnections = 8;

    /// The pause before the first further attempt to connect for deliveries, and what it grows to by doubling. Each is
    /// shortened at random by up to a half, so that many clients do not return in step.
    std::chrono::milliseconds firstPause{50};
    std::chrono::milliseconds longestPause{2000};

    /// Called on the delivery thread when deliveries from \p endpoint can come (true) and when they no longer can
    /// (false). May call the transport, as handlers may. Must not throw.
    std::function<void(const std::string& endpoint, bool connected)> onConnection;

    /// The pause before refused registrations are tried again, and what it grows to by doubling. They are also tried
    /// again with each new connection.
    std::chrono::milliseconds firstRegistrationPause{1000};
    std::chrono::milliseconds longestRegistrationPause{60'000};

    /// Called on the delivery thread for each registration that the service refuses, once per error, and again when it
    /// has taken it. Without an observer one line on standard error says when refusals begin, and one when they are
    /// over. May call the transport, as handlers may. Must not throw.
    std::function<void(const RegistrationReport& report)> onRegistration;
};

}  // namespace PbUtility
