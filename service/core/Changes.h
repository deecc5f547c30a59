#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Catalogue.h"
#include "core/Journal.h"
#include "core/Limits.h"
#include "core/Notifier.h"
#include "core/Rounds.h"

namespace AppConfigService {

/// How a change ended.
struct ChangeResult {
    Verdict verdict;
    bool flag = false;  ///< done, but a provider had trouble taking it on board
    std::vector<std::string> messages;
    std::string context;  ///< what the providers were told
};

/// Somebody wants to change a variable, or to know whether it could be changed.
struct ChangeRequest {
    enum class Kind : std::uint8_t { write, validate, reset, options };
    Kind kind = Kind::write;
    Variable* variable = nullptr;
    ClientKey client;
    int role = 0;
    std::string requester;  ///< client_name of the request
    bool awaited = true;    ///< somebody waits for the result
    Value proposed;         ///< of a write or a validation
    Value options;          ///< of an options request
    std::optional<std::uint32_t> defaultIndex;
    std::function<void(const ChangeResult&)> reply;  ///< called once, from whichever operation ends the request
};

/// Takes variables from one state to the next: checks, asks the providers, stores, tells providers and clients,
/// replies. One request at a time is under decision per variable, the others wait in order. Refers to its
/// collaborators, which must outlive it; not thread-safe.
class Changes {
public:
    Changes(const ServiceOptions& options, const Registrations& registrations, const Clients& clients, Rounds& rounds,
            Journal& journal, Notifier& notifier, Log log);

    /// Takes \p request over. Its reply may be called before this returns.
    void submit(ChangeRequest request, Time now);

    /// Time has passed; whatever a round that ends now leads to happens at \p now.
    void setTime(Time now) { m_now = now; }

    /// Tells the providers of \p variable its value without anybody waiting for them: it changed by no client's will.
    void inform(Variable& variable);

    /// \return how many requests are under decision or wait.
    std::size_t waiting() const;

private:
    struct Operation : ChangeRequest {
        std::uint64_t order = 0;
        bool queued = false;
        bool running = false;
        std::optional<RoundId> round;
        ChangeResult result;
        VariableRow row;  ///< what the variable will hold
        ChangeNumber valueNumber = 0;
        ChangeNumber optionsNumber = 0;
    };
    using OperationPtr = std::shared_ptr<Operation>;

    struct Queue {
        std::deque<OperationPtr> operations;  ///< the first is under decision
        bool turning = false;
    };

    static Verdict admit(Operation& operation);
    bool wouldWaitForItself(const Operation& operation) const;
    void turn(Variable& variable);
    void begin(const OperationPtr& operation);
    void decided(const OperationPtr& operation);
    void store(const OperationPtr& operation);
    void stored(const OperationPtr& operation);
    void announce(const OperationPtr& operation);
    void conclude(const OperationPtr& operation, const Verdict& verdict);

    static void stage(Operation& operation, Batch& batch);
    std::vector<Client*> providers(const Variable& variable, ConfigIF::CallbackType type) const;
    template <typename Message>
    RoundId ask(const Operation& operation, const Value& value, const std::vector<Client*>& clients,
                Rounds::Finished finished);

    const ServiceOptions& m_options;
    const Registrations& m_registrations;
    const Clients& m_clients;
    Rounds& m_rounds;
    Journal& m_journal;
    Notifier& m_notifier;
    Log m_log;
    Time m_now{};
    std::uint64_t m_order = 0;  ///< of requests and questions
    std::map<Variable*, Queue> m_queues;
};

}  // namespace AppConfigService
