#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "MessageIds.h"
#include "core/Core.h"
#include "core/Names.h"
#include "store/MemoryStore.h"

/// A core with a clock that stands still until it is moved, a store in memory and an outbox that keeps what is sent.
namespace ServiceTest {

using AppConfigService::ConnectionId;
using AppConfigService::Core;
using AppConfigService::Definitions;
using AppConfigService::ServiceOptions;
using AppConfigService::Value;
using AppConfigService::VariableName;
using AppConfigWire::Frame;

/// The user that the service of the tests runs as, and one without any right of its own.
inline constexpr std::uint32_t ownUid = 1000;
inline constexpr std::uint32_t otherUid = 2000;
/// The process of every client, as far as the core is told.
inline constexpr std::int32_t pid = 4711;

/// What most tests define.
extern const char* const usualDefinitions;

Definitions parse(const std::string& text);

/// Reads `net.wifi[1].ssid`.
VariableName var(const std::string& text);
ConfigIF::Inst inst(const std::string& text);
/// The variable that \p inst names, as people write it.
std::string nameOf(const ConfigIF::Inst& inst);

class CoreBench : public AppConfigService::Outbox {
public:
    explicit CoreBench(const std::string& definitions = usualDefinitions, ServiceOptions options = usualOptions());

    static ServiceOptions usualOptions();

    /// Throws the core away, connections and all, and starts another on the same store.
    void restart(const std::string& definitions = usualDefinitions);

    bool reload(const std::string& definitions);

    /// Lets the core store until nothing is left to be stored.
    void settle();

    /// Moves the clock and lets time run out.
    void pass(std::chrono::milliseconds time);

    ConnectionId open(std::uint32_t uid, const Frame& first);
    void feed(ConnectionId connection, const Frame& frame);
    void drop(ConnectionId connection);

    /// Takes the oldest frame that was sent to \p connection and not taken yet.
    std::optional<Frame> take(ConnectionId connection);
    std::vector<Frame> takeAll(ConnectionId connection);
    bool isClosed(ConnectionId connection) const { return m_closed.count(connection) != 0; }
    /// From now on \p connection takes nothing that can wait; drain() ends that.
    void crowd(ConnectionId connection) { m_crowded.insert(connection); }
    /// The same for the connection that is opened next.
    void crowdNext() { crowd(m_next); }
    void drain(ConnectionId connection);

    bool logged(const std::string& part) const;

    void send(ConnectionId connection, const Frame& frame) override;
    bool hasRoom(ConnectionId connection) override { return m_crowded.count(connection) == 0; }
    void idle(ConnectionId) override {}
    void close(ConnectionId connection) override { m_closed.insert(connection); }

    AppConfigService::MemoryStore store;
    std::unique_ptr<Core> core;
    AppConfigService::Time now{std::chrono::hours(1)};
    std::vector<std::string> log;

private:
    ServiceOptions m_options;
    ConnectionId m_next = 1;
    std::map<ConnectionId, std::deque<Frame>> m_sent;
    std::set<ConnectionId> m_closed;
    std::set<ConnectionId> m_crowded;
};

}  // namespace ServiceTest
