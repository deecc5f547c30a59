#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/Types.h"

namespace AppConfigService {

/// What a client sent, as an interceptor sees it.
struct ReceivedRequest {
    std::string endpoint;         ///< the client's
    std::uint32_t messageId = 0;  ///< see MessageIds.h
    std::string payload;          ///< the serialised message
    bool awaited = false;         ///< whether the client waits for a reply
};

/// What is to happen with a request instead of serving it.
struct Interception {
    enum class Action : std::uint8_t {
        serve,       ///< as if it had not been intercepted
        ignore,      ///< no reply, ever; the connection stays
        refuse,      ///< a reply of the request's kind with \p error and \p message
        disconnect,  ///< the connection it came on is closed without a reply
    };
    Action action = Action::serve;
    Error error = CommonIF::ERROR_GENERAL;
    std::string message;
};

/// Decides what happens to one request. Runs on the thread that runs the core.
using Interceptor = std::function<Interception(const ReceivedRequest&)>;

}  // namespace AppConfigService
