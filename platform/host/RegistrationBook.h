#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "RegistrationPage.h"

namespace AppConfigHost {

/// What this process is registered for at each endpoint. The library registers once and ignores the reply. The book
/// does not: the delivery thread sends the service whatever it does not hold. Thread-safe; no operation blocks.
class RegistrationBook {
public:
    /// \p options is not owned and outlives this object.
    explicit RegistrationBook(const PbUtility::TransportOptions& options) : m_options(options) {}

    /// \return whether \p request may change registrations.
    static bool concerns(const Frame& request);
    /// \return whether \p request makes a registration and its reply is awaited.
    static bool registers(const Frame& request);

    /// One request that changes registrations, from before it is sent until it has ended. Does nothing at all for any
    /// other request.
    class Call {
    public:
        /// Enters what \p request, a REQUEST or ONE_WAY frame to \p endpoint, is about to do. The arguments outlive
        /// this object.
        Call(RegistrationBook& book, const std::string& endpoint, const Frame& request);

        /// \return whether the endpoint had been handed over before, so that the transport that took over has to be
        /// told.
        bool isLate() const { return m_isLate; }

        /// The request is about to be sent to the service that is connected now.
        void leaves();

        /// Adds to \p other what this call has registered, or withdraws from it what this has unregistered. \p from and
        /// \p to are the local endpoints of the two transports.
        void repeat(RegistrationBook& other, const std::string& from, const std::string& to) const;

        /// The request has ended; \p reached tells whether its peer got it, and \p reply is the frame that answered it,
        /// if one did.
        /// \return whether the delivery thread may have something to do now.
        bool end(bool reached, const Frame& reply);

    private:
        RegistrationBook& m_book;
        const std::string& m_endpoint;
        const Frame& m_request;
        std::uint64_t m_number = 0;
        RegistrationPage::Key m_key;
        std::int32_t m_role = 0;
        std::uint64_t m_descriptions = 0;
        bool m_isLate = false;
    };

    // For a transport that takes over from this one, or that this one takes over from; see Handover. \p from and \p to
    // are the local endpoints of the previous one and of this one, by which the rows' requesters are told apart.
    std::vector<RegistrationPage::Held> held(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);
    /// Up to reopen(), calls are late. \return what is registered at \p endpoint.
    std::vector<RegistrationPage::Held> handOver(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);
    /// Withdraws that, unless the endpoint was reopened.
    void withdrawHandedOver(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);
    void reopen(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);
    bool isHandedOver(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);
    void adopt(const std::string& endpoint, const std::vector<RegistrationPage::Held>& rows, const std::string& from,
               const std::string& to) APPCONFIG_EXCLUDES(m_mutex);

    // For the delivery thread; see RegistrationPage.
    void describe(const std::string& endpoint, Hello& hello) APPCONFIG_EXCLUDES(m_mutex);
    void welcomed(const std::string& endpoint, const Welcome& welcome) APPCONFIG_EXCLUDES(m_mutex);
    void lost(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);
    std::optional<Frame> next(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);
    bool answered(const std::string& endpoint, const Frame& registered) APPCONFIG_EXCLUDES(m_mutex);
    bool isSettled(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);
    Deadline nextTry(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);

    /// How the registrations at one endpoint fare.
    struct Condition {
        std::size_t refused = 0;
        std::vector<PbUtility::RegistrationReport> reports;
    };
    Condition condition(const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);

private:
    RegistrationPage& page(const std::string& endpoint) APPCONFIG_REQUIRES(m_mutex);

    const PbUtility::TransportOptions& m_options;
    AppConfig::PlainMutex m_mutex;
    std::map<std::string, RegistrationPage> m_pages APPCONFIG_GUARDED_BY(m_mutex);
    std::set<std::string> m_handedOver APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
