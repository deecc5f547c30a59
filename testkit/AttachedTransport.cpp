#include "AttachedTransport.h"

#include "TransportStatus.h"

namespace AppConfigTest {
namespace {

constexpr int notReachable = PbUtility::TRANSPORT_NO_SUCH_ENDPOINT;

}  // namespace

AttachedTransport& AttachedTransport::instance() {
    static auto* const transport = new AttachedTransport;
    return *transport;
}

std::shared_ptr<KitTransport> AttachedTransport::target() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_target;
}

void AttachedTransport::attach(const std::shared_ptr<KitTransport>& target) {
    std::list<std::pair<std::string, int>> endpoints;
    std::vector<MSG_Callback> rows;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_target = target;
        endpoints = m_endpoints;
        rows = m_rows;
    }
    for (const auto& [endpoint, channel] : endpoints) target->addRemoteEndpoint(endpoint, channel);
    rows.push_back({});
    target->addHandlers(rows.data());
}

void AttachedTransport::repeatRegistrations(PbUtility::PbUtils& real) {
    std::list<Registration> registrations;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        registrations = m_registrations;
    }
    for (Registration& registration : registrations) {
        ConfigIF::RegisterClientCallbackRsp ignored;
        registration.request.set_client_name(real.localEndpoint());
        real.sendWaitResponse(registration.request, &ignored, registration.endpoint);
    }
}

void AttachedTransport::detach(const std::shared_ptr<KitTransport>& target) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_target == target) m_target.reset();
}

int AttachedTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                        google::protobuf::MessageLite* response, const std::string& endpoint) {
    if (const auto* registration = dynamic_cast<const ConfigIF::RegisterClientCallbackReq*>(&request)) {
        // Whatever comes of it: the library does not ask a second time.
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_registrations.push_back({endpoint, *registration});
    }
    const auto kit = target();
    return kit ? kit->sendWaitResponse(request, response, endpoint) : notReachable;
}

int AttachedTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) {
    const auto kit = target();
    return kit ? kit->send(message, endpoint, reserved) : notReachable;
}

int AttachedTransport::addRemoteEndpoint(const std::string& endpoint, int channel) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_endpoints.emplace_back(endpoint, channel);
    }
    const auto kit = target();
    return kit ? kit->addRemoteEndpoint(endpoint, channel) : 0;
}

int AttachedTransport::addHandlers(const MSG_Callback* table) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const MSG_Callback* row = table; row->entry != nullptr; ++row) m_rows.push_back(*row);
    }
    const auto kit = target();
    return kit ? kit->addHandlers(table) : 0;
}

std::string AttachedTransport::localEndpoint() const {
    const auto kit = target();
    return kit ? kit->localEndpoint() : "testkit-without-service";
}

}  // namespace AppConfigTest
