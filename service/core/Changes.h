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
#include "core/Journal.h"
#include "core/Limits.h"
#include "core/Messages.h"
#include "core/Notifier.h"
#include "core/Roles.h"
#include "core/Rounds.h"
#include "core/Transition.h"

namespace AppConfigService {

/// How a change ended.
struct ChangeResult {
    Result<> verdict;
    bool flag = false;  ///< done, but a provider could not apply it
    std::vector<std::string> messages;
    std::string context;          ///< what the providers were told
    ConfigIF::Revision revision;  ///< of the value that an accepted change left behind
};

/// A request to change a variable, or to check whether it could be changed.
struct ChangeRequest {
    enum class Kind : std::uint8_t { write, validate, reset, options };
    Kind kind = Kind::write;
    Variable* variable = nullptr;
    ClientKey client;
    bool internal = false;  ///< its claimed role counts in full
    int claimedRole = 0;    ///< the effective role is looked up again at each step
    std::string requester;  ///< client_name of the request
    bool awaited = true;    ///< not one-way
    Value proposed;         ///< of a write or a validation
    Value options;          ///< of an options request
    std::optional<std::uint32_t> defaultIndex;
    std::function<void(const ChangeResult&)> reply;  ///< called once, from whichever operation ends the request
};

/// Takes variables from one state to the next: checks, asks the providers, stores, has the value applied, notifies
/// clients, replies. One request per variable is decided at a time; the others wait in order. Refers to its
/// collaborators, which must outlive it; not thread-safe.
class Changes {
public:
    struct Collaborators {
        const ServiceOptions& options;
        const Registrations& registrations;
        const Clients& clients;
        const Roles& roles;
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

    /// The effective roles of \p clients have fallen. Questions to them about variables that their role no longer
    /// reaches are withdrawn.
    void withdraw(const std::vector<ClientKey>& clients);

    /// Ends the waiting for providers whose deadline has passed.
    void expire();

    /// \return when that is due next.
    std::optional<Time> nextDeadline() const;

    /// \return how many requests are being decided or wait.
    std::size_t waiting() const;

private:
    struct Operation : ChangeRequest {
        int role = 0;  ///< the effective role when it was last admitted
        std::uint64_t order = 0;
        bool queued = false;
        bool running = false;
        std::optional<RoundId> round;
        std::optional<Time> waitsUntil;  ///< for a provider to come back
        std::vector<ClientKey> asked;    ///< who was asked to apply it
        ChangeResult result;
        std::optional<Transition> transition;  ///< once it is accepted and about to be stored
    };
    using OperationPtr = std::shared_ptr<Operation>;

    struct Queue {
        std::deque<OperationPtr> operations;  ///< the first is being decided
        bool turning = false;
    };

    Result<> admit(Operation& operation) const;
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

    /// \return what the variable holds when \p operation is done.
    static VariableRow next(const Operation& operation);
    std::vector<const Client*> providers(const Variable& variable, ConfigIF::CallbackType type) const;
    Messages::Requester requesterOf(const Operation& operation) const;

    const Collaborators m_with;
    Time m_started{};
    std::uint64_t m_order = 0;            ///< of requests and questions
    std::map<Variable*, Queue> m_queues;  ///< looked up, and listed only where the order does not show
    std::map<std::uint64_t, OperationPtr> m_waitForProvider;  ///< by their order
};

}  // namespace AppConfigService
