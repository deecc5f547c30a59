#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "MSG.h"
#include "RegistrationBook.h"

namespace AppConfigHost {

class Delivery;
class HandlerTable;
class ResumePoints;

/// A transport's parts, which are not owned.
struct HandoverMember {
    HandlerTable& handlers;
    RegistrationBook& book;
    ResumePoints& resume;
    Delivery& delivery;
    const std::string& localEndpoint;
};

/// Knows which transport of this process serves each link (identified by the context of its rows) at each endpoint. The
/// previous transport is not told when a link is given another one, so the new transport, which gets the rows, takes
/// over what the previous one has registered for. From then on only the new transport delivers notifications to the
/// link. The previous one withdraws once the service has accepted the new one's registrations, and until then still
/// handles the service's questions, so that a connected provider is neither passed over nor seems silent.
///
/// Thread-safe; no operation blocks.
class Handover {
public:
    using Member = HandoverMember;

    /// \return the only one. It is never destroyed, because transports may be static objects.
    static Handover& ofProcess();

    /// The rows of \p table were added to \p member for \p endpoints.
    void tableAdded(Member& member, const MSG_Callback* table, const std::set<std::string>& endpoints)
        APPCONFIG_EXCLUDES(m_mutex);

    /// Passes on what a thread registered or unregistered over \p member after that had handed over \p endpoint: the
    /// thread had looked up the link's transport before. The endpoint may be the member's own again.
    void forward(Member& member, const std::string& endpoint, const RegistrationBook::Call& late)
        APPCONFIG_EXCLUDES(m_mutex);

    /// Passes on that the process learns over \p member, which has handed over \p endpoint, of change \p number of \p
    /// timeline.
    void sawLate(Member& member, const std::string& endpoint, std::uint64_t timeline, std::uint64_t number)
        APPCONFIG_EXCLUDES(m_mutex);

    /// The process reaches the service at \p endpoint for the first time over \p member, which has handed over that
    /// endpoint: what it reads there is kept up to date by the transport that took over.
    void joinedLate(Member& member, const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);

    /// Everything in \p book that concerns \p endpoint has been sent and answered: the transports that handed over to
    /// this one may withdraw.
    void settled(const RegistrationBook& book, const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);

    /// \p member is about to be destroyed.
    void leave(Member& member) APPCONFIG_EXCLUDES(m_mutex);

private:
    /// \return the transport that took over \p endpoint from \p member; null if none did.
    Member* successorOf(Member& member, const std::string& endpoint) const APPCONFIG_REQUIRES(m_mutex);
    /// \return the transport that serves it now; \p member itself if none took over.
    Member& lastAfter(Member& member, const std::string& endpoint) const APPCONFIG_REQUIRES(m_mutex);
    void pass(Member& from, Member& to, void* link, const std::string& endpoint) APPCONFIG_REQUIRES(m_mutex);

    AppConfig::PlainMutex m_mutex;
    std::map<std::pair<void*, std::string>, Member*> m_holders APPCONFIG_GUARDED_BY(m_mutex);
    std::map<std::pair<Member*, std::string>, Member*> m_successors APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
