#include "SilentService.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "wire/Endpoint.h"

namespace AppConfigTest {

SilentService::SilentService(const std::string& runtimeDirectory) {
    AppConfigWire::prepareRuntimeDirectory(runtimeDirectory);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = AppConfigWire::endpointPath(runtimeDirectory, "ConfigSrvc").value();
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // The system completes connections by itself; nobody ever takes them.
    if (::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listener, 16) != 0) {
        ::close(m_listener);
        throw std::runtime_error("cannot listen at " + path);
    }
}

SilentService::~SilentService() {
    ::close(m_listener);
}

}  // namespace AppConfigTest
