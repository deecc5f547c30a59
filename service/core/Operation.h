#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Catalogue.h"
#include "core/Clients.h"
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
    std::int32_t pid = 0;   ///< of the client's process, for the log
    bool internal = false;  ///< its claimed role counts in full
    int claimedRole = 0;    ///< the effective role is looked up again at each step
    std::string requester;  ///< client_name of the request
    bool awaited = true;    ///< not one-way
    Value proposed;         ///< of a write or a validation
    Value options;          ///< of an options request
    std::optional<std::uint32_t> defaultIndex;
    std::function<void(const ChangeResult&)> reply;  ///< called once, from whichever operation ends the request
};

/// A request for a change on its way through Changes.
struct Operation : ChangeRequest {
    int role = 0;             ///< the effective role when it was last admitted
    std::uint64_t order = 0;  ///< among all requests and questions
    std::uint64_t rank = 0;   ///< its place in the line; see Line
    bool queued = false;
    bool running = false;
    std::optional<RoundId> round;
    std::optional<Time> waitsUntil;  ///< for a provider to come back
    std::vector<ClientKey> asked;    ///< who was asked to apply it
    ChangeResult result;
    std::optional<Transition> transition;  ///< once it is accepted and about to be stored
};

using OperationPtr = std::shared_ptr<Operation>;

/// \return what \p kind is called in the log.
const char* nameOf(ChangeRequest::Kind kind);

/// \return whether the variable may take what \p operation proposes. A reset proposes nothing; what it comes to is
/// worked out here.
Result<> checkRules(Operation& operation);

/// \return whether the reasons of a refusal may be told. Whoever may write a variable and not read it learns whether it
/// is accepted; reasons tell of limits, options and, from providers, of anything.
inline bool mayKnowWhy(const Operation& operation) {
    return operation.role >= operation.variable->row.readLevel;
}

/// \return what the variable holds when \p operation is done.
VariableRow nextRow(const Operation& operation);

}  // namespace AppConfigService
