#include "world/ServiceHost.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "MessageIds.h"
#include "configservice.pb.h"
#include "wire/FrameVersion.h"

namespace Simulation {

using AppConfigService::ConnectionId;
using AppConfigService::Core;
using AppConfigWire::Frame;
using AppConfigWire::FrameDecoder;

namespace {

/// As the program's sessions have it.
constexpr std::size_t writeSize = std::size_t{64} * 1024;
constexpr std::size_t readSize = std::size_t{64} * 1024;

constexpr Time clockBegin = std::chrono::hours(1);

/// Writes what fits. \return whether everything is written.
bool writeNow(Session& session) {
    for (;;) {
        if (session.outgoingAt == session.outgoing.size()) {
            session.queue.written();
            session.outgoing.clear();
            session.outgoingAt = 0;
            if (session.queue.empty()) return true;
            session.outgoing = session.queue.take(writeSize);
        }
        const std::string_view rest(session.outgoing.data() + session.outgoingAt,
                                    session.outgoing.size() - session.outgoingAt);
        const std::size_t count = session.connection->down.send(rest);
        session.outgoingAt += count;
        if (count == 0) return false;
    }
}

/// Lets a read be made under the highest role.
void promote(Frame& frame) {
    ConfigIF::ReadReq request;
    if (ConfigIF::messageName(frame.message_id()) != request.GetTypeName()) return;
    request.ParseFromString(frame.payload());
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
    frame.set_payload(request.SerializeAsString());
}

}  // namespace

ServiceHost::ServiceHost(Scheduler& scheduler, Random random, ServiceSettings settings,
                         const std::vector<AppConfigService::Definitions>& definitions, ServiceObserver& observer)
    : m_scheduler(scheduler),
      m_random(random),
      m_settings(std::move(settings)),
      m_definitions(definitions),
      m_observer(observer),
      m_name("s" + std::to_string(m_settings.number + 1)) {
    m_store.pretend(m_settings.sabotage == Sabotage::storesNothing);
    m_store.onStored = [this](const AppConfigService::Batch& batch) { m_observer.stored(number(), batch); };
}

ServiceHost::~ServiceHost() = default;

AppConfigService::Time ServiceHost::time() const {
    return AppConfigService::Time(
        std::chrono::duration_cast<AppConfigService::Clock::duration>(clockBegin + m_scheduler.now()));
}

bool ServiceHost::start() {
    m_scheduler.trace().note(m_scheduler.now(), m_name, "starts");
    const auto log = [this](AppConfigService::LogLevel, const std::string& line) {
        if (m_scheduler.trace().isPrinted()) m_scheduler.trace().note(m_scheduler.now(), m_name, "logs", line);
    };
    AppConfigService::Outbox& outbox = *this;
    m_core = std::make_unique<Core>(m_store, outbox, m_settings.options, log);
    const AppConfigService::Result<> started = m_core->start(m_definitions[m_inUse], time());
    if (!started) {
        m_scheduler.trace().note(m_scheduler.now(), m_name, "does not start", started.error().reason);
        m_core.reset();
        return false;
    }
    m_observer.adopted(number());
    settle();
    return true;
}

void ServiceHost::kill(bool losing) {
    if (!m_core) return;
    m_scheduler.trace().note(m_scheduler.now(), m_name, losing ? "is killed, losing what is under way" : "is killed");
    for (auto& [id, session] : m_sessions) {
        session->connection->up.onReadable = nullptr;
        session->connection->down.onWritable = nullptr;
        if (losing) session->connection->breakOff();
        session->connection->closeServer();
    }
    m_ready.clear();
    m_sessions.clear();
    m_core.reset();
    m_tick = never;
}

void ServiceHost::reload(std::size_t definitions) {
    m_scheduler.trace().note(m_scheduler.now(), m_name, "reads definitions", static_cast<std::int64_t>(definitions));
    if (!m_core) {
        m_inUse = definitions;
        return;
    }
    // What is pending belongs to the definitions before.
    while (m_core->needsFlush()) m_core->flush(time());
    const std::size_t before = std::exchange(m_inUse, definitions);
    if (m_core->reload(m_definitions[definitions], time())) {
        m_observer.adopted(number());
    } else {
        m_inUse = before;
    }
    settle();
}

bool ServiceHost::breakConnections(const Process* client, bool requests, bool deliveries) {
    bool some = false;
    for (auto& [id, session] : m_sessions) {
        if (client != nullptr && &session->connection->client != client) continue;
        if (!(session->purpose == AppConfigWire::DELIVERY ? deliveries : requests)) continue;
        session->connection->breakOff();
        some = true;
    }
    return some;
}

void ServiceHost::call(std::uint32_t messageId, const std::string& payload) {
    if (!m_core) return;
    const ConnectionId id = m_next++;
    m_core->connected(id, 0, time(), true);
    Frame hello;
    hello.set_kind(AppConfigWire::HELLO);
    hello.mutable_hello()->set_version(AppConfigWire::frameVersion);
    hello.mutable_hello()->set_endpoint("probe");
    hello.mutable_hello()->set_purpose(AppConfigWire::REQUESTS);
    m_core->receive(id, hello, time());
    Frame request;
    request.set_kind(AppConfigWire::ONE_WAY);
    request.set_message_id(messageId);
    request.set_payload(payload);
    m_core->receive(id, request, time());
    settle();
}

std::shared_ptr<Connection> ServiceHost::admit(Process& client, int& error) {
    if (!m_core || m_refusal != 0) {
        error = m_core ? m_refusal : ECONNREFUSED;
        return nullptr;
    }
    auto connection = std::make_shared<Connection>(m_scheduler, m_random, m_weather, client);
    const ConnectionId id = m_next++;
    Session& session = *m_sessions.emplace(id, std::make_unique<Session>(id, connection)).first->second;
    connection->up.onReadable = [this, &session] { mark(session); };
    connection->down.onWritable = [this, &session] { mark(session); };
    mark(session);
    return connection;
}

void ServiceHost::mark(Session& session) {
    if (std::exchange(session.ready, true)) return;
    m_ready.push_back(&session);
}

bool ServiceHost::tickIsDue() const {
    return m_tick <= m_scheduler.now();
}

std::size_t ServiceHost::ready() const {
    if (!m_core) return 0;
    return m_ready.size() + (m_core->needsFlush() ? 1 : 0) + (tickIsDue() ? 1 : 0);
}

void ServiceHost::run() {
    std::size_t chosen = m_random.below(static_cast<std::uint32_t>(ready()));
    if (chosen < m_ready.size()) {
        Session& session = *m_ready[chosen];
        m_ready.erase(m_ready.begin() + static_cast<std::ptrdiff_t>(chosen));
        session.ready = false;
        serve(session);
    } else if (chosen == m_ready.size() && m_core->needsFlush()) {
        m_scheduler.trace().note(m_scheduler.now(), m_name, "stores");
        m_core->flush(time());
    } else {
        m_scheduler.trace().note(m_scheduler.now(), m_name, "looks at its deadlines");
        m_core->tick(time());
    }
    settle();
}

/// After each call of the core: when it wants to be called again, and sessions that it has closed.
void ServiceHost::settle() {
    m_closed.clear();
    const std::optional<AppConfigService::Time> next = m_core->nextDeadline();
    m_tick = next ? std::chrono::duration_cast<Time>(next->time_since_epoch()) - clockBegin : never;
    if (m_tick == never || m_tick == m_armed) return;
    m_armed = m_tick;
    // Nothing to be done then but to let the clock stand there: ready() looks at it.
    m_scheduler.at(m_tick, [] {});
}

/// Does the next piece of work of \p session.
void ServiceHost::serve(Session& session) {
    Connection& connection = *session.connection;
    if (!session.adopted) {
        session.adopted = true;
        mark(session);
        return m_core->connected(session.id, connection.client.uid, time());
    }
    if (session.cut) return report(session);
    writeNow(session);
    if (reportRoom(session)) return;
    // A client that does not take its replies is not read from either.
    if (session.queue.bytes() >= writeSize || m_core->busy(session.id)) return;
    if (takeFrame(session)) return;
    if (connection.up.hasArrived()) {
        char bytes[readSize];
        session.decoder.feed(bytes, connection.up.receive(bytes, sizeof bytes));
        mark(session);
    } else if (connection.up.atEnd()) {
        report(session);
    }
}

/// \return whether the core was given something.
bool ServiceHost::takeFrame(Session& session) {
    Frame frame;
    const auto found = session.decoder.next(frame);
    if (!found) {
        m_core->refuse(session.id, found.error().reason, time());
        return true;
    }
    if (!*found) return false;
    if (frame.kind() == AppConfigWire::HELLO) {
        session.endpoint = frame.hello().endpoint();
        session.purpose = frame.hello().purpose();
    }
    m_observer.received(number(), session, frame);
    if (m_settings.sabotage == Sabotage::forgetsRoles) promote(frame);
    mark(session);
    m_core->receive(session.id, frame, time());
    return true;
}

/// The connection has broken off.
void ServiceHost::report(Session& session) {
    const ConnectionId id = session.id;
    close(id);
    m_core->disconnected(id, time());
}

bool ServiceHost::hasRoom(ConnectionId id) {
    const auto found = m_sessions.find(id);
    if (found == m_sessions.end() || found->second->cut) return true;
    found->second->wantsRoom = found->second->queue.bytes() >= AppConfigService::mostQueuedBytes / 2;
    return !found->second->wantsRoom;
}

/// \return whether the core was told that there is room again.
bool ServiceHost::reportRoom(Session& session) {
    if (!session.wantsRoom || session.queue.bytes() >= AppConfigService::mostQueuedBytes / 4) return false;
    session.wantsRoom = false;
    mark(session);
    m_core->drained(session.id, time());
    return true;
}

void ServiceHost::send(ConnectionId id, const Frame& frame) {
    const auto found = m_sessions.find(id);
    if (found == m_sessions.end()) return;
    Session& session = *found->second;
    if (session.cut) return;
    m_observer.sent(number(), session, frame);
    if (m_settings.sabotage == Sabotage::losesNotifications && frame.kind() == AppConfigWire::NOTIFICATION) return;
    std::string bytes = AppConfigWire::encodeFrame(frame);
    if (frame.kind() == AppConfigWire::REPLY) {
        session.queue.pushUnbounded(std::move(bytes));
    } else if (!session.queue.push(std::move(bytes))) {
        session.cut = true;
        session.connection->breakOff();
        return mark(session);
    }
    writeNow(session);
}

void ServiceHost::idle(ConnectionId id) {
    const auto found = m_sessions.find(id);
    if (found != m_sessions.end()) mark(*found->second);
}

void ServiceHost::close(ConnectionId id) {
    const auto found = m_sessions.find(id);
    if (found == m_sessions.end()) return;
    Session& session = *found->second;
    writeNow(session);
    session.connection->up.onReadable = nullptr;
    session.connection->down.onWritable = nullptr;
    session.connection->closeServer();
    m_ready.erase(std::remove(m_ready.begin(), m_ready.end(), &session), m_ready.end());
    m_closed.push_back(std::move(found->second));
    m_sessions.erase(found);
}

}  // namespace Simulation
