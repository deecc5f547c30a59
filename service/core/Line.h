#pragma once

#include <deque>

#include "core/Operation.h"

namespace AppConfigService {

/// The requests for one variable: the first is being decided, the others wait. Clients take turns: however many
/// requests one of them has put in, the next of another client comes after at most one more of it. The requests of one
/// client stay in their order. There is room for mostWaiting, the first included; if the line is
/// full, the last request of the user with most of them makes room for a user with fewer. Not thread-safe.
class Line {
public:
    bool empty() const { return m_operations.empty(); }
    const OperationPtr& first() const { return m_operations.front(); }
    const std::deque<OperationPtr>& all() const { return m_operations; }

    /// Puts \p operation in. \return the one that there is no room for, which is not in the line (any more): \p
    /// operation itself, or the last one of another user; null when there was room.
    OperationPtr add(const OperationPtr& operation);

    /// The first is finished.
    void removeFirst() { m_operations.pop_front(); }

    bool turning = false;  ///< its requests are being brought up; see Changes::turn()

private:
    OperationPtr makeRoomFor(const Operation& operation);

    std::deque<OperationPtr> m_operations;
};

}  // namespace AppConfigService
