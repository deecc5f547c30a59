#include "server/SocketListener.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "wire/Endpoint.h"

namespace AppConfigService {

namespace {

/// \return a failure to get hold of the name or the socket; whoever starts the service can mend it.
tl::unexpected<Failure> unavailable(std::string reason) {
    return failure(CommonIF::ERROR_UNAVAILABLE, std::move(reason));
}

tl::unexpected<Failure> because(const std::string& what, int error) {
    return unavailable(what + ": " + std::strerror(error));
}

}  // namespace

SocketListener::SocketListener(asio::io_context& io) : m_acceptor(io), m_pause(io) {}

SocketListener::~SocketListener() {
    asio::error_code ignored;
    m_acceptor.close(ignored);
    struct stat status {};
    const bool own =
        m_bound && lstat(m_path.c_str(), &status) == 0 && status.st_dev == m_device && status.st_ino == m_inode;
    if (own) unlink(m_path.c_str());
}

Result<> SocketListener::claim(const std::string& directory, const std::string& name) {
    const auto path = AppConfigWire::endpointPath(directory, name);
    if (!path) return unavailable(path.error().reason);
    auto prepared = AppConfigWire::prepareRuntimeDirectory(directory);
    if (prepared) prepared = AppConfigWire::prepareEndpointDirectory(directory, name);
    if (!prepared) return unavailable(prepared.error().reason);

    const std::string lockPath = *path + ".lock";
    AppConfigWire::FileDescriptor lock(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock.isOpen()) return because("the lock file " + lockPath + " cannot be opened", errno);
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) return because("the lock file " + lockPath + " cannot be locked", errno);
        return unavailable("a service called " + name + " is already running in " + directory);
    }
    m_path = *path;
    m_lock = std::move(lock);
    return {};
}

Result<> SocketListener::listen(Accepted accepted) {
    m_accepted = std::move(accepted);
    struct stat status {};
    if (lstat(m_path.c_str(), &status) == 0) {
        if (!S_ISSOCK(status.st_mode)) return unavailable(m_path + " exists and is not a socket");
        // The lock is ours, so the process that made this socket has ended.
        if (unlink(m_path.c_str()) != 0) return because("the old socket " + m_path + " cannot be removed", errno);
    }
    asio::error_code error;
    m_acceptor.open(asio::local::stream_protocol(), error);
    if (!error) m_acceptor.bind(asio::local::stream_protocol::endpoint(m_path), error);
    if (error) return unavailable("the socket " + m_path + " cannot be created: " + error.message());
    m_bound = true;
    // The directory decides who may connect; the client's user decides what it may do.
    if (chmod(m_path.c_str(), 0666) != 0 || lstat(m_path.c_str(), &status) != 0) {
        return because("the socket " + m_path + " cannot be made accessible to clients", errno);
    }
    m_device = status.st_dev;
    m_inode = status.st_ino;
    m_acceptor.listen(asio::socket_base::max_listen_connections, error);
    if (error) return unavailable("the socket " + m_path + " does not accept clients: " + error.message());
    accept();
    return {};
}

void SocketListener::accept() {
    m_acceptor.async_accept([this](const asio::error_code& error, asio::local::stream_protocol::socket socket) {
        if (error == asio::error::operation_aborted) return;
        if (!error) {
            m_accepted(std::move(socket));
            return accept();
        }
        // Out of descriptors, most likely: others have to go first.
        m_pause.expires_after(std::chrono::milliseconds(100));
        m_pause.async_wait([this](const asio::error_code& aborted) {
            if (!aborted) accept();
        });
    });
}

}  // namespace AppConfigService
