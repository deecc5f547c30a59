#pragma once

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "KitTransport.h"
#include "NamedEndpoints.h"
#include "PbUtils.h"
#include "configservice.pb.h"

namespace AppConfigTest {

/// The transport that the process-wide managers are given, once and for good: they never let go of a transport, and
/// kits come and go. Passes everything on to the attached kit's transport; without one, nothing is reached. Remembers
/// what the library set up only once, and tells each new kit of it: endpoints, tables with the endpoints that were
/// named for them, registrations. Thread-safe; never destroyed.
class AttachedTransport : public PbUtility::PbUtils {
public:
    static AttachedTransport& instance();

    /// Makes \p target the one that calls go to, and sets it up as those before were.
    void attach(const std::shared_ptr<KitTransport>& target);

    /// Registers with \p real, the transport below a kit, for all that the library registered for in this process.
    void repeatRegistrations(PbUtility::PbUtils& real);

    /// Lets go of \p target if it is still the one.
    void detach(const std::shared_ptr<KitTransport>& target);

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;
    int addRemoteEndpoint(const std::string& endpoint, int channel) override;
    int addHandlers(const MSG_Callback* table) override;
    std::string localEndpoint() const override;

private:
    struct Registration {
        std::string endpoint;
        ConfigIF::RegisterClientCallbackReq request;
    };

    struct Table {
        std::set<std::string> endpoints;  ///< that it belongs to
        std::vector<MSG_Callback> rows;   ///< ended by the all-zero one
    };

    AttachedTransport() = default;
    std::shared_ptr<KitTransport> target() const;
    static int install(const Table& table, KitTransport& target);
    bool isPresent(const Table& table) const APPCONFIG_REQUIRES(m_mutex);

    AppConfigHost::NamedEndpoints m_named;  // synchronises itself
    mutable AppConfig::PlainMutex m_mutex;
    std::shared_ptr<KitTransport> m_target APPCONFIG_GUARDED_BY(m_mutex);
    std::map<std::string, int> m_endpoints APPCONFIG_GUARDED_BY(m_mutex);  ///< with the channel named for each
    std::list<Table> m_tables APPCONFIG_GUARDED_BY(m_mutex);               ///< each once
    std::list<Registration> m_registrations APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigTest
