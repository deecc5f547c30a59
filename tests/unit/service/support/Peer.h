#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "support/CoreBench.h"

namespace ServiceTest {

// Callback types, as registrations name them.
inline constexpr int onChange = ConfigIF::CALLBACK_ON_CHANGE;
inline constexpr int dynamicValidate = ConfigIF::CALLBACK_DYNAMIC_VALIDATE;
inline constexpr int valueChanged = ConfigIF::CALLBACK_CONFIG_CHANGED;
inline constexpr int attributeChanged = ConfigIF::CALLBACK_ATTRIBUTE_CHANGED;
inline constexpr int optionsChanged = ConfigIF::CALLBACK_OPTIONS_CHANGED;
inline constexpr int submitted = ConfigIF::CALLBACK_SUBMIT;
inline constexpr int levelsChanged = ConfigIF::CALLBACK_ACCESS_LEVELS_CHANGED;

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
        return post(request.GetTypeName(), request.SerializeAsString(), AppConfigWire::REQUEST);
    }
    template <typename Request>
    ConnectionId tell(const Request& request) {
        return post(request.GetTypeName(), request.SerializeAsString(), AppConfigWire::ONE_WAY);
    }
    ConnectionId post(const std::string& type, const std::string& payload, AppConfigWire::Kind kind);

    /// Opens a request connection. frame() is what is said on it.
    ConnectionId open();
    template <typename Request>
    Frame frame(const Request& request) {
        return frame(request.GetTypeName(), request.SerializeAsString(), AppConfigWire::REQUEST);
    }
    static Frame frame(const std::string& type, const std::string& payload, AppConfigWire::Kind kind);

    /// \return the reply on \p connection; nothing while there is none.
    template <typename Response>
    std::optional<Response> replyTo(ConnectionId connection) {
        const std::optional<Frame> frame = m_bench.take(connection);
        if (frame) lastReply = *frame;
        Response response;
        if (!frame || frame->kind() != AppConfigWire::REPLY || frame->status() != AppConfigWire::OK)
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

    /// \return the notification that came next, if one did.
    std::optional<Frame> notification();

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

    /// \return the timeline that the service counts in now.
    std::uint64_t timelineNow();

    /// \return the number of points that came without a message since the last call.
    std::size_t reached();

    /// Tells the service, as a transport does, of registrations that it may not know.
    Frame sendRegistrations(const std::vector<AppConfigWire::Registration>& rows, bool complete = false,
                            const std::vector<AppConfigWire::Registration>& withdrawn = {});

    Frame lastReply;
    ConnectionId delivery = 0;
    AppConfigWire::Welcome welcome;  ///< the last one of a delivery connection
    std::uint64_t timeline = 0;      ///< 0: it has no point yet
    std::uint64_t delivered = 0;
    std::optional<std::uint64_t> joined;
    std::vector<AppConfigWire::Point> seen;
    std::vector<AppConfigWire::Registration> held;  ///< what HELLO says that it is registered for
    bool handles = true;                            ///< marks are answered at once

private:
    Frame hello(AppConfigWire::Purpose purpose) const;
    void collect();
    void note(const Frame& frame);

    CoreBench& m_bench;
    const std::string m_endpoint;
    const std::uint32_t m_uid;
    std::vector<Frame> m_questions;
    std::vector<std::string> m_events;
    std::size_t m_reached = 0;
};

/// \return what a transport called \p endpoint says first, without a point.
Frame hello(const std::string& endpoint, AppConfigWire::Purpose purpose = AppConfigWire::REQUESTS);

/// As Peer::registerFor() registers.
AppConfigWire::Registration registration(const std::string& name, int type, int role = 4,
                                         const std::string& callback = "link");

ConfigIF::WriteReq writeRequest(const std::string& name, const Value& value, int role = 4);

}  // namespace ServiceTest
