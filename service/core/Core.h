#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/Catalogue.h"
#include "core/Changes.h"
#include "core/Clients.h"
#include "core/CoreClock.h"
#include "core/Interception.h"
#include "core/Journal.h"
#include "core/Limits.h"
#include "core/Messages.h"
#include "core/Notifier.h"
#include "core/Outbox.h"
#include "core/Registrations.h"
#include "core/Requests.h"
#include "core/Roles.h"
#include "core/Rounds.h"
#include "core/Statistics.h"
#include "core/Upcalls.h"

namespace AppConfigService {

/// The configuration service without sockets, files and clock: frames go in, frames come out through the outbox.
///
/// Owns everything that the service knows; refers to store and outbox, which must outlive it. Runs on one thread and
/// has no lock. Nothing blocks but flush() and whatever calls it, for as long as the store takes.
class Core : private Upcalls {
public:
    Core(StateStore& store, Outbox& outbox, ServiceOptions options, Log log);

    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    /// Reads the store and takes \p definitions into use. To be called once, first. \return whether it worked; if not,
    /// \p error gets one sentence.
    bool start(const Definitions& definitions, std::string& error, Time now);

    /// Takes other definitions into use: values that they forbid fall back to the default, which is logged and notified
    /// like any other change. \return whether they are in use; if not, nothing has changed and \p error gets one
    /// sentence.
    bool reload(const Definitions& definitions, std::string& error, Time now);

    /// A client of user \p uid has connected; numbers of connections grow. There may be too many: then it is refused
    /// and closed at once; else it has to say hello until helloDeadline has passed. \p internal connections may claim
    /// any role, are not intercepted, and their client is forgotten with its last connection.
    void connected(ConnectionId connection, std::uint32_t uid, Time now, bool internal = false);

    /// \p frame came on \p connection, which is not busy.
    void receive(ConnectionId connection, const AppConfigHost::Frame& frame, Time now);

    /// \return whether a request of \p connection is under way, so that its next frame has to wait for Outbox::idle().
    bool busy(ConnectionId connection) const;

    /// There is room for \p connection again, after Outbox::hasRoom() had denied it.
    void drained(ConnectionId connection, Time now);

    /// \p connection is gone. Also to be called for a connection that broke the rules, but not for one that the core
    /// closed.
    void disconnected(ConnectionId connection, Time now);

    /// \return the endpoint of the client behind \p connection, for people.
    std::string clientOf(ConnectionId connection) const;

    /// Refuses \p connection with \p reason and closes it: what came on it is no frame, or its queue is full.
    void reject(ConnectionId connection, const std::string& reason, Time now);

    /// Closes the connections of the client called \p endpoint; of all clients when it is empty. They may come back.
    void disconnectClient(const std::string& endpoint, Time now);

    /// \return whether something is to be stored. What depends on it happens in flush().
    bool needsFlush() const { return m_journal.pending(); }
    void flush(Time now);

    /// Ends what has run out of time. To be called at nextDeadline() or later.
    void tick(Time now);
    std::optional<Time> nextDeadline() const;

    /// See EmbeddedService::intercept().
    void intercept(Interceptor interceptor) { m_interceptor = std::move(interceptor); }

    const Catalogue& catalogue() const { return m_catalogue; }

    /// \return the number of the last change that is stored.
    ChangeNumber changes() const { return m_journal.changes(); }

    /// \return how many requests are under decision or wait for one.
    std::size_t waiting() const { return m_changes.waiting(); }

private:
    struct Connection {
        std::uint32_t uid = 0;
        bool internal = false;
        std::optional<ClientKey> client;  ///< once it has said hello
        AppConfigHost::Purpose purpose = AppConfigHost::REQUESTS;
        bool busy = false;
    };

    void hello(ConnectionId id, Connection& connection, const AppConfigHost::Frame& frame);
    /// Where a client stands that says HELLO. Without a number it knows nothing of this state.
    struct Standing {
        bool fresh = false;  ///< it has never been told a point
        std::optional<ChangeNumber> joined;
        std::optional<ChangeNumber> delivered;
    };

    std::string checkHello(const AppConfigHost::Frame& frame, const ClientKey& key, bool internal);
    Standing standingOf(const AppConfigHost::Hello& hello) const;
    void welcome(ConnectionId id, const Client& client, const AppConfigHost::Hello& hello, const Standing& standing);
    void deliverOn(ConnectionId id, Client& client, const Standing& standing);
    void registrations(ConnectionId id, Connection& connection, const AppConfigHost::Frame& frame);
    void loseDelivery(Client& client);
    void request(ConnectionId id, Connection& connection, const AppConfigHost::Frame& frame);
    Interception intercepted(const Connection& connection, const Call& call, const std::string& payload) const;
    void reply(const Call& call, const google::protobuf::MessageLite& response) override;
    void fail(const Call& call, AppConfigHost::Status status) override;
    void deliver(ConnectionId delivery, const AppConfigHost::Frame& frame) override;
    void store() override;
    void finish(const Call& call, AppConfigHost::Status status, const google::protobuf::MessageLite* response);
    /// By value: the client may be forgotten on the way.
    void farewell(ConnectionId delivery, ClientKey key);
    /// Withdraws whatever \p client is registered for, in the store as well.
    void forgetStored(Client& client);
    void forget(const ClientKey& key, const char* why);
    void forgetOverdue();
    void drop(ConnectionId id);
    void rejectNow(ConnectionId id, const std::string& reason);
    void lose(ConnectionId id);
    bool adoptAll(const Definitions& definitions, std::string& error, bool announce);

    StateStore& m_store;
    Outbox& m_outbox;
    const ServiceOptions m_options;
    const Log m_log;
    CoreClock m_clock;
    Catalogue m_catalogue;
    Registrations m_registrations;
    Clients m_clients;
    Journal m_journal;
    Statistics m_statistics;
    const Messages m_messages;
    Rounds m_rounds;
    Roles m_roles;
    Notifier m_notifier;
    Changes m_changes;
    Requests m_requests;
    Interceptor m_interceptor;
    std::map<ConnectionId, Connection> m_connections;
    std::map<ConnectionId, Time> m_silent;  ///< when each must have said hello, the earliest first
};

}  // namespace AppConfigService
