#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "configservice.pb.h"

namespace PbUtility {
class PbUtils;
}

namespace AppConfig {

/// How a link gets its transport: one at a time; other threads get it once it is installed. Keeps what should have been
/// registered before there was one. Thread-safe.
class TransportSetup {
public:
    using Registration = std::pair<std::string, ConfigIF::CallbackType>;  ///< fully qualified name and kind

    /// One transport that is being installed. Waits for another thread that installs one, not for the calling thread
    /// itself: a transport may call back while it is being installed.
    class [[nodiscard]] Installation {
    public:
        Installation(TransportSetup& setup, PbUtility::PbUtils* pb) : m_setup(setup) {
            const PlainLock lock(setup.m_mutex);
            const std::thread::id me = std::this_thread::get_id();
            while (setup.m_depth != 0 && setup.m_thread.load(std::memory_order_relaxed) != me)
                setup.m_ended.wait(setup.m_mutex);
            m_needed = setup.transport() != pb;
            if (!m_needed) return;
            ++setup.m_depth;
            setup.m_coming.store(pb, std::memory_order_relaxed);
            setup.m_thread.store(std::this_thread::get_id(), std::memory_order_relaxed);
        }
        ~Installation() {
            if (!m_needed) return;
            const PlainLock lock(m_setup.m_mutex);
            if (--m_setup.m_depth != 0) return;
            m_setup.m_transport.store(m_setup.m_coming.load(std::memory_order_relaxed), std::memory_order_release);
            m_setup.m_thread.store(std::thread::id(), std::memory_order_relaxed);
            m_setup.m_ended.notify_all();
        }
        Installation(const Installation&) = delete;
        Installation& operator=(const Installation&) = delete;

        /// \return false when the link has this transport already, and it is installed.
        bool isNeeded() const { return m_needed; }

    private:
        TransportSetup& m_setup;
        bool m_needed;
    };

    /// \return the transport that was set last; null before. While one is being installed, only the installing thread
    /// gets it, since what another thread registered over it could be notified before there is a table.
    PbUtility::PbUtils* transport() const {
        // Set and cleared by the installing thread alone, so every thread can find out here whether it is that thread.
        const bool installs = m_thread.load(std::memory_order_relaxed) == std::this_thread::get_id();
        return installs ? m_coming.load(std::memory_order_relaxed) : m_transport.load(std::memory_order_acquire);
    }

    /// \return whether there is no transport yet; then \p registration is kept.
    bool keep(const Registration& registration) {
        const PlainLock lock(m_mutex);
        // Whoever brings the first transport takes what is kept under the same mutex, so nothing falls in between.
        if (transport() != nullptr) return false;
        m_kept.push_back(registration);
        return true;
    }

    /// Forgets \p registration.
    void forget(const Registration& registration) {
        const PlainLock lock(m_mutex);
        m_kept.erase(std::remove(m_kept.begin(), m_kept.end(), registration), m_kept.end());
    }

    /// \return what was kept, in the order in which it came, and forgets it.
    std::vector<Registration> takeKept() {
        const PlainLock lock(m_mutex);
        return std::exchange(m_kept, {});
    }

private:
    PlainMutex m_mutex;
    std::condition_variable_any m_ended;
    std::atomic<PbUtility::PbUtils*> m_transport{nullptr};
    std::atomic<PbUtility::PbUtils*> m_coming{nullptr};  ///< what m_thread installs
    std::atomic<std::thread::id> m_thread{};             ///< that installs one; none while nobody does
    int m_depth APPCONFIG_GUARDED_BY(m_mutex) = 0;       ///< how many installations m_thread is in
    std::vector<Registration> m_kept APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfig
