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
using AppConfigHost::Outcome;
using AppConfigHost::Waiter;
using AppConfigWire::FileDescriptor;

class UnixConnector final : public AppConfigHost::Connector {
public:
    explicit UnixConnector(std::string directory)
        : m_directory(directory.empty() ? AppConfigWire::defaultRuntimeDirectory() : std::move(directory)),
          m_isDefault(m_directory == AppConfigWire::defaultRuntimeDirectory()) {}

    Outcome check(const std::string& endpoint) const override {
        const AppConfigWire::EndpointPath place = AppConfigWire::endpointPath(m_directory, endpoint);
        return place.error.empty() ? Outcome{} : Outcome{TRANSPORT_BAD_ENDPOINT, place.error};
    }

    Outcome connect(const std::string& endpoint, Deadline deadline, Waiter& waiter, FileDescriptor& socket) override {
        if (m_isDefault) {
            std::string trouble = AppConfigWire::checkPrivateDirectory(m_directory);
            if (!trouble.empty()) return {TRANSPORT_BAD_ENDPOINT, std::move(trouble)};
        }
        const std::string path = AppConfigWire::endpointPath(m_directory, endpoint).path;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

        FileDescriptor attempt(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (!attempt.isOpen()) return AppConfigHost::connectFailure(errno, "socket");
        for (;;) {
            if (::connect(attempt.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) break;
            if (errno == EINTR) continue;
            if (errno != EAGAIN) return AppConfigHost::connectFailure(errno, path);
            // More callers wait than the endpoint takes. Nothing tells when there is room, hence the short turns.
            constexpr auto turn = std::chrono::milliseconds(2);
            if (waiter.wait(-1, 0, Deadline::after(turn).orEarlier(deadline)) == Waiter::Result::ended) {
                return {TRANSPORT_ENDED, {}};
            }
            if (deadline.passed()) return {TRANSPORT_TIMED_OUT, path + " takes no more callers"};
        }
        socket = std::move(attempt);
        return {};
    }

private:
    const std::string m_directory;
    const bool m_isDefault;
};

}  // namespace

UnixTransport::UnixTransport(TransportOptions options)
    : SocketTransport(std::make_unique<UnixConnector>(options.runtimeDirectory), options) {}

}  // namespace PbUtility
