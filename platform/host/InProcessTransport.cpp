#include "InProcessTransport.h"

#include <fcntl.h>

#include <utility>

#include "Connector.h"
#include "wire/Endpoint.h"

namespace PbUtility {

namespace {

using AppConfigHost::Deadline;
using AppConfigHost::Outcome;
using AppConfigHost::Waiter;
using AppConfigWire::FileDescriptor;

class InProcessConnector final : public AppConfigHost::Connector {
public:
    explicit InProcessConnector(InProcessPeer& peer) : m_peer(peer) {}

    Outcome check(const std::string& endpoint) const override {
        if (AppConfigWire::isEndpointName(endpoint)) return {};
        return {TRANSPORT_BAD_ENDPOINT, "'" + endpoint + "' is not the name of an endpoint"};
    }

    Outcome connect(const std::string& endpoint, Deadline, Waiter&, FileDescriptor& socket) override {
        FileDescriptor end(m_peer.connect(endpoint));
        if (!end.isOpen()) return AppConfigHost::connectFailure(errno, "the service in this process");
        if (fcntl(end.get(), F_SETFL, O_NONBLOCK) != 0 || fcntl(end.get(), F_SETFD, FD_CLOEXEC) != 0) {
            return AppConfigHost::connectFailure(errno, "fcntl");
        }
        socket = std::move(end);
        return {};
    }

private:
    InProcessPeer& m_peer;
};

}  // namespace

InProcessTransport::InProcessTransport(InProcessPeer& peer, TransportOptions options)
    : SocketTransport(std::make_unique<InProcessConnector>(peer), std::move(options)) {}

}  // namespace PbUtility
