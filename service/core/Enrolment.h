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

/// Adds and withdraws what clients are registered for, and has the store keep it together with the rows of these
/// clients. Nothing is added before it is stored, so an acknowledged registration survives a restart. Refers to its
/// collaborators, which must outlive it; not thread-safe.
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
        Result<> result;  ///< of checking the row; then of all that followed
    };

    /// Adds those of \p wanted that are valid and for which there is room, and withdraws \p withdrawn, all in one
    /// transaction; everything belongs to the client \p key, which is known. Then tells the client what it does not
    /// know of that yet. \p done is called once, from here or later, with the result of each, and whether it is stored.
    void enrol(const ClientKey& key, std::vector<Wanted> wanted, const std::vector<RegistrationRow>& withdrawn,
               Notifier::Reads reads,
               const std::function<void(const std::vector<Wanted>&, const Result<>& stored)>& done);

    /// \return the registrations of \p key that the client has not sent on its current delivery connection and does not
    /// send with \p wanted. It has sent all that it has, so it no longer has these.
    std::vector<RegistrationRow> unlisted(const ClientKey& key, const std::vector<Wanted>& wanted) const;

    /// Withdraws \p rows. \p done is called once, from here or later, with whether that is stored.
    void withdraw(const std::vector<RegistrationRow>& rows, const std::function<void(const Result<>& stored)>& done);

    /// Withdraws, at once, all that \p client is registered for, and has the store forget it.
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
