#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "configservice.pb.h"
#include "core/Catalogue.h"
#include "core/Deciders.h"
#include "core/Journal.h"
#include "core/Limits.h"
#include "core/Line.h"
#include "core/Messages.h"
#include "core/Notifier.h"
#include "core/Roles.h"
#include "core/Rounds.h"

namespace AppConfigService {

/// Takes variables from one state to the next: checks, asks the providers, stores, has the value applied, notifies
/// clients, replies. One request per variable is decided at a time; the others wait in their Line. Refers to its
/// collaborators, which must outlive it; not thread-safe.
class Changes {
public:
    struct Collaborators {
        const ServiceOptions& options;
        const Registrations& registrations;
        const Clients& clients;
        const Roles& roles;
        const Deciders& deciders;
        const Messages& messages;
        Rounds& rounds;
        Journal& journal;
        Notifier& notifier;
        const CoreClock& clock;
        const Log& log;
    };

    explicit Changes(const Collaborators& collaborators) : m_with(collaborators) {}

    /// The service has begun to serve: a provider may come back from now on.
    void start() { m_started = m_with.clock.now(); }

    /// Takes \p request over. Its reply may be called before this returns.
    void submit(ChangeRequest request);

    /// A client has a new delivery connection, has registered, or may read more than before, or the definitions have
    /// changed: requests that wait for a provider may continue.
    void providerArrived();

    /// Effective roles, or rights to decide, may have been taken away. Questions to clients that may not be asked any
    /// more are withdrawn.
    void withdraw();

    /// Ends the waiting for providers whose deadline has passed.
    void expire();

    /// \return when that is due next.
    std::optional<Time> nextDeadline() const;

    /// \return how many requests are being decided or wait.
    std::size_t waiting() const;

private:
    Result<> admit(Operation& operation) const;
    bool mayBeAsked(const Client& client, const Variable& variable, ConfigIF::CallbackType type) const;
    bool wouldWaitForItself(const Operation& operation) const;
    void turn(Variable& variable);
    void begin(const OperationPtr& operation);
    void startValidateRound(const OperationPtr& operation, const std::vector<const Client*>& validators);
    void awaitProvider(const OperationPtr& operation);
    /// \return until when a provider of \p variable that is away now may come back.
    Time providerExpected(const Variable& variable) const;
    void beginAgain(const std::function<bool(const Operation&)>& which);
    void validated(const OperationPtr& operation);
    void store(const OperationPtr& operation);
    void stored(const OperationPtr& operation);
    void notify(const OperationPtr& operation);
    void conclude(const OperationPtr& operation, const Result<>& verdict);

    std::vector<const Client*> providers(const Variable& variable, ConfigIF::CallbackType type) const;
    Messages::Requester requesterOf(const Operation& operation) const;

    const Collaborators m_with;
    Time m_started{};
    std::uint64_t m_order = 0;          ///< of requests and questions
    std::map<Variable*, Line> m_lines;  ///< looked up, and listed only where the order does not show
    std::map<std::uint64_t, OperationPtr> m_waitForProvider;  ///< by their order
};

}  // namespace AppConfigService
