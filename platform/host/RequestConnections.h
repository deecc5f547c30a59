#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "Connector.h"
#include "FrameStream.h"
#include "TransportOptions.h"

namespace AppConfigHost {

class ResumePoints;

/// A request connection, with who may use it next.
struct RequestConnection {
    FrameStream stream;
    std::uint64_t lastCorrelation = 0;
    /// The thread whose one-way messages on this connection may not have been handled yet; its next request must use
    /// this connection.
    std::thread::id reservedFor;
    bool mayBeOvertaken = false;  ///< but for registrations, since all of these messages are writes
    /// The newest state that came over it, which the resume points know of already.
    std::uint64_t seenTimeline = 0;
    std::uint64_t seenNumber = 0;

    /// The calling thread has sent a one-way message over it.
    void reserve(bool isWrite) {
        mayBeOvertaken = isWrite && (reservedFor == std::thread::id() || mayBeOvertaken);
        reservedFor = std::this_thread::get_id();
    }
};

/// The idle request connections of one transport, by endpoint. Thread-safe; the lock is never held across a system call
/// that may block.
class RequestConnections {
public:
    /// The arguments are not owned and outlive this object.
    RequestConnections(Connector& connector, ResumePoints& resume, const PbUtility::TransportOptions& options,
                       const std::string& localEndpoint);

    /// \return an idle connection that stands, the one used last first; null when there is none. The calling thread's
    /// own reserved one comes before all, other threads' never. With \p mayOvertake, no reserved one whose messages may
    /// be overtaken. Does not block.
    std::unique_ptr<RequestConnection> borrow(const std::string& endpoint, bool mayOvertake = false)
        APPCONFIG_EXCLUDES(m_mutex);

    /// Connects and shakes hands.
    Result<std::unique_ptr<RequestConnection>> open(const std::string& endpoint, Deadline deadline, Waiter& waiter);

    /// \p reply came over \p connection: the process is about to learn what it says. To be called before it does.
    void noteSeen(const std::string& endpoint, RequestConnection& connection, const Frame& reply);

    /// Takes a connection back that can be used again; the longest idle one goes when there are too many.
    void giveBack(const std::string& endpoint, std::unique_ptr<RequestConnection> connection)
        APPCONFIG_EXCLUDES(m_mutex);

private:
    using Idle = std::vector<std::unique_ptr<RequestConnection>>;  ///< the last is the one used last

    std::unique_ptr<RequestConnection> takeIdle(const std::string& endpoint, bool mayOvertake)
        APPCONFIG_EXCLUDES(m_mutex);

    Connector& m_connector;
    ResumePoints& m_resume;
    const PbUtility::TransportOptions& m_options;
    const std::string& m_localEndpoint;

    AppConfig::PlainMutex m_mutex;
    std::map<std::string, Idle> m_idle APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
