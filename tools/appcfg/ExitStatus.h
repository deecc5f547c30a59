#pragma once

namespace AppConfigTool {

/// What the tool's process ends with. Scripts rely on the numbers.
enum class ExitStatus : int {
    done = 0,
    refused = 1,        ///< the service answered, and said no
    internalError = 1,  ///< the tool itself failed, which its complaint says; what was asked may be done or not
    usage = 2,          ///< the arguments make no sense; nothing was sent
    notReachable = 3,   ///< there is no service, or it went away before it answered
    timedOut = 4,       ///< the service did not answer within the time limit
};

}  // namespace AppConfigTool
