#pragma once

#include <asio.hpp>
#include <functional>
#include <memory>
#include <string>

#include "core/Types.h"
#include "wire/FileDescriptor.h"

namespace AppConfigService {

/// The socket in the runtime directory that clients connect to, and the claim on its name: a lock file beside it, held
/// for as long as the service lives, so that a name has one service and a socket that a dead one left is known as such.
/// Owns both. Runs on its io_context's thread only.
class SocketListener {
public:
    using Accepted = std::function<void(asio::local::stream_protocol::socket)>;

    explicit SocketListener(asio::io_context& io);

    /// Stops accepting, and removes the socket if it is still this one's.
    ~SocketListener();

    SocketListener(const SocketListener&) = delete;
    SocketListener& operator=(const SocketListener&) = delete;

    /// Claims \p name in \p directory, which is created when missing. Fails with ERROR_UNAVAILABLE when it
    /// cannot be had; then nothing has been touched that belongs to another service.
    Result<> claim(const std::string& directory, const std::string& name);

    /// Lets clients connect and gives each to \p accepted. After claim(). Fails with ERROR_UNAVAILABLE.
    Result<> listen(Accepted accepted);

    /// \return where the socket is, after claim().
    const std::string& path() const { return m_path; }

private:
    void accept();

    asio::local::stream_protocol::acceptor m_acceptor;
    asio::steady_timer m_pause;
    Accepted m_accepted;
    std::string m_path;
    AppConfigWire::FileDescriptor m_lock;
    bool m_bound = false;
    std::uint64_t m_device = 0;
    std::uint64_t m_inode = 0;
};

}  // namespace AppConfigService
