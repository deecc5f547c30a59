#pragma once

#include <memory>
#include <string>

#include "PbUtils.h"
#include "TransportOptions.h"

namespace AppConfigHost {
class Connector;
}

namespace PbUtility {

/// A client's end of the host's transport, over connected stream sockets; the connector supplies a socket to an
/// endpoint. Owns its connections and, from the first addRemoteEndpoint on, one delivery thread.
///
/// Thread-safe. A request is written and its reply awaited on the caller's own thread, with poll(2): no other thread
/// takes part in a round trip, so it costs two switches between processes and nothing else. Handlers are called on the
/// delivery thread alone, one at a time. The one exception: while a handler waits for the reply to its own request,
/// handlers of questions may be called nested in it (never those of notifications; these wait until it has returned).
///
/// A thread's request reaches the service after the one-way messages that the thread has sent before. Only an awaited
/// registration may overtake one-way writes: these may wait for a provider that the thread is about to register.
///
/// From a handler every operation may be called. A handler that throws is reported on standard error, and delivery
/// continues with the next message; a question is then answered without a payload, which the service counts as an
/// error.
///
/// Several links may share one transport. A link names its service's endpoint and then, on the same thread, adds its
/// table. A table therefore belongs to the endpoints that its thread has named since it last added one, and gets only
/// messages from these. A table that was added without naming an endpoint gets all messages. Messages from an endpoint
/// that no table belongs to go to every table.
///
/// A table's context denotes a link. If rows with the same context are added to another transport of the process, for
/// an endpoint of the same name, the link has moved there. The other transport then registers for everything that was
/// registered here, and alone delivers notifications from then on, starting with what has changed since this transport
/// first reached the service. Everything here is withdrawn unless another link still uses the endpoint over this
/// transport; in that case, what a thread reads or registers here at that moment for the moving link does not follow
/// it. This transport may be destroyed afterwards. Rows without a context belong to no link.
///
/// Links that name the same endpoint cannot be told apart in this way: both get everything that comes from it. A
/// notification then reaches only the link whose client name it carries, and a question about a namespace-scoped
/// variable only the link of that namespace; any other question reaches the cache and the handlers of both.
///
/// If the service ends, the calls under way fail with TRANSPORT_BROKEN_OFF and later ones at once with
/// TRANSPORT_NO_SUCH_ENDPOINT. When it is back, the next call works again, and deliveries resume by themselves after
/// the pause of the options or with that call, whichever comes first, with the newest state of whatever changed
/// meanwhile. What was registered over this transport with RegisterClientCallbackReq and not unregistered is kept here,
/// whether the request succeeded or not, and sent to the service whenever that does not hold it.
///
/// Constructors throw std::system_error when the system has no descriptor left; nothing else here throws an exception
/// of its own. Must not be used on both sides of a fork().
class SocketTransport : public PbUtils {
public:
    /// Ends the transport, see end(). Not from a handler: the delivery thread cannot wait for itself.
    ~SocketTransport() override;

    /// Blocks up to the deadline of the options.
    /// \return a TransportStatus. Other than TRANSPORT_OK: \p response is cleared, lastTransportFailure() says more. A
    /// null \p response discards the reply. TRANSPORT_TIMED_OUT and TRANSPORT_BROKEN_OFF leave open whether the service
    /// acted on the request.
    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;

    /// Blocks only while the endpoint is slow to take the bytes, up to the deadline of the options. What one thread
    /// sends is handled before its next request; see above for what may overtake it.
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;

    /// Starts to connect to \p endpoint for deliveries; does not block. The next request to \p endpoint waits for the
    /// outcome of the first attempt, so that what it registers can be delivered at once. \p channel is ignored. The
    /// next table that the calling thread adds belongs to \p endpoint, also when this fails.
    int addRemoteEndpoint(const std::string& endpoint, int channel) override;

    /// TRANSPORT_BAD_ARGUMENT for a null table. Rows are never removed. A row with the same entry, context and ids as
    /// an earlier one is not added again, so that a message reaches it once however often a link is given this
    /// transport; from now on, it also takes what the endpoints of this call send.
    int addHandlers(const MSG_Callback* table) override;

    /// `<program>-<pid>-<random hex>`, another one for each transport.
    std::string localEndpoint() const override;

    /// Tells the services that this client will not come back, lets them forget its registrations, and fails every call
    /// under way or yet to come with TRANSPORT_ENDED. Returns when the delivery thread has ended and no call is under
    /// way; waits for a handler that is running. A second call does nothing. Not from a handler.
    void end();

protected:
    SocketTransport(std::unique_ptr<AppConfigHost::Connector> connector, TransportOptions options);

private:
    static int carry(void* context, MSG_Address receiver, MSG_Message* message);

    class Parts;
    const std::unique_ptr<Parts> m_parts;
};

}  // namespace PbUtility
