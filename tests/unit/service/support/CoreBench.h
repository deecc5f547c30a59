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
#include "core/Wire.h"
#include "store/MemoryStore.h"

/// A core with a clock that stands still until it is moved, a store in memory and an outbox that keeps what is sent.
namespace ServiceTest {

using AppConfigHost::Frame;
using AppConfigService::ConnectionId;
using AppConfigService::Core;
using AppConfigService::Definitions;
using AppConfigService::ServiceOptions;
using AppConfigService::Value;

/// The user that the service of the tests runs as, and one without any right of its own.
inline constexpr std::uint32_t ownUid = 1000;
inline constexpr std::uint32_t otherUid = 2000;

/// What most tests define.
extern const char* const usualDefinitions;

Definitions parse(const std::string& text);

/// Reads `net.wifi[1].ssid`.
ConfigVar var(const std::string& text);
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
    bool isClosed(ConnectionId connection) const { return m_closed.count(connection) != 0; }
    bool logged(const std::string& part) const;

    void send(ConnectionId connection, const Frame& frame, const std::string& replaces) override;
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
};

/// One event that a client was notified of, in a word: `value display.brightness 80`.
std::string summary(const Frame& frame);

/// A client with a delivery connection, as a transport would keep it.
class Peer {
public:
    using Error = CommonIF::eErrorType;

    Peer(CoreBench& bench, std::string endpoint, std::uint32_t uid = ownUid, bool deliver = true);

    /// Sends \p request and returns the reply, which has to be there once the core has settled.
    template <typename Response, typename Request>
    Response ask(const Request& request) {
        const ConnectionId connection = post(request);
        const std::optional<Response> response = replyTo<Response>(connection);
        m_bench.drop(connection);
        EXPECT_TRUE(response) << request.GetTypeName() << " is not answered at once";
        return response.value_or(Response());
    }

    /// Sends \p request on a connection of its own. \return that connection.
    template <typename Request>
    ConnectionId post(const Request& request) {
        return post(request.GetTypeName(), request.SerializeAsString(), AppConfigHost::REQUEST);
    }
    template <typename Request>
    ConnectionId tell(const Request& request) {
        return post(request.GetTypeName(), request.SerializeAsString(), AppConfigHost::ONE_WAY);
    }
    ConnectionId post(const std::string& type, const std::string& payload, AppConfigHost::Kind kind);

    /// Opens a request connection. frame() is what is said on it.
    ConnectionId open();
    template <typename Request>
    Frame frame(const Request& request) {
        return frame(request.GetTypeName(), request.SerializeAsString(), AppConfigHost::REQUEST);
    }
    static Frame frame(const std::string& type, const std::string& payload, AppConfigHost::Kind kind);

    /// \return the reply on \p connection; nothing while there is none.
    template <typename Response>
    std::optional<Response> replyTo(ConnectionId connection) {
        const std::optional<Frame> frame = m_bench.take(connection);
        Response response;
        if (!frame || frame->kind() != AppConfigHost::REPLY || frame->status() != AppConfigHost::OK)
            return std::nullopt;
        if (!response.ParseFromString(frame->payload())) return std::nullopt;
        return response;
    }

    // The requests, by name.
    ConfigIF::ReadRsp read(const std::string& name, int role = 4);
    ConfigIF::ReturnMessage write(const std::string& name, const Value& value, int role = 4);
    ConfigIF::ReturnMessage validate(const std::string& name, const Value& value, int role = 4);
    Error reset(const std::string& name, int role = 4);
    Error setOptions(const std::string& name, const Value& options, std::optional<std::uint32_t> index = {},
                     int role = 4);
    Error setLevels(const std::string& name, std::optional<int> read, std::optional<int> write, int role = 4);
    Error registerFor(const std::string& name, int type, int role = 4, const std::string& callback = "link");
    Error unregister(const std::string& name, int type);

    /// \return what came on the delivery connection since the last call, in words; questions are left out.
    std::vector<std::string> events();

    /// \return the question that came, if one did.
    std::optional<Frame> question();

    /// Answers \p question with one result.
    void answer(const Frame& question, CommonIF::eErrorType error = CommonIF::ERROR_NONE,
                const std::vector<std::string>& messages = {});
    void answerRaw(const Frame& question, const std::vector<std::string>& payloads);

    /// Breaks the delivery connection; connect() makes a new one that resumes where the last one stood.
    void cut();
    void connect();
    void goodbye();

    ConnectionId delivery = 0;
    std::uint64_t delivered = 0;
    std::uint64_t joined = 0;
    std::string storeId;

private:
    Frame hello(AppConfigHost::Purpose purpose) const;
    void collect();

    CoreBench& m_bench;
    const std::string m_endpoint;
    const std::uint32_t m_uid;
    std::vector<Frame> m_questions;
    std::vector<std::string> m_events;
};

ConfigIF::WriteReq writeRequest(const std::string& name, const Value& value, int role = 4);

}  // namespace ServiceTest
