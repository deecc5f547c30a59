#pragma once

#include <string>

#include "PbUtils.h"

namespace PbUtility {

/// Passes every call on to another transport. Whatever stands in front of a transport derives from it and overrides
/// only the calls that it changes. As thread-safe as the other transport.
class ForwardingTransport : public PbUtils {
public:
    /// \p next is not owned and outlives this object.
    explicit ForwardingTransport(PbUtils& next) : m_next(next) {}

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override {
        return m_next.sendWaitResponse(request, response, endpoint);
    }
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override {
        return m_next.send(message, endpoint, reserved);
    }
    int addRemoteEndpoint(const std::string& endpoint, int channel) override {
        return m_next.addRemoteEndpoint(endpoint, channel);
    }
    int addHandlers(const MSG_Callback* table) override { return m_next.addHandlers(table); }
    std::string localEndpoint() const override { return m_next.localEndpoint(); }

private:
    PbUtils& m_next;
};

}  // namespace PbUtility
