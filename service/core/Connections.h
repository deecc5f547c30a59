#pragma once

#include <map>
#include <optional>
#include <string>

#include "core/Changes.h"
#include "core/Clients.h"
#include "core/CoreClock.h"
#include "core/Enrolment.h"
#include "core/Journal.h"
#include "core/Limits.h"
#include "core/Notifier.h"
#include "core/Outbox.h"
#include "core/Registrations.h"
#include "core/Rounds.h"
#include "core/Upcalls.h"
#include "frame.pb.h"

namespace AppConfigService {

/// One connection, as far as the core knows it.
struct Connection {
    Peer peer;
    bool internal = false;            ///< see Core::connected()
    std::optional<ClientKey> client;  ///< once it has said HELLO
    AppConfigWire::Purpose purpose = AppConfigWire::REQUESTS;
    bool busy = false;  ///< a request that came on it is under way
};

/// Who is connected: the connections, the client of each and what it is doing; and the clients, from their first HELLO
/// until they are forgotten, after a goodbye or when they have been away for too long. Refers to its collaborators,
/// which must outlive it; not thread-safe.
class Connections {
public:
    struct Collaborators {
        const ServiceOptions& options;
        const Registrations& registrations;
        Clients& clients;
        const Journal& journal;
        Rounds& rounds;
        Notifier& notifier;
        Changes& changes;
        Enrolment& enrolment;
        Outbox& outbox;
        Upcalls& upcalls;
        const CoreClock& clock;
        const Log& log;
    };

    explicit Connections(const Collaborators& collaborators) : m_with(collaborators) {}

    /// \p peer has connected. It has to say HELLO in time, unless \p internal.
    void open(ConnectionId id, const Peer& peer, bool internal);

    /// \p frame is the first that came on \p id, which is open: it should be HELLO.
    void handshake(ConnectionId id, const AppConfigWire::Frame& frame);

    /// \return the connection; null if it does not exist (any more). Valid until something is closed.
    const Connection* find(ConnectionId id) const;

    /// A request that came on \p id is under way, so no more frames are taken from there.
    void begin(ConnectionId id);

    /// That request has ended. \p reply is sent, unless it is null; nothing happens if the connection has ended.
    void end(ConnectionId id, const AppConfigWire::Frame* reply);

    /// There is room for \p id again.
    void drained(ConnectionId id);

    /// \p id was lost.
    void lose(ConnectionId id);

    /// Closes \p id.
    void close(ConnectionId id);

    /// Closes \p id after it has been told \p reason.
    void refuse(ConnectionId id, const std::string& reason);

    /// Closes the connections of the client called \p endpoint; those of all clients when it is empty.
    void closeClient(const std::string& endpoint);

    /// The client behind \p delivery says goodbye over it.
    void goodbye(ConnectionId delivery);

    /// \return the client behind \p id, for the log.
    std::string clientOf(ConnectionId id) const;

    /// Closes the connections without HELLO in time, and forgets the clients that have been away for too long.
    void expire();

    /// \return when that is due next.
    std::optional<Time> nextDeadline() const;

private:
    /// What a client that says HELLO has got from this state. Without a number it knows nothing of it.
    struct ResumeState {
        bool fresh = false;  ///< it has never been told a point
        std::optional<ChangeNumber> joined;
        std::optional<ChangeNumber> delivered;
    };

    // Handshakes.cpp
    std::string refusal(const AppConfigWire::Frame& frame, const ClientKey& key, bool internal);
    std::string makeRoom();
    ResumeState resumeStateOf(const AppConfigWire::Hello& hello) const;
    void welcome(ConnectionId id, const ClientKey& key, const AppConfigWire::Hello& hello,
                 const ResumeState& resumeState);
    void deliverOver(ConnectionId id, Client& client, std::uint64_t number, const ResumeState& resumeState);

    void forget(const ClientKey& key, const char* why);
    void forgetOverdue();

    const Collaborators m_with;
    std::map<ConnectionId, Connection> m_connections;
    std::map<ConnectionId, Time> m_silent;  ///< when each must have said HELLO, in this order
};

}  // namespace AppConfigService
