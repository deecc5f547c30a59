#include "RequestConnections.h"

#include <utility>

#include "Handshake.h"
#include "delivery/ResumePoints.h"
#include "wire/FrameVersion.h"

namespace AppConfigHost {

RequestConnections::RequestConnections(Connector& connector, ResumePoints& resume,
                                       const PbUtility::TransportOptions& options, const std::string& localEndpoint)
    : m_connector(connector), m_resume(resume), m_options(options), m_localEndpoint(localEndpoint) {}

std::unique_ptr<RequestConnection> RequestConnections::takeIdle(const std::string& endpoint, bool mayOvertake) {
    const AppConfig::PlainLock lock(m_mutex);
    Idle& idle = m_idle[endpoint];
    const std::thread::id me = std::this_thread::get_id();
    auto chosen = idle.rend();
    for (auto it = idle.rbegin(); it != idle.rend(); ++it) {
        if ((*it)->reservedFor == me && !(mayOvertake && (*it)->mayBeOvertaken)) {
            chosen = it;
            break;
        }
        if ((*it)->reservedFor == std::thread::id() && chosen == idle.rend()) chosen = it;
    }
    if (chosen == idle.rend()) return nullptr;
    std::unique_ptr<RequestConnection> connection = std::move(*chosen);
    idle.erase(std::next(chosen).base());
    return connection;
}

std::unique_ptr<RequestConnection> RequestConnections::borrow(const std::string& endpoint, bool mayOvertake) {
    for (;;) {
        std::unique_ptr<RequestConnection> connection = takeIdle(endpoint, mayOvertake);
        // The service may have ended meanwhile, or have sent something unexpected. Neither may disturb the next
        // request.
        if (connection == nullptr || connection->stream.isQuiet()) return connection;
    }
}

Result<std::unique_ptr<RequestConnection>> RequestConnections::open(const std::string& endpoint, Deadline deadline,
                                                                    Waiter& waiter) {
    Result<FileDescriptor> socket = m_connector.connect(endpoint, deadline, waiter);
    if (!socket) return failure(std::move(socket.error()));

    auto fresh = std::make_unique<RequestConnection>(
        RequestConnection{FrameStream(std::move(*socket), m_options.frameLimit), 0, {}, false, 0, 0});
    Hello hello;
    hello.set_version(frameVersion);
    hello.set_endpoint(m_localEndpoint);
    hello.set_purpose(REQUESTS);
    m_resume.describe(endpoint, hello);
    const Result<Welcome> welcome = shakeHands(fresh->stream, hello, deadline, waiter);
    if (!welcome) return failure(welcome.error());
    m_resume.welcomedForRequests(endpoint, *welcome);
    return fresh;
}

void RequestConnections::noteSeen(const std::string& endpoint, RequestConnection& connection, const Frame& reply) {
    if (!reply.has_as_of()) return;
    // An unchanged newest change costs nothing here.
    if (reply.timeline() == connection.seenTimeline && reply.as_of() <= connection.seenNumber) return;
    m_resume.saw(endpoint, reply.timeline(), reply.as_of());
    connection.seenTimeline = reply.timeline();
    connection.seenNumber = reply.as_of();
}

void RequestConnections::giveBack(const std::string& endpoint, std::unique_ptr<RequestConnection> connection) {
    std::unique_ptr<RequestConnection> surplus;  // closed after the lock has been released
    const AppConfig::PlainLock lock(m_mutex);
    Idle& idle = m_idle[endpoint];
    idle.push_back(std::move(connection));
    if (idle.size() > m_options.idleConnections) {
        surplus = std::move(idle.front());
        idle.erase(idle.begin());
    }
}

}  // namespace AppConfigHost
