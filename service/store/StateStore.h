#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/Types.h"
#include "wire/VariableName.h"

namespace AppConfigService {

/// A variable as clients were last notified of it. Whether value, options and levels are the variable's own or follow
/// its definition is kept beside them, so that a definition that changed while the service was down is noticed.
struct VariableRow {
    VariableName name;
    Value value;
    bool ownValue = false;
    Value options;
    std::uint32_t defaultIndex = 0;
    bool ownOptions = false;
    int readLevel = 0;
    bool ownReadLevel = false;
    int writeLevel = 0;
    bool ownWriteLevel = false;
    PerKind<ChangeNumber> changes;  ///< number of the last change of each kind; 0: never changed
    bool hidden = false;            ///< no definition mentioned it when the row was written
};

/// A client that has registrations, with the highest role that it has claimed. What that was worth last is kept beside
/// it, so that a limit which changed while the service was down is noticed.
struct ClientRow {
    ClientKey client;
    int claimedRole = 0;
    int role = 0;
    ChangeNumber roleSince = 0;  ///< number that was drawn when the role rose; 0 when it came with the client
};

/// A client that is to be forgotten together with its registrations.
struct ClientForgotten {
    ClientKey client;
};

/// What a client wants to be called for.
struct RegistrationRow {
    ClientKey client;
    std::string requester;   ///< client_name of the request
    std::string name;        ///< fully qualified name, lower case; reaches itself and whatever lies below it
    int type = 0;            ///< ConfigIF::CallbackType
    std::string callback;    ///< comes back as client_name of each notification
    ChangeNumber since = 0;  ///< number that was drawn for it: what the client was told up to there says nothing of it
};

/// A registration that is to be withdrawn.
struct RegistrationRemoved {
    RegistrationRow registration;
};

using StoredChange = std::variant<VariableRow, ClientRow, ClientForgotten, RegistrationRow, RegistrationRemoved>;

/// A stretch of a state's history, from one start of the service to the next, so that a number of a change says which
/// state it counts in: a state that is set back goes on in a timeline of its own.
struct Timeline {
    std::uint64_t id = 0;    ///< random, never 0
    ChangeNumber after = 0;  ///< its first change has the number behind this one
};

/// How many timelines a store keeps; older ones are forgotten, and whoever was away since then counts as unknown.
inline constexpr std::size_t mostTimelines = 64;

/// What is stored in one go: all of it or nothing.
struct Batch {
    ChangeNumber changes = 0;           ///< the counter after the batch
    std::optional<Timeline> timeline;   ///< begins with the batch
    std::vector<StoredChange> entries;  ///< in the order in which they happened
};

/// Everything that a store holds.
struct StoredState {
    std::vector<Timeline> timelines;  ///< the oldest first; at least one, which a new store begins with
    ChangeNumber changes = 0;
    std::vector<VariableRow> variables;
    std::vector<ClientRow> clients;
    std::vector<RegistrationRow> registrations;
};

/// Where the service keeps what must survive it. The seam at which a distributed engine can stand in for a file.
/// Used by one service at a time, from the thread that runs its core; not thread-safe.
class StateStore {
public:
    virtual ~StateStore() = default;

    /// Reads everything. \return ERROR_STORAGE and one sentence when that is not possible.
    virtual Result<StoredState> load() = 0;

    /// Stores \p batch durably: when this succeeds, the batch survives a crash and a power cut. When it fails, with
    /// ERROR_STORAGE and one sentence, nothing of the batch is stored. Blocks until the medium has it.
    virtual Result<> commit(const Batch& batch) = 0;
};

}  // namespace AppConfigService
