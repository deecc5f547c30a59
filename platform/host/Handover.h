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

/// Which transport of this process serves each link, known by the context of its rows, at each endpoint. A link is
/// handed another transport without a word to the one before. So the new one, which sees the rows come, takes over what
/// the former has registered for. From then on notifications reach the link over the new transport alone. The former
/// withdraws only once the service has taken the registrations of the new one in, and handles the service's questions
/// up to then: a provider that is there must neither be passed over nor seem to be silent.
///
/// Thread-safe; no operation blocks.
class Handover {
public:
    using Member = HandoverMember;

    /// \return the only one, which stays to the end of the process: transports may be static objects.
    static Handover& ofProcess();

    /// The rows of \p table were added to \p member for \p endpoints.
    void tableAdded(Member& member, const MSG_Callback* table, const std::set<std::string>& endpoints)
        APPCONFIG_EXCLUDES(m_mutex);

    /// Passes on what a thread registered or unregistered over \p member although that had handed over \p endpoint: the
    /// thread had looked up the link's transport before. The place may be the member's own again.
    void forward(Member& member, const std::string& endpoint, const RegistrationBook::Call& late)
        APPCONFIG_EXCLUDES(m_mutex);

    /// Passes on that the process learns over \p member, which has handed over \p endpoint, of change \p number of \p
    /// timeline.
    void sawLate(Member& member, const std::string& endpoint, std::uint64_t timeline, std::uint64_t number)
        APPCONFIG_EXCLUDES(m_mutex);

    /// The process reaches the service at \p endpoint for the first time over \p member, which has handed over that:
    /// what it reads there is kept fresh by whoever has the place.
    void joinedLate(Member& member, const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);

    /// Everything in \p book that concerns \p endpoint has been told: those whose place its transport took may
    /// withdraw.
    void settled(const RegistrationBook& book, const std::string& endpoint) APPCONFIG_EXCLUDES(m_mutex);

    /// \p member ends its existence.
    void leave(Member& member) APPCONFIG_EXCLUDES(m_mutex);

private:
    /// \return the one that took the place of \p member at \p endpoint; null when none did.
    Member* successorOf(Member& member, const std::string& endpoint) const APPCONFIG_REQUIRES(m_mutex);
    /// \return the one that has the place now; \p member itself when none took it.
    Member& lastAfter(Member& member, const std::string& endpoint) const APPCONFIG_REQUIRES(m_mutex);
    void pass(Member& from, Member& to, void* link, const std::string& endpoint) APPCONFIG_REQUIRES(m_mutex);

    AppConfig::PlainMutex m_mutex;
    std::map<std::pair<void*, std::string>, Member*> m_holders APPCONFIG_GUARDED_BY(m_mutex);
    std::map<std::pair<Member*, std::string>, Member*> m_successors APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
