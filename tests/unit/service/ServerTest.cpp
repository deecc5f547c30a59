#include <gmock/gmock.h>

#include "MessageIds.h"
#include "configadmin.pb.h"
#include "core/Names.h"
#include "definitions/DefinitionsReader.h"
#include "server/Server.h"
#include "store/MemoryStore.h"
#include "wire/FrameCodec.h"
#include "wire/FrameVersion.h"

namespace AppConfigService {
namespace {

using AppConfigWire::Frame;
using ::testing::Contains;
using ::testing::StartsWith;
using Socket = asio::local::stream_protocol::socket;

/// A server that runs whenever the test lets it, on the test's own thread.
struct RunningServer : ::testing::Test {
    RunningServer() {
        const auto definitions =
            readDefinitions({{"test", "variable { node: 'a' attribute: 'b' type: INT default_value: '1' }"}});
        EXPECT_TRUE(server.start(definitions.value()));
    }

    /// Lets the server do all that it can do now.
    void run() {
        io.restart();
        io.poll();
    }

    void send(Socket& client, const Frame& frame) {
        asio::write(client, asio::buffer(AppConfigWire::encodeFrame(frame)));
        run();
    }

    void connect(Socket& client, const std::string& endpoint, AppConfigWire::Purpose purpose) {
        Socket other(io);
        asio::local::connect_pair(client, other);
        server.adopt(std::move(other));
        Frame hello;
        hello.set_kind(AppConfigWire::HELLO);
        hello.mutable_hello()->set_version(AppConfigWire::frameVersion);
        hello.mutable_hello()->set_endpoint(endpoint);
        hello.mutable_hello()->set_purpose(purpose);
        send(client, hello);
    }

    asio::io_context io;
    MemoryStore store;
    std::vector<std::string> log;
    Server server{io, store, ServiceOptions(), [this](LogLevel, const std::string& line) { log.push_back(line); }};
};

TEST_F(RunningServer, NamesTheClientThatItCutsOffBecauseItDoesNotRead) {
    Socket delivery(io);
    Socket requests(io);
    connect(delivery, "sleeper", AppConfigWire::DELIVERY);
    connect(requests, "sleeper", AppConfigWire::REQUESTS);
    ConfigIF::RegisterClientCallbackReq registration;
    registration.set_var_name("a");
    registration.set_type(ConfigIF::CALLBACK_SUBMIT);
    registration.set_callback_name(std::string(255, 'c'));
    Frame frame;
    frame.set_kind(AppConfigWire::REQUEST);
    frame.set_message_id(ConfigIF::messageId(registration.GetTypeName()));
    frame.set_payload(registration.SerializeAsString());
    send(requests, frame);

    ConfigAdmin::SubmitReq submit;
    VariableName name;
    name = VariableName("a", 0, "b", 0);
    writeName(name, false, 0, *submit.mutable_inst());
    const auto isCut = [this] { return !log.empty() && log.back().rfind("lost a connection of ", 0) == 0; };
    for (int i = 0; i < 100'000 && !isCut(); ++i) {
        server.call(ConfigIF::messageId(submit.GetTypeName()), submit.SerializeAsString(), [](const Frame&) {});
        run();
    }
    EXPECT_THAT(log, Contains(StartsWith("lost a connection of sleeper (uid " + std::to_string(getuid()) + ", pid " +
                                         std::to_string(getpid()) + "): the client does not read")));
}

}  // namespace
}  // namespace AppConfigService
