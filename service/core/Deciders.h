#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "core/Catalogue.h"
#include "core/Roles.h"

namespace AppConfigService {

/// Who may decide on the value of a variable: processes of a user who may claim both its read and its write level, or
/// whom the definitions name as its provider. A right of users, so a provider keeps it when it is restarted, and
/// whatever it has claimed so far. Levels count as the definition has them where somebody has raised them since: a
/// variable does not lose its provider to a client that sets levels. Refers to its collaborators, which must outlive
/// it; not thread-safe.
class Deciders {
public:
    Deciders(const Roles& roles, const Catalogue& catalogue) : m_roles(roles), m_catalogue(catalogue) {}

    /// Takes other definitions into use: the names that each user provides.
    void name(std::map<std::uint32_t, std::vector<std::string>> byUser) { m_named = std::move(byUser); }

    bool mayDecide(const ClientKey& client, const Variable& variable) const;

    /// \return whether \p client may register as somebody who validates what is called \p name, in lower case, and all
    /// below it. Fails with ERROR_ACCESS_DENIED when there are such variables and it may decide on none of them. It is
    /// asked only about those that it may decide on.
    Result<> mayRegister(const ClientKey& client, const std::string& name) const;

private:
    const Roles& m_roles;
    const Catalogue& m_catalogue;
    std::map<std::uint32_t, std::vector<std::string>> m_named;
};

}  // namespace AppConfigService
