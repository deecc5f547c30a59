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

/// What the roles that clients claim are worth: the lower of the claim and of what the definitions in use let the
/// client's user claim. Clients keep the highest role that they ever claimed, so that a limit which is raised again
/// needs no new claim. Keeps the roles of each ClientRecord up to that, in memory and in the store. Refers to its
/// collaborators, which must outlive it; not thread-safe.
class Roles {
public:
    /// Whom other limits concern.
    struct Changed {
        std::vector<ClientKey> risen;
        std::vector<ClientKey> fallen;
    };

    Roles(const ServiceOptions& options, Clients& clients, Journal& journal, const CoreClock& clock)
        : m_options(options), m_clients(clients), m_journal(journal), m_clock(clock) {}

    /// Takes other limits into use, at once and for all clients, connected or not. Nothing is pending in the journal.
    /// A failing store does not hold that up; it is tried again.
    Changed limit(std::map<std::uint32_t, int> limits);

    /// \return what \p claimed is worth now to a process of \p client's user.
    int effectiveRole(const ClientKey& client, int claimed) const;

    /// \p client, which is known, claims \p role. \return whether it may now be told more of what it has registered
    /// for.
    bool claim(const ClientKey& client, int role);

    /// Has the store keep what it did not take before, once it is time for that. A client that does not claim its role
    /// again after a restart of the service would be told too little for good.
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
