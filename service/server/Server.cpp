#include "server/Server.h"

#include <sys/socket.h>

#include <utility>

#include "wire/FrameVersion.h"

namespace AppConfigService {

using AppConfigWire::Frame;

Server::Server(asio::io_context& io, StateStore& store, const ServiceOptions& options, Log log)
    : m_io(io),
      m_log(log),
      m_core(store, *this, options, log),
      m_timer(io),
      m_events(std::make_shared<Session::Events>()) {
    m_events->accepting = [this](ConnectionId id) { return !m_core.busy(id); };
    m_events->onFrame = [this](ConnectionId id, const Frame& frame) {
        m_core.receive(id, frame, Clock::now());
        settle();
    };
    m_events->onRoom = [this](ConnectionId id) {
        m_core.drained(id, Clock::now());
        settle();
    };
    m_events->onInvalid = [this](ConnectionId id, const std::string& reason) {
        m_core.refuse(id, reason, Clock::now());
        settle();
    };
    m_events->onLost = [this, alive = m_alive](ConnectionId id, const std::string& reason) {
        if (!*alive) return;
        if (!reason.empty()) m_log(LogLevel::info, "lost a connection of " + m_core.clientOf(id) + ": " + reason);
        m_sessions.erase(id);
        m_core.disconnected(id, Clock::now());
        settle();
    };
}

Server::~Server() {
    *m_alive = false;
    closeAll();
}

void Server::closeAll() {
    // Sessions may outlive the server in handlers that never run; closed, they report nothing.
    for (const auto& session : m_sessions) session.second->close();
    m_sessions.clear();
}

Result<> Server::start(const Definitions& definitions) {
    Result<> started = m_core.start(definitions, Clock::now());
    settle();
    return started;
}

Result<> Server::reload(const Definitions& definitions) {
    Result<> reloaded = m_core.reload(definitions, Clock::now());
    settle();
    return reloaded;
}

void Server::adopt(asio::local::stream_protocol::socket socket) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        m_log(LogLevel::warning, "refused a connection: the system does not tell its user");
        return;
    }
    const ConnectionId id = m_nextConnection++;
    const auto session = std::make_shared<Session>(id, std::move(socket), m_events);
    m_sessions.emplace(id, session);
    m_core.connected(id, peer.uid, Clock::now());
    session->start();
    settle();
}

void Server::call(std::uint32_t messageId, const std::string& payload, std::function<void(const Frame&)> done) {
    const ConnectionId id = m_nextConnection++;
    m_calls.emplace(id, std::move(done));
    m_core.connected(id, 0, Clock::now(), true);
    Frame hello;
    hello.set_kind(AppConfigWire::HELLO);
    hello.mutable_hello()->set_version(AppConfigWire::frameVersion);
    hello.mutable_hello()->set_endpoint("service");
    hello.mutable_hello()->set_purpose(AppConfigWire::REQUESTS);
    m_core.receive(id, hello, Clock::now());
    Frame request;
    request.set_kind(AppConfigWire::REQUEST);
    request.set_correlation(id);
    request.set_message_id(messageId);
    request.set_payload(payload);
    m_core.receive(id, request, Clock::now());
    settle();
}

void Server::withCore(const std::function<void(Core&)>& work) {
    work(m_core);
    settle();
}

bool Server::hasRoom(ConnectionId connection) {
    const auto session = m_sessions.find(connection);
    return session == m_sessions.end() || session->second->hasRoom();
}

void Server::send(ConnectionId connection, const Frame& frame) {
    const auto session = m_sessions.find(connection);
    if (session != m_sessions.end()) return session->second->send(frame);

    const auto call = m_calls.find(connection);
    const bool ends = frame.kind() == AppConfigWire::REPLY || frame.kind() == AppConfigWire::REFUSED;
    if (call == m_calls.end() || !ends) return;
    const auto done = std::move(call->second);
    m_calls.erase(call);
    asio::post(m_io, [this, alive = m_alive, connection, done, frame] {
        if (!*alive) return;
        m_core.disconnected(connection, Clock::now());
        settle();
        done(frame);
    });
}

void Server::idle(ConnectionId connection) {
    const auto session = m_sessions.find(connection);
    if (session != m_sessions.end()) session->second->resume();
}

void Server::close(ConnectionId connection) {
    const auto session = m_sessions.find(connection);
    if (session == m_sessions.end()) return;
    session->second->close();
    m_sessions.erase(session);
}

void Server::settle() {
    if (m_core.needsFlush() && !m_flushPosted) {
        m_flushPosted = true;
        // Behind the handlers that are ready now, so that what they bring is stored along.
        asio::post(m_io, [this, alive = m_alive] {
            if (!*alive) return;
            m_flushPosted = false;
            flush();
        });
    }
    armTimer();
}

void Server::flush() {
    m_core.flush(Clock::now());
    settle();
}

void Server::armTimer() {
    const std::optional<Time> next = m_core.nextDeadline();
    if (next == m_armedFor) return;
    m_armedFor = next;
    if (!next) {
        m_timer.cancel();
        return;
    }
    m_timer.expires_at(*next);
    m_timer.async_wait([this, alive = m_alive](const asio::error_code& error) {
        if (error || !*alive) return;
        m_armedFor.reset();
        m_core.tick(Clock::now());
        settle();
    });
}

}  // namespace AppConfigService
