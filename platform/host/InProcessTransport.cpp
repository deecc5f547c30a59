#include "InProcessTransport.h"

#include <fcntl.h>

#include <utility>

#include "Connector.h"
#include "wire/Endpoint.h"

namespace PbUtility {

namespace {

using AppConfigHost::Deadline;
using AppConfigHost::Result;
using AppConfigHost::Waiter;
using AppConfigWire::FileDescriptor;

class InProcessConnector final : public AppConfigHost::Connector {
public:
    explicit InProcessConnector(InProcessPeer& peer) : m_peer(peer) {}

    Result<> check(const std::string& endpoint) const override {
        if (AppConfigWire::isEndpointName(endpoint)) return {};
        return AppConfigHost::failure(TRANSPORT_BAD_ENDPOINT, "'" + endpoint + "' is not a valid endpoint name");
    }

    Result<FileDescriptor> connect(const std::string& endpoint, Deadline, Waiter&) override {
        FileDescriptor end(m_peer.connect(endpoint));
        if (!end.isOpen()) return failed("the service in this process");
        if (fcntl(end.get(), F_SETFL, O_NONBLOCK) != 0 || fcntl(end.get(), F_SETFD, FD_CLOEXEC) != 0) {
            return failed("fcntl");
        }
        return end;
    }

private:
    static Result<FileDescriptor> failed(const char* what) {
        return AppConfigHost::failure(AppConfigHost::connectFailure(errno, what));
    }

    InProcessPeer& m_peer;
};

}  // namespace

InProcessTransport::InProcessTransport(InProcessPeer& peer, TransportOptions options)
    : SocketTransport(std::make_unique<InProcessConnector>(peer), std::move(options)) {}

}  // namespace PbUtility
