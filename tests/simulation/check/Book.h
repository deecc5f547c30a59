#pragma once

#include <functional>
#include <vector>

#include "check/Findings.h"
#include "check/Ground.h"
#include "check/History.h"

namespace Simulation {

/// What all checks of a simulation share. Owned by it; what it refers to is not owned.
struct Book {
    Book(Ground& where, int services)
        : ground(where), history(services, variableCount()), caps(static_cast<std::size_t>(services)) {}

    Ground& ground;
    History history;
    Findings findings;

    /// The lowest role that each user could claim at any time so far, by service: own user, other user.
    struct Caps {
        int own = 4;
        int other = 1;
        bool known = false;
    };
    std::vector<Caps> caps;

    /// Called when an operation of a script has ended.
    std::function<void()> onOperation;

    /// Notes which roles \p definitions let users claim.
    void limit(int service, const AppConfigService::Definitions& definitions);
    /// \return the least role that processes of \p uid could claim so far.
    int lowestCap(int service, std::uint32_t uid) const;

private:
    static int variableCount();
};

/// \return \p texts for people.
std::string quoted(const Texts& texts);

}  // namespace Simulation
