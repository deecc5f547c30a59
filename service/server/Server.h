#pragma once

#include <asio.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "core/Core.h"
#include "server/Session.h"

namespace AppConfigService {

/// Runs a core on an io_context: gives it frames and the time, carries its frames out, and lets it store once per turn
/// of the loop, so that whatever came together shares a transaction. Refers to the io_context and the store, which must
/// outlive it. Runs on the io_context's thread only; is made and destroyed while that does not run.
class Server : public Outbox {
public:
    Server(asio::io_context& io, StateStore& store, const ServiceOptions& options, Log log);
    ~Server() override;

    /// See Core::start().
    Result<> start(const Definitions& definitions);

    /// See Core::reload().
    Result<> reload(const Definitions& definitions);

    /// Serves the client at the other end of \p socket.
    void adopt(asio::local::stream_protocol::socket socket);

    /// Serves a request of the service's own user. \p done gets the reply, once.
    void call(std::uint32_t messageId, const std::string& payload,
              std::function<void(const AppConfigWire::Frame&)> done);

    /// Runs \p work on the core, followed by whatever it made necessary.
    void withCore(const std::function<void(Core&)>& work);

    /// Closes every connection. Nothing runs on the io_context any more.
    void closeAll();

    void send(ConnectionId connection, const AppConfigWire::Frame& frame) override;
    bool hasRoom(ConnectionId connection) override;
    void idle(ConnectionId connection) override;
    void close(ConnectionId connection) override;

private:
    void settle();
    void flush();
    void armTimer();

    asio::io_context& m_io;
    Log m_log;
    Core m_core;
    asio::steady_timer m_timer;
    std::shared_ptr<Session::Events> m_events;
    ConnectionId m_nextConnection = 1;
    std::map<ConnectionId, std::shared_ptr<Session>> m_sessions;
    std::map<ConnectionId, std::function<void(const AppConfigWire::Frame&)>> m_calls;
    bool m_flushPosted = false;
    std::optional<Time> m_armedFor;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);  ///< false for handlers that outlive the server
};

}  // namespace AppConfigService
