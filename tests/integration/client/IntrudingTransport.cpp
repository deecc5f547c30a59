#include "IntrudingTransport.h"

#include <google/protobuf/message_lite.h>

#include <utility>

namespace AppConfigTest {

void IntrudingTransport::before(const std::string& type, std::function<void()> intrusion) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_type = type;
    m_intrusion = std::move(intrusion);
}

void IntrudingTransport::intrude(const std::string& type) {
    std::function<void()> intrusion;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (type != m_type) return;
        m_type.clear();
        intrusion = std::exchange(m_intrusion, {});
    }
    intrusion();
}

int IntrudingTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                         google::protobuf::MessageLite* response, const std::string& endpoint) {
    intrude(request.GetTypeName());
    return ForwardingTransport::sendWaitResponse(request, response, endpoint);
}

int IntrudingTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint,
                             void* reserved) {
    intrude(message.GetTypeName());
    return ForwardingTransport::send(message, endpoint, reserved);
}

}  // namespace AppConfigTest
