#pragma once

#include <string>

#include "MSG.h"

namespace google::protobuf {
class MessageLite;
}

namespace PbUtility {

/// The platform's protobuf transport: requests to named endpoints, and delivery of unsolicited messages to handler
/// tables. Thread-safe.
class PbUtils {
public:
    PbUtils() = default;
    PbUtils(const PbUtils&) = delete;
    PbUtils& operator=(const PbUtils&) = delete;
    virtual ~PbUtils() = default;

    /// Sends \p request to \p endpoint and waits until the reply has been parsed into \p response. Blocks the calling
    /// thread up to the transport's deadline.
    /// \return 0 on success; otherwise a number of the transport, and the contents of \p response are undefined.
    virtual int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                                 const std::string& endpoint) = 0;

    /// Sends \p message to \p endpoint one-way. \p reserved is null.
    /// \return 0 if the message was sent.
    virtual int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) = 0;

    /// Names an endpoint that unsolicited messages may come from. \p channel -1: any channel.
    /// \return 0 on success, also when the endpoint was named before.
    virtual int addRemoteEndpoint(const std::string& endpoint, int channel) = 0;

    /// Copies the rows of \p table up to the all-zero one. A message is handed to each row whose range holds its id, in
    /// the order in which the rows were added, on the transport's delivery thread.
    /// \return 0 on success.
    virtual int addHandlers(const MSG_Callback* table) = 0;

    /// The name under which this process is known to the transport.
    virtual std::string localEndpoint() const = 0;
};

}  // namespace PbUtility
