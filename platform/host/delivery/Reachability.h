#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "Deadline.h"

namespace AppConfigHost {

/// Which endpoints deliveries may come from and how the attempts to connect to them went: what the delivery thread
/// tells the threads that make requests. Thread-safe.
class Reachability {
public:
    /// \return whether \p endpoint is new.
    bool add(const std::string& endpoint);

    /// \return the endpoints that were added since the last call.
    std::vector<std::string> takeAdded();

    /// The connection to \p endpoint, if there is one, is to be given up for another. An attempt that is under way does
    /// not count.
    void renew(const std::string& endpoint);
    bool mustRenew(const std::string& endpoint) const;
    /// It is given up; the next attempt counts.
    void renewalBegins(const std::string& endpoint);

    /// An attempt has ended; \p fd is the connection, -1 when there is none.
    void attemptEnded(const std::string& endpoint, int fd);

    /// The connection is about to be closed.
    void lost(const std::string& endpoint);

    /// \return whether somebody waits for the connection to \p endpoint, who is then no longer remembered.
    bool takeNudge(const std::string& endpoint);

    /// How many attempts must have ended before a request to \p endpoint may go on, so that what it registers can be
    /// delivered; 0 when nothing need be awaited. \p justConnected: the endpoint is there now, so a delivery connection
    /// that is not must be tried at once; that is remembered for takeNudge().
    std::uint64_t attemptsToAwait(const std::string& endpoint, bool justConnected);

    /// \return whether so many attempts have ended, or stop() has been called.
    bool haveEnded(const std::string& endpoint, std::uint64_t attempts) const;

    /// Blocks until haveEnded() or \p deadline.
    void await(const std::string& endpoint, std::uint64_t attempts, Deadline deadline);

    /// Lets everybody go who waits.
    void stop();

private:
    struct State {
        std::uint64_t attempts = 0;
        int fd = -1;
        bool nudged = false;
        bool mustRenew = false;
        bool renewing = false;
    };

    bool haveEndedLocked(const std::string& endpoint, std::uint64_t attempts) const APPCONFIG_REQUIRES(m_mutex);

    mutable AppConfig::PlainMutex m_mutex;
    std::condition_variable_any m_changed;
    std::map<std::string, State> m_states APPCONFIG_GUARDED_BY(m_mutex);
    std::vector<std::string> m_added APPCONFIG_GUARDED_BY(m_mutex);
    bool m_stopped APPCONFIG_GUARDED_BY(m_mutex) = false;
};

}  // namespace AppConfigHost
