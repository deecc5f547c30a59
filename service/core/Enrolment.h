#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "core/Changes.h"
#include "core/Clients.h"
#include "core/Journal.h"
#include "core/Notifier.h"
#include "core/Registrations.h"

namespace AppConfigService {

/// Enters what clients are registered for, withdraws it, and has the store keep it, along with the rows of the clients
/// that it belongs to. Nothing is entered before it is stored: a registration that is acknowledged outlives a restart.
/// Refers to its collaborators, which must outlive it; not thread-safe.
class Enrolment {
public:
    struct Collaborators {
        const ServiceOptions& options;
        Registrations& registrations;
        Clients& clients;
        Journal& journal;
        Notifier& notifier;
        Changes& changes;
    };

    explicit Enrolment(const Collaborators& collaborators) : m_with(collaborators) {}

    /// A registration that a client asks for.
    struct Wanted {
        RegistrationRow row;
        Result<> result;  ///< of checking the row; then of all that was done with it
    };

    /// Enters those of \p wanted that are fine and for which there is room, and takes out \p withdrawn, all in
    /// one transaction; all of it belongs to the client \p key, which is known. Tells the client what it does not know
    /// of that yet. \p done is called once, from here or later: with what became of each, and whether it is stored.
    void enrol(const ClientKey& key, std::vector<Wanted> wanted, const std::vector<RegistrationRow>& withdrawn,
               Notifier::Reads reads,
               const std::function<void(const std::vector<Wanted>&, const Result<>& stored)>& done);

    /// \return what the client \p key has not told over its present delivery connection, nor tells with \p wanted. It
    /// has told all that it holds, so it does not hold this any more.
    std::vector<RegistrationRow> unlisted(const ClientKey& key, const std::vector<Wanted>& wanted) const;

    /// Takes \p rows out. \p done is called once, from here or later, with whether that is stored.
    void withdraw(const std::vector<RegistrationRow>& rows, const std::function<void(const Result<>& stored)>& done);

    /// Takes out, at once, all that \p client is registered for, and has the store forget it.
    void forget(Client& client);

    /// Has the store forget the client \p key, which otherwise stays as it is. \p done is called once, later, with
    /// whether that is stored.
    void forgetInStore(const ClientKey& key, const std::function<void(const Result<>& stored)>& done);

private:
    Result<> roomFor(const Client& client, std::size_t more) const;
    void stage(const ClientKey& key, std::vector<RegistrationRow>& rows, const std::vector<RegistrationRow>& withdrawn,
               Batch& batch) const;
    void enter(Client& client, const std::vector<RegistrationRow>& rows, Notifier::Reads reads);

    const Collaborators m_with;
};

}  // namespace AppConfigService
