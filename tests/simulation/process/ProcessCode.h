#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "process/Operation.h"

namespace PbUtility {
class InProcessPeer;
}

namespace Simulation {

/// Kinds of what a service announces.
enum class News : std::uint8_t { value, options, levels, submit, question, change };

/// Something that a service announces or asks, as it reaches a process.
struct Announcement {
    News news = News::value;
    int variable = -1;  ///< -1: none of the simulation's
    int link = 0;
    Texts contents;  ///< value or options
    int read = -1;
    int write = -1;
};

/// What the code in a process tells whoever simulates it. Called on the process's own threads.
class ProcessHost {
public:
    virtual ~ProcessHost() = default;

    /// An operation begins on the calling thread. \return what ended() takes. \p fromHandler: -1, or the handler.
    virtual std::uint64_t began(const Operation& operation, int fromHandler) = 0;
    virtual void ended(std::uint64_t operation, const Outcome& outcome) = 0;

    /// A handler was made for an operation that began as \p operation. \p kinds is its mask; 0 for a provider.
    virtual void handlerMade(int handler, std::uint64_t operation, int kinds) = 0;
    /// The handler has been removed, or is about to be.
    virtual void handlerRemoved(int handler) = 0;
    /// The handler's memory counts as given back: it must not be called any more.
    virtual void handlerDeleted(int handler) = 0;
    /// The handler is called. \p alive is false when it counts as deleted.
    virtual void handlerCalled(int handler, const Announcement& what, bool alive) = 0;
    virtual void handlerReturned(int handler) = 0;

    /// A message for the link is about to be dispatched, and has been.
    virtual void dispatching(const Announcement& what) = 0;
    virtual void dispatched(const Announcement& what) = 0;

    /// The transport in \p slot was made.
    virtual void transportMade(int slot, const std::string& endpoint) = 0;
    /// A request or one-way message was given to a transport, and the call has returned.
    virtual void requestBegins() = 0;
    virtual void requestEnds(int status) = 0;
    /// The options of \p variable could not be fetched.
    virtual void optionsFailed(int variable) = 0;
    /// The calling thread is about to register for that name and type.
    virtual void registers(const std::string& name, int type) = 0;

    /// Lets the calling thread rest.
    virtual void pause(std::chrono::milliseconds time) = 0;
};

/// What a handler of one slot does when it is called.
struct HandlerPlan {
    std::vector<Operation> reactions;  ///< one per call, as long as there are some
    int slowness = 0;                  ///< milliseconds that each call of a provider takes
};

/// What a process is started with.
struct ProcessPlan {
    std::string runtimeDirectory;
    PbUtility::InProcessPeer* peer = nullptr;  ///< not null: transports connect to it, and the directory is not used
    std::chrono::milliseconds deadline{5000};
    std::vector<VariableName> variables;
    std::vector<HandlerPlan> consumers;  ///< by slot
    std::vector<HandlerPlan> providers;  ///< by slot
    int movedNamespace = 0;              ///< of the primary link, once it has been moved
    std::string movedPath;               ///< and its service's transport path
};

/// The code of one simulated process: the library, the host's transport and an application. Each process has a copy
/// with static variables of its own. Every operation but begin() may be called on several threads of the process.
class ProcessCode {
public:
    virtual ~ProcessCode() = default;

    /// To be called once, first. \p host is not owned.
    virtual void begin(ProcessHost& host, const ProcessPlan& plan) = 0;
    /// Carries \p operation out and tells the host about it.
    virtual void perform(const Operation& operation) = 0;
    /// \return what the cache of a link's manager holds. Sends nothing.
    virtual CachedRecord inspect(int link, int variable) = 0;
    /// \return the address of a thread-local variable of this copy on the calling thread, so that the others are found.
    virtual const void* threadLocal() = 0;
};

/// The one function that a copy exports, by the name "simulationProcess".
using ProcessEntry = ProcessCode*();

}  // namespace Simulation
