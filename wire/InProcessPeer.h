#pragma once

#include <string>

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

}  // namespace PbUtility
