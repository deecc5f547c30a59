#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Simulation {

/// The names of one variable that a simulation works with. An index into the list of all of them stands for it
/// everywhere else.
struct VariableName {
    std::string node;
    int nodeInstance = 0;
    std::string attribute;
    int attributeInstance = 0;
};

using Texts = std::vector<std::string>;

/// What an application does. The order is part of the text form of kept scripts only by name, see
/// script/ScriptText.cpp.
enum class Action : std::uint8_t {
    // Reads.
    readList,
    readText,
    readBool,
    readInt,
    readRecord,
    readIsDefault,
    readOptions,
    readOptionsList,
    readDefaultOptions,
    readDefaultIndex,
    readLevels,
    // Writes.
    write,
    writeUnawaited,
    reset,
    validate,
    setOptions,
    setOptionsWithIndex,
    setLevels,
    setLevelsUnawaited,
    removeVars,
    // Handlers.
    addConsumer,
    removeConsumer,
    deleteConsumer,
    addProvider,
    removeProvider,
    forgetAll,
    // The link.
    setRole,
    setTransport,
    endTransport,
    changePrimary,
    readAtLink,
    addConsumerAtLink,
    // Nothing, for a while.
    pause,
};

/// One operation with its arguments; which of them count depends on the action. A plain value.
struct Operation {
    Action action = Action::pause;
    int link = 0;            ///< 0: the local manager, 1: the primary one once it has been moved
    int variable = 0;        ///< index
    int slot = 0;            ///< of a handler or a transport; which role
    int number = 0;          ///< default index; mask of kinds; milliseconds
    int read = -1;           ///< level; below 0: not given
    int write = -1;          ///< level; below 0: not given
    bool wholeNode = false;  ///< a handler for the node of the variable
    Texts value;             ///< value or options
};

/// The kinds of events, as bits of a consumer's mask.
inline constexpr int wantsChange = 1;
inline constexpr int wantsOptions = 2;
inline constexpr int wantsLevels = 4;

/// How an operation ended. A plain value.
struct Outcome {
    bool done = false;  ///< false: nothing was done, the operation was not possible here
    bool accepted = false;
    int error = 0;
    bool flag = false;  ///< readIsDefault
    unsigned index = 0;
    int read = -1;
    int write = -1;
    Texts value;  ///< of the variable
    Texts options;
    bool hasOptions = false;
};

/// What a manager's cache holds about a variable. A plain value.
struct CachedRecord {
    bool present = false;
    Texts value;  ///< empty: unknown
    bool isDefault = false;
    bool hasOptions = false;
    Texts options;
    unsigned index = 0;
    bool hasRead = false;
    bool hasWrite = false;
    int read = 0;
    int write = 0;
};

/// \return whether the providers of a simulation refuse \p value. A rule that everybody can follow, so that a value
/// that slipped past a provider is noticed.
inline bool isRefusable(const Texts& value) {
    if (value.empty()) return false;
    const std::string& text = value.front();
    return text.size() > 2 && text.compare(text.size() - 2, 2, "13") == 0;
}

}  // namespace Simulation
