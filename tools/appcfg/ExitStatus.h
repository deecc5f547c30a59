#pragma once

namespace AppConfigTool {

/// What the tool's process ends with. Scripts rely on the numbers.
enum class ExitStatus : int {
    done = 0,
    refused = 1,        ///< the service refused it
    internalError = 1,  ///< the tool itself failed, which its complaint says; what was asked may be done or not
    usage = 2,          ///< the arguments make no sense; nothing was sent
    notReachable = 3,   ///< there is no service, or its connection was lost before the reply
    timedOut = 4,       ///< the service did not reply before the deadline
};

}  // namespace AppConfigTool
