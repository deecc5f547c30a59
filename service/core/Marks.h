#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "core/Limits.h"

namespace AppConfigService {

/// The marks that one client is sent between notifications and says that it has handled. They hold the service back
/// where a client handles slower than it takes, which the connection alone would not show: it has room as long as the
/// client's process reads. They prove nothing; see Progress for what does. Written by Notifier alone; not thread-safe.
class Marks {
public:
    /// A notification was sent. \return the mark that is to be sent behind it; nothing when none is.
    std::optional<std::uint64_t> afterNotification() {
        if (++m_notifications < framesPerMark || allOpen()) return std::nullopt;
        m_notifications = 0;
        m_open.push_back(++m_sent);
        return m_sent;
    }

    /// \return whether the client has so much to handle that it is told nothing more.
    bool allOpen() const { return m_open.size() >= mostOpenMarks; }

    /// The client has handled everything up to \p mark. \return whether that is the next one; an answer to a mark of an
    /// earlier connection, or one that was never sent, counts for nothing.
    bool handled(std::uint64_t mark) {
        if (m_open.empty() || m_open.front() != mark) return false;
        m_open.pop_front();
        return true;
    }

    /// Another delivery connection begins. Its marks go on from the former's, so that none is taken for another.
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
