#pragma once

#include <algorithm>
#include <cstddef>

#include "store/StateStore.h"

namespace AppConfigService {

/// What the store keeps, or is about to keep, of one client. A client has a row as long as it has registrations;
/// without any, the next run need not know it. Not thread-safe.
class ClientRecord {
public:
    /// \return the highest role that the client has claimed.
    int claimedRole() const { return m_claimedRole; }

    /// \return the effective role, which decides what the client is told and asked.
    int role() const { return m_role; }

    /// \return see ClientRow.
    ChangeNumber roleSince() const { return m_roleSince; }

    bool stored() const { return m_stored; }

    /// \return how many registrations it has asked for that are not stored yet.
    std::size_t pending() const { return m_pending; }

    /// \return whether the store has its row, or will have it with what is pending.
    bool hasRow() const { return m_stored || m_pending != 0; }

    ClientRow row(const ClientKey& key) const { return {key, m_claimedRole, m_role, m_roleSince}; }

    // Written by Clients, when the client comes from the store.
    void restore(const ClientRow& row) {
        m_claimedRole = row.claimedRole;
        m_role = row.role;
        m_roleSince = row.roleSince;
        m_stored = true;
    }

    // Written by Roles.
    void claim(int role) { m_claimedRole = role; }
    void setRole(int effective) { m_role = effective; }
    void countRoleFrom(ChangeNumber number) { m_roleSince = number; }

    // Written by Enrolment.
    void setStored(bool stored) { m_stored = stored; }
    void addPending(std::size_t registrations) { m_pending += registrations; }
    /// A client that was forgotten and came back meanwhile has fewer pending than are reported.
    void removePending(std::size_t registrations) { m_pending -= std::min(registrations, m_pending); }

private:
    int m_claimedRole = 0;
    int m_role = 0;
    ChangeNumber m_roleSince = 0;
    bool m_stored = false;
    std::size_t m_pending = 0;
};

}  // namespace AppConfigService
