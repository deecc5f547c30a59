#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "core/Clients.h"
#include "core/CoreClock.h"
#include "core/Journal.h"
#include "core/Limits.h"

namespace AppConfigService {

/// The effective roles: the lower of the role that a client claims and the limit of its user. A client keeps the
/// highest role that it has ever claimed, so that it need not claim again when a limit is raised. Keeps the roles of
/// each ClientRecord up to date, in memory and in the store. Refers to its collaborators, which must outlive it; not
/// thread-safe.
class Roles {
public:
    /// The clients whose effective role other limits have changed.
    struct Changed {
        std::vector<ClientKey> risen;
        std::vector<ClientKey> fallen;
    };

    Roles(const ServiceOptions& options, Clients& clients, Journal& journal, const CoreClock& clock)
        : m_options(options), m_clients(clients), m_journal(journal), m_clock(clock) {}

    /// Uses other limits from now on, for all clients, connected or not. Nothing is pending in the journal. A failing
    /// store does not delay that; storing is tried again.
    Changed limit(std::map<std::uint32_t, int> limits);

    /// \return the effective role of a process of \p client's user that claims \p claimed.
    int effectiveRole(const ClientKey& client, int claimed) const;

    /// \p client, which is known, claims \p role. \return whether it may now be told more of what it has registered
    /// for.
    bool claim(const ClientKey& client, int role);

    /// Stores again what the store has refused, once it is time for that. Otherwise a client that does not claim its
    /// role again after a restart of the service would be told too little for good.
    void storeAgain();
    std::optional<Time> nextDeadline() const;

private:
    void store(Client& client, bool risen);

    const ServiceOptions& m_options;
    Clients& m_clients;
    Journal& m_journal;
    const CoreClock& m_clock;
    std::map<std::uint32_t, int> m_limits;
    std::map<ClientKey, bool> m_owed;  ///< whose row was not stored, and whether its role had risen
    Time m_next{};                     ///< when that is tried again
};

}  // namespace AppConfigService
