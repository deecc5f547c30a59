#pragma once

#include <string>

namespace PbUtility {

/// A service that lives in this process.
class InProcessPeer {
public:
    virtual ~InProcessPeer() = default;

    /// Makes a pair of connected stream sockets and keeps one end. Any thread; does not block.
    /// \return the other end, which the caller owns; -1 with errno set: ENOENT if \p endpoint does not exist,
    /// ECONNREFUSED if it does not accept connections now, or another error of the system.
    virtual int connect(const std::string& endpoint) = 0;
};

}  // namespace PbUtility
