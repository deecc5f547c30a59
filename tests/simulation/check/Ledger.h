#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "check/Book.h"
#include "process/ProcessCode.h"

namespace Simulation {

/// One life of a simulated process.
struct Life {
    std::string name;  ///< such as "p2", with a mark for each further life: "p2'"
    int process = 0;   ///< number in the script
    std::uint32_t uid = 0;
    Time deadline{};
    bool ended = false;
    std::function<Time()> stopped;  ///< how long it has been stopped in all; empty: never
};

/// A handler that a process has registered.
struct HandlerRecord {
    enum class Phase : std::uint8_t { registering, live, removed, deleted };
    struct Told {
        Texts contents;
        int read = -1;
        int write = -1;
    };
    using Key = std::pair<News, int>;  ///< what about which variable

    int number = 0;
    Operation operation;  ///< by which it was registered
    bool isProvider = false;
    int kinds = 0;
    int link = 0;
    Phase phase = Phase::registering;
    std::set<News> asked;           ///< by kind: its registration has been requested
    std::map<News, Moment> bounds;  ///< by kind: what changed after it must have been told
    std::map<Key, Told> told;
    std::set<Key> unlearnt;    ///< at its bound held what nobody in the process had heard before the state was set back
    std::map<Key, bool> owed;  ///< was sent to the process while the handler stood; whether it knew that before
    int running = 0;
    const void* runner = nullptr;  ///< the thread in which it runs

    /// \return whether a registration of it reaches \p variable.
    bool covers(int variable) const;
    bool wants(News news) const;
    /// \return the bound of that kind; never, while there is none.
    Moment boundOf(News news) const;
};

/// What one life of a process was told and has done, and whether that can be. The code of the process reports to it,
/// and the service's side as far as that concerns this process. See Quiet.h for what is checked in the end.
///
/// Thread-safe where the ground has threads.
class Ledger final : public ProcessHost {
public:
    Ledger(Book& book, Life life, int services);

    const Life& life() const { return m_life; }
    /// The process was killed: nothing of it is checked from now on.
    void end() { m_life.ended = true; }

    // What the quiet is checked with.
    struct Belief {
        Moment floor = 0;  ///< what the cache holds must not be older: it was acknowledged
        std::uint64_t flagOpen =
            0;  ///< since which event an announcement may have left the default flag behind; 0: not
        std::uint64_t indexOpen = 0;  ///< the same for the default index
        bool optionsFailed = false;
        bool valueKnown = false;    ///< the record had a value: only a race can make it unknown again
        bool optionsKnown = false;  ///< the same for the options
        bool bare = false;          ///< an announcement of options or levels may have made a record without a value
        bool corrected = false;     ///< a one-way write that is refused brings the present value, which is no news
        State heard;                ///< what the process was told or has read last, of each kind
        int removals = 0;           ///< how often a removal of the record has begun or ended
    };
    const Belief& belief(int link, int variable) const { return m_beliefs[place(link, variable)]; }
    const std::map<int, HandlerRecord>& handlers() const { return m_handlers; }
    bool isForgotten(int link) const { return m_forgotten[link]; }
    /// \return whether the process may know value and options of a variable in \p state, and always could.
    bool mayKnow(int link, const State& state) const;

    /// \return the user of the process.
    std::uint32_t uid() const { return m_life.uid; }
    /// \return whether the cached default flag of the variable may differ from the service's.
    bool isFlagOpen(int link, int variable) const;
    bool hasMoved() const { return m_moved; }
    bool hasTransport(int link) const { return m_transport[link] >= 0; }
    bool usesTransport(int slot) const { return m_transport[0] == slot || m_transport[1] == slot; }
    int role(int link) const { return m_role[link]; }
    /// \return the least role under which a request may have been made at \p link.
    int lowestRole(int link) const { return m_lowestRole[link]; }
    /// \return for people, the operation that is under way on \p thread; empty when none is.
    std::string underWay(const void* thread) const;

    /// The state of \p service is another one: nothing that was acknowledged before holds.
    void stateReplaced(int service);
    /// The service has begun to serve that other state. For handlers that were registered out of its reach, and what it
    /// held then, nothing has changed: nobody in the process has ever learnt of that.
    void stateAdopted(int service);
    /// The process has spoken to the service under that role, perhaps not the one that was set last.
    void spoke(int service, int role) { m_lowestRole[service] = std::min(m_lowestRole[service], role); }
    /// The process and the service have heard of each other.
    void reached(int service) { m_reached[service] = m_book.history.now(); }
    /// The service was asked to register a client of this process.
    void registrationArrives(int service, const std::string& name, int type);
    /// The service has sent news to the transport \p endpoint of this process.
    void newsSent(int service, News news, int variable, const std::string& endpoint);
    /// The service welcomes a connection for deliveries. \p known: it knows a registration of that client.
    void deliveryBegins(int service, bool known);

