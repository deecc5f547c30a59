#include "AttachedTransport.h"

#include <algorithm>
#include <utility>

#include "TransportStatus.h"
#include "delivery/HandlerTable.h"

namespace AppConfigTest {
namespace {

constexpr int notReachable = PbUtility::TRANSPORT_NO_SUCH_ENDPOINT;

}  // namespace

AttachedTransport& AttachedTransport::instance() {
    static auto* const transport = new AttachedTransport;
    return *transport;
}

std::shared_ptr<KitTransport> AttachedTransport::target() const {
    const AppConfig::PlainLock lock(m_mutex);
    return m_target;
}

void AttachedTransport::attach(const std::shared_ptr<KitTransport>& target) {
    std::map<std::string, int> endpoints;
    std::list<Table> tables;
    {
        const AppConfig::PlainLock lock(m_mutex);
        m_target = target;
        endpoints = m_endpoints;
        tables = m_tables;
    }
    for (const auto& [endpoint, channel] : endpoints) target->addRemoteEndpoint(endpoint, channel);
    // All of them are named now, by this thread; an empty table takes the names away from the first real one.
    const MSG_Callback empty[] = {{}};
    target->addHandlers(empty);
    for (const Table& table : tables) install(table, *target);
}

/// Names the endpoints of the table first, on the same thread, as whoever added it did.
int AttachedTransport::install(const Table& table, KitTransport& target) {
    for (const std::string& endpoint : table.endpoints) target.addRemoteEndpoint(endpoint, -1);
    return target.addHandlers(table.rows.data());
}

/// With m_mutex held.
bool AttachedTransport::isPresent(const Table& table) const {
    return std::any_of(m_tables.begin(), m_tables.end(), [&table](const Table& present) {
        return present.endpoints == table.endpoints &&
               std::equal(present.rows.begin(), present.rows.end(), table.rows.begin(), table.rows.end(),
                          AppConfigHost::isSameRow);
    });
}

void AttachedTransport::repeatRegistrations(PbUtility::PbUtils& real) {
    std::list<Registration> registrations;
    {
        const AppConfig::PlainLock lock(m_mutex);
        registrations = m_registrations;
    }
    for (Registration& registration : registrations) {
        ConfigIF::RegisterClientCallbackRsp ignored;
        registration.request.set_client_name(real.localEndpoint());
        real.sendWaitResponse(registration.request, &ignored, registration.endpoint);
    }
}

void AttachedTransport::detach(const std::shared_ptr<KitTransport>& target) {
    const AppConfig::PlainLock lock(m_mutex);
    if (m_target == target) m_target.reset();
}

int AttachedTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                        google::protobuf::MessageLite* response, const std::string& endpoint) {
    if (const auto* registration = dynamic_cast<const ConfigIF::RegisterClientCallbackReq*>(&request)) {
        // Whatever comes of it: the library does not ask a second time.
        const AppConfig::PlainLock lock(m_mutex);
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
    m_named.add(endpoint);
    {
        const AppConfig::PlainLock lock(m_mutex);
        m_endpoints[endpoint] = channel;
    }
    const auto kit = target();
    return kit ? kit->addRemoteEndpoint(endpoint, channel) : 0;
}

int AttachedTransport::addHandlers(const MSG_Callback* table) {
    if (table == nullptr) return PbUtility::TRANSPORT_BAD_ARGUMENT;
    Table added{m_named.take(), {}};
    for (; !AppConfigHost::isTerminator(*table); ++table) added.rows.push_back(*table);
    added.rows.push_back({});
    {
        const AppConfig::PlainLock lock(m_mutex);
        if (!isPresent(added)) m_tables.push_back(added);
    }
    // Perhaps a kit that is being attached installs it as well; it has the rows once all the same.
    const auto kit = target();
    return kit ? install(added, *kit) : 0;
}

std::string AttachedTransport::localEndpoint() const {
    const auto kit = target();
    return kit ? kit->localEndpoint() : "testkit-without-service";
}

}  // namespace AppConfigTest
