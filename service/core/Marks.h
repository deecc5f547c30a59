#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "core/Limits.h"

namespace AppConfigService {

/// The marks that one client is sent between notifications and returns once it has handled them. They slow the service
/// down to the speed of a client's handlers, which the connection does not show: it has room as long as the client's
/// process reads. They prove nothing; see Progress for what does. Written by Notifier alone; not thread-safe.
class Marks {
public:
    /// A notification was sent. \return the mark to be sent after it; nothing if there is none.
    std::optional<std::uint64_t> afterNotification() {
        if (++m_notifications < framesPerMark || allOpen()) return std::nullopt;
        m_notifications = 0;
        m_open.push_back(++m_sent);
        return m_sent;
    }

    /// \return whether the client has so much to handle that it is sent nothing more.
    bool allOpen() const { return m_open.size() >= mostOpenMarks; }

    /// The client has handled everything up to \p mark. \return whether that is the next one; a mark of an earlier
    /// connection, or one that was never sent, is ignored.
    bool handled(std::uint64_t mark) {
        if (m_open.empty() || m_open.front() != mark) return false;
        m_open.pop_front();
        return true;
    }

    /// Another delivery connection begins. Its marks continue those of the previous one, so that none is mistaken for
    /// another.
    void startOver() {
        m_notifications = 0;
        m_open.clear();
    }

private:
    std::size_t m_notifications = 0;  ///< since the last mark
    std::deque<std::uint64_t> m_open;
    std::uint64_t m_sent = 0;  ///< in all
};

}  // namespace AppConfigService