    // See ProcessHost.
    std::uint64_t began(const Operation& operation, int fromHandler) override;
    void ended(std::uint64_t operation, const Outcome& outcome) override;
    void handlerMade(int handler, std::uint64_t operation, int kinds) override;
    void handlerRemoved(int handler) override;
    void handlerDeleted(int handler) override;
    void handlerCalled(int handler, const Announcement& what, bool alive) override;
    void handlerReturned(int handler) override;
    void dispatching(const Announcement& what) override;
    void dispatched(const Announcement& what) override;
    void transportMade(int slot, const std::string& endpoint) override;
    void requestBegins() override;
    void requestEnds(int status) override;
    void optionsFailed(int variable) override;
    void registers(const std::string& name, int type) override;
    void pause(std::chrono::milliseconds time) override;

    /// \return whether a request of the calling thread has failed since the last call.
    bool takeFailure();

    /// From now on everything is quiet: an operation is not the script's, and what it reads is what the service holds.
    void setQuiet() {
        m_quiet = true;
        m_quietSince = m_book.history.now();
    }

private:
    static constexpr int links = 2;

    struct Underway {
        Operation operation;
        int fromHandler = -1;
        const void* thread = nullptr;
        Moment begun = 0;
        Moment floor = 0;
        int handler = -1;
        int removals = 0;              ///< see Belief
        std::uint64_t event = 0;       ///< the last one before it began
        bool beganAlone = false;       ///< nothing was being dispatched
        bool early = false;            ///< no transport was in place yet
        std::vector<Texts> announced;  ///< values of the variable that were dispatched meanwhile
    };
    struct Request {
        Time begun{};
        Time stopped{};
        Time elsewhere{};  ///< spent with handlers that were called meanwhile, and waiting to call them
    };
    struct Dispatch {
        Announcement what;
        std::set<int> called;
        Time begun{};
        Time inHandlers{};
        int removals = 0;  ///< see Belief
    };
    struct Thread {
        std::vector<Request> requests;
        std::vector<Dispatch> dispatches;
        std::vector<Time> calls;  ///< when each handler that runs was called
        bool failed = false;      ///< see takeFailure()
    };

    std::size_t place(int link, int variable) const;
    Belief& believe(int link, int variable) { return m_beliefs[place(link, variable)]; }
    Thread& thread();
    Time stopped() const { return m_life.stopped ? m_life.stopped() : Time{}; }
    static int serviceOf(int link) { return link; }
    void complain(Check check, int variable, const std::string& what);
    void removes(const Operation& operation);
    void removed(const Underway& underway, const Outcome& outcome);
    template <typename Visit>
    void eachRemoved(const Operation& operation, Visit&& visit);
    void learned(const Underway& underway, const Outcome& outcome);
    void announced(const Announcement& what);
    void setTransport(const Operation& operation);
    void setRole(const Operation& operation);

    void judge(const Underway& underway, const Outcome& outcome);
    void judgeRead(const Underway& underway, const Texts& value);
    void judgeFlag(const Underway& underway, bool value);
    void judgeWrite(const Underway& underway, const Outcome& outcome);
    void judgeReset(const Underway& underway, const Outcome& outcome);
    void entered(const Underway& underway);
    bool isSettingTransport(int link) const;
    void bindEarly(int link);
    void bind(HandlerRecord& handler);
    void dropOwed(int link, bool all);
    bool hasArrived(const HandlerRecord& handler, News news) const;
    void judgeQuiet(const Operation& operation, const Outcome& outcome);

    Book& m_book;
    Life m_life;
    const int m_services;
    std::vector<Belief> m_beliefs;
    std::map<int, HandlerRecord> m_handlers;
    std::map<std::uint64_t, Underway> m_underway;
    std::map<const void*, Thread> m_threads;
    std::uint64_t m_operations = 0;
    std::uint64_t m_events = 0;  ///< announcements, and whatever else makes a flag or an index doubtful
    bool m_forgotten[links] = {false, false};
    std::map<std::string, int> m_slots;  ///< of transports, by their endpoints
    int m_transport[links] = {-1, -1};
    bool m_reachable[links] = {false, false};  ///< a transport has been handed over
    int m_role[links] = {1, 1};
    int m_lowestRole[links] = {4, 4};
    bool m_moved = false;
    bool m_registered[links] = {false, false};
    Moment m_reached[links] = {0, 0};                         ///< when last; see stateAdopted()
    std::set<std::pair<std::string, News>> m_arrived[links];  ///< registrations that its state was asked for
    bool m_quiet = false;
    Moment m_quietSince = 0;
};

}  // namespace Simulation
