#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "ForwardingTransport.h"

namespace PbUtility {

/// Passes everything on to another transport, except what it was told to let fail. For tests of what an application
/// does when things go wrong. Thread-safe.
class FaultTransport final : public ForwardingTransport {
public:
    /// No limit to how often a fault strikes.
    static constexpr std::size_t always = std::numeric_limits<std::size_t>::max();

    /// \p next is not owned and outlives this object.
    explicit FaultTransport(PbUtils& next);
    ~FaultTransport() override;

    /// From now on a request or one-way message of the full name \p type (empty: any) is not passed on and the call
    /// returns \p status at once, such as TRANSPORT_TIMED_OUT for a service that does not answer or
    /// TRANSPORT_BROKEN_OFF for a broken connection. Strikes \p times times.
    void failWith(int status, std::string type = {}, std::size_t times = always) APPCONFIG_EXCLUDES(m_mutex);

    /// From now on a request of the full name \p type (empty: any) is not passed on; its reply says error number \p
    /// error with \p messages, where the reply has room for them. Strikes \p times times. One-way messages go on.
    void refuseWith(std::int32_t error, std::vector<std::string> messages = {}, std::string type = {},
                    std::size_t times = always) APPCONFIG_EXCLUDES(m_mutex);

    /// Takes every fault back.
    void heal() APPCONFIG_EXCLUDES(m_mutex);

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;

private:
    struct Fault {
        bool refusal = false;
        std::int32_t number = 0;  ///< a status, or with refusal the reply's error
        std::vector<std::string> messages;
        std::string type;
        std::size_t left = always;
    };

    /// Takes the first fault that strikes \p type out by one. \return whether there is one, then copied to \p fault.
    bool strike(const std::string& type, bool refusalsToo, Fault& fault) APPCONFIG_EXCLUDES(m_mutex);

    AppConfig::PlainMutex m_mutex;
    std::vector<Fault> m_faults APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace PbUtility
