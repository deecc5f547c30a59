#include "UnixTransport.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <utility>

#include "Connector.h"
#include "wire/Endpoint.h"

namespace PbUtility {

namespace {

using AppConfigHost::Deadline;
using AppConfigHost::failure;
using AppConfigHost::Result;
using AppConfigHost::Waiter;
using AppConfigWire::FileDescriptor;

class UnixConnector final : public AppConfigHost::Connector {
public:
    explicit UnixConnector(std::string directory)
        : m_directory(directory.empty() ? AppConfigWire::defaultRuntimeDirectory() : std::move(directory)),
          m_isDefault(m_directory == AppConfigWire::defaultRuntimeDirectory()) {}

    Result<> check(const std::string& endpoint) const override {
        const auto path = AppConfigWire::endpointPath(m_directory, endpoint);
        if (!path) return failure(TRANSPORT_BAD_ENDPOINT, path.error().reason);
        return {};
    }

    Result<FileDescriptor> connect(const std::string& endpoint, Deadline deadline, Waiter& waiter) override {
        if (m_isDefault) {
            const auto usable = AppConfigWire::checkPrivateDirectory(m_directory);
            if (!usable) return failure(TRANSPORT_BAD_ENDPOINT, usable.error().reason);
        }
        const std::string path = AppConfigWire::endpointPath(m_directory, endpoint).value();
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

        FileDescriptor attempt(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (!attempt.isOpen()) return failure(AppConfigHost::connectFailure(errno, "socket"));
        for (;;) {
            if (::connect(attempt.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) break;
            if (errno == EINTR) continue;
            if (errno != EAGAIN) return failure(AppConfigHost::connectFailure(errno, path));
            // More callers wait than the endpoint takes. Nothing tells when there is room, hence the short turns.
            constexpr auto turn = std::chrono::milliseconds(2);
            if (waiter.wait(-1, 0, Deadline::after(turn).orEarlier(deadline)) == Waiter::Event::ended) {
                return failure(TRANSPORT_ENDED);
            }
            if (deadline.passed()) return failure(TRANSPORT_TIMED_OUT, path + " accepts no more connections");
        }
        return attempt;
    }

private:
    const std::string m_directory;
    const bool m_isDefault;
};

}  // namespace

UnixTransport::UnixTransport(TransportOptions options)
    : SocketTransport(std::make_unique<UnixConnector>(options.runtimeDirectory), options) {}

}  // namespace PbUtility
