#pragma once

#include <optional>
#include <string>

#include "core/Catalogue.h"
#include "core/Changes.h"
#include "core/Clients.h"
#include "core/Connections.h"
#include "core/CoreClock.h"
#include "core/Enrolment.h"
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

    /// Reads the store and begins to use \p definitions. To be called once, first.
    Result<> start(const Definitions& definitions, Time now);

    /// Uses other definitions from now on: values that they forbid fall back to the default, which is logged and
    /// notified like any other change. If that fails, nothing has changed.
    Result<> reload(const Definitions& definitions, Time now);

    /// A client of \p peer has connected; numbers of connections grow. There may be too many: then it is refused
    /// and closed at once; else it has to say hello until helloDeadline has passed. \p internal connections may claim
    /// any role, are not intercepted, and their client is forgotten with its last connection.
    void connected(ConnectionId connection, const Peer& peer, Time now, bool internal = false);

    /// \p frame came on \p connection, which is not busy.
    void receive(ConnectionId connection, const AppConfigWire::Frame& frame, Time now);

    /// \return whether a request of \p connection is under way, so that its next frame has to wait for Outbox::idle().
    bool busy(ConnectionId connection) const;

    /// There is room for \p connection again, after Outbox::hasRoom() had denied it.
    void drained(ConnectionId connection, Time now);

    /// \p connection was lost. Also called for one that broke the rules, but not for one that the core closed.
    void disconnected(ConnectionId connection, Time now);

    /// \return the client behind \p connection, for the log.
    std::string clientOf(ConnectionId connection) const { return m_connections.clientOf(connection); }

    /// Refuses \p connection with \p reason and closes it: what came on it is no frame, or its queue is full.
    void refuse(ConnectionId connection, const std::string& reason, Time now);

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

    /// \return how many requests are being decided or wait for that.
    std::size_t waiting() const { return m_changes.waiting(); }

private:
    void request(ConnectionId id, const Connection& connection, const AppConfigWire::Frame& frame);
    void registrations(ConnectionId id, const Connection& connection, const AppConfigWire::Frame& frame);
    Interception intercepted(const Call& call, const std::string& payload) const;

    void reply(const Call& call, const google::protobuf::MessageLite& response) override;
    void fail(const Call& call, AppConfigWire::Status status) override;
    void deliver(ConnectionId delivery, const AppConfigWire::Frame& frame) override;
    void store() override;
    void finish(const Call& call, AppConfigWire::Status status, const google::protobuf::MessageLite* response);

    Result<> adoptAll(const Definitions& definitions, bool notify);

    // Each part refers to parts that are declared before it, and to the core itself, which it calls only while it is
    // being called.
    StateStore& m_store;
    Outbox& m_outbox;
    const ServiceOptions m_options;
    const Log m_log;
    CoreClock m_clock;  ///< set by each public operation that is told the time, before anything else
    Catalogue m_catalogue;
    Registrations m_registrations;
    Clients m_clients;
    Journal m_journal;
    Statistics m_statistics;
    const Messages m_messages;
    Rounds m_rounds;
    Roles m_roles;
    Deciders m_deciders;
    Notifier m_notifier;
    Changes m_changes;
    Enrolment m_enrolment;
    Requests m_requests;
    Connections m_connections;
    Interceptor m_interceptor;
};

}  // namespace AppConfigService
