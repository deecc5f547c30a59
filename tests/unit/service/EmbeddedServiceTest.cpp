#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "MessageIds.h"
#include "configadmin.pb.h"
#include "core/Core.h"
#include "core/Names.h"
#include "server/EmbeddedService.h"
#include "store/MemoryStore.h"
#include "wire/FileDescriptor.h"
#include "wire/FrameCodec.h"
#include "wire/FrameVersion.h"

namespace AppConfigService {
namespace {

using namespace std::chrono_literals;
using AppConfigWire::Frame;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr const char* definitions =
    "variable { node: 'a' attribute: 'b' type: INT default_value: '1' maximum: 1000000 }\n"
    "variable { node: 'a' attribute: 'text' type: TEXT }\n";

ConfigIF::Inst name(const std::string& attribute) {
    ConfigIF::Inst inst;
    VariableName var;
    var = VariableName("a", 0, attribute, 0);
    writeName(var, false, 0, inst);
    return inst;
}

ConfigIF::ReadReq readRequest() {
    ConfigIF::ReadReq request;
    *request.mutable_inst() = name("b");
    return request;
}

ConfigIF::WriteReq writeRequest(const std::string& value, const std::string& attribute = "b") {
    ConfigIF::WriteReq request;
    *request.mutable_inst_value()->mutable_inst() = name(attribute);
    request.mutable_inst_value()->add_value(value);
    return request;
}

/// One end of a connection, as a transport has it.
class Line {
public:
    Line(EmbeddedService& service, const std::string& endpoint, AppConfigWire::Purpose purpose)
        : m_fd(service.connect("ConfigSrvc")) {
        Frame hello;
        hello.set_kind(AppConfigWire::HELLO);
        hello.mutable_hello()->set_version(AppConfigWire::frameVersion);
        hello.mutable_hello()->set_endpoint(endpoint);
        hello.mutable_hello()->set_purpose(purpose);
        send(hello);
        const Frame welcome = next();
        EXPECT_EQ(welcome.kind(), AppConfigWire::WELCOME);
    }

    void send(const Frame& frame) { sendBytes(AppConfigWire::encodeFrame(frame)); }
    void sendBytes(const std::string& bytes) {
        EXPECT_EQ(::send(m_fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    template <typename Message>
    void send(const Message& message, AppConfigWire::Kind kind, std::uint64_t correlation = 1) {
        Frame frame;
        frame.set_kind(kind);
        frame.set_correlation(correlation);
        frame.set_message_id(ConfigIF::messageId(message.GetTypeName()));
        frame.set_payload(message.SerializeAsString());
        send(frame);
    }

    /// \return the next frame with contents; one without a kind when the connection has ended or nothing comes within
    /// ten seconds.
    Frame next() {
        Frame frame = nextOfAll();
        while (frame.kind() == AppConfigWire::REACHED) frame = nextOfAll();
        return frame;
    }
    Frame nextOfAll() {
        Frame frame;
        char buffer[4096];
        while (!m_decoder.next(frame).value_or(false)) {
            pollfd waiting{m_fd.get(), POLLIN, 0};
            if (poll(&waiting, 1, 10'000) != 1) return {};
            const ssize_t count = recv(m_fd.get(), buffer, sizeof(buffer), 0);
            if (count <= 0) return {};
            m_decoder.feed(buffer, static_cast<std::size_t>(count));
        }
        return frame;
    }
    bool ended() {
        while (nextOfAll().has_kind()) continue;
        return true;
    }

    template <typename Response, typename Request>
    Response ask(const Request& request) {
        send(request, AppConfigWire::REQUEST);
        const Frame reply = next();
        EXPECT_EQ(reply.kind(), AppConfigWire::REPLY);
        Response response;
        EXPECT_TRUE(response.ParseFromString(reply.payload()));
        return response;
    }

private:
    AppConfigWire::FileDescriptor m_fd;
    AppConfigWire::FrameDecoder m_decoder;
};

struct Embedded : ::testing::Test {
    std::shared_ptr<MemoryStore> store = std::make_shared<MemoryStore>();
    EmbeddedService service{definitions, store};
};

TEST_F(Embedded, ServesOverItsSockets) {
    ASSERT_TRUE(service.start());
    Line line(service, "p", AppConfigWire::REQUESTS);
    EXPECT_EQ(line.ask<ConfigIF::WriteRsp>(writeRequest("5")).result().error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(line.ask<ConfigIF::ReadRsp>(readRequest()).value(), ElementsAre("5"));
}

TEST_F(Embedded, SaysWhatIsWrongWithItsDefinitions) {
    EmbeddedService wrong("variable {}", store);
    const Result<> refused = wrong.start();
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, CommonIF::ERROR_INVALID_REQUEST);
    EXPECT_THAT(refused.error().reason, HasSubstr("definitions:1: a variable needs a node"));
    EXPECT_FALSE(wrong.running());
}

TEST_F(Embedded, TakesNobodyWhileItDoesNotRunAndNobodyForAnotherName) {
    EXPECT_EQ(service.connect("ConfigSrvc"), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    ASSERT_TRUE(service.start());
    EXPECT_EQ(service.connect("Other"), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Embedded, GoesOnWhereItWasAfterAStop) {
    ASSERT_TRUE(service.start());
    Line line(service, "p", AppConfigWire::REQUESTS);
    line.ask<ConfigIF::WriteRsp>(writeRequest("5"));
    service.stop();
    EXPECT_TRUE(line.ended());
    ASSERT_TRUE(service.start());
    Line again(service, "p", AppConfigWire::REQUESTS);
    EXPECT_THAT(again.ask<ConfigIF::ReadRsp>(readRequest()).value(), ElementsAre("5"));
}

TEST_F(Embedded, ReadsBehindAOneWayWriteSeeIt) {
    ASSERT_TRUE(service.start());
    Line line(service, "p", AppConfigWire::REQUESTS);
    for (int i = 0; i < 20; ++i) {
        line.send(writeRequest(std::to_string(i)), AppConfigWire::ONE_WAY);
        EXPECT_THAT(line.ask<ConfigIF::ReadRsp>(readRequest()).value(), ElementsAre(std::to_string(i)));
    }
}

TEST_F(Embedded, CallsAsAnotherClientWithoutLeavingATrace) {
    ConfigIF::ReadRsp response;
    EXPECT_EQ(errorOf(service.call(readRequest(), response)), CommonIF::ERROR_UNAVAILABLE);
    ASSERT_TRUE(service.start());
    EXPECT_TRUE(service.call(readRequest(), response));
    EXPECT_THAT(response.value(), ElementsAre("1"));
    EXPECT_EQ(errorOf(service.call(ConfigIF::BatchReadReq(), response)), CommonIF::ERROR_NOT_SUPPORTED);
    ConfigAdmin::StatisticsRsp statistics;
    ASSERT_TRUE(service.call(ConfigAdmin::StatisticsReq(), statistics));
    EXPECT_EQ(statistics.clients(), 1U) << "the one that asks";
}

TEST_F(Embedded, ReloadsDefinitionsAndKeepsTheOldOnesWhenTheNewAreWrong) {
    ASSERT_TRUE(service.start());
    const Result<> refused = service.reload("variable { nod: 'x' }");
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error().reason, HasSubstr("definitions:1"));
    EXPECT_TRUE(service.reload("variable { node: 'a' attribute: 'b' type: INT default_value: '2' }"));
    ConfigIF::ReadRsp response;
    ASSERT_TRUE(service.call(readRequest(), response));
    EXPECT_THAT(response.value(), ElementsAre("2"));
}

TEST_F(Embedded, InterceptsUntilItIsTold) {
    std::atomic<int> seen{0};
    service.intercept([&](const ReceivedRequest&) {
        ++seen;
        return Interception{Interception::Action::refuse, CommonIF::ERROR_BUSY, "no"};
    });
    ASSERT_TRUE(service.start());
    Line line(service, "p", AppConfigWire::REQUESTS);
    EXPECT_EQ(line.ask<ConfigIF::ReadRsp>(readRequest()).error(), CommonIF::ERROR_BUSY);
    service.intercept(nullptr);
    EXPECT_EQ(line.ask<ConfigIF::ReadRsp>(readRequest()).error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(seen, 1);
}

TEST_F(Embedded, BreaksOffAClientsConnections) {
    ASSERT_TRUE(service.start());
    Line one(service, "one", AppConfigWire::DELIVERY);
    Line two(service, "two", AppConfigWire::REQUESTS);
    service.disconnect("one");
    EXPECT_TRUE(one.ended());
    EXPECT_EQ(two.ask<ConfigIF::ReadRsp>(readRequest()).error(), CommonIF::ERROR_NONE);
    service.disconnect();
    EXPECT_TRUE(two.ended());
}

TEST_F(Embedded, BreaksOffConnectionsThatHaveNotSaidWhoseTheyAre) {
    ASSERT_TRUE(service.start());
    const AppConfigWire::FileDescriptor silent(service.connect("ConfigSrvc"));
    service.disconnect();
    pollfd end{silent.get(), POLLIN, 0};
    ASSERT_EQ(::poll(&end, 1, 5000), 1);
    char byte = 0;
    EXPECT_EQ(::recv(silent.get(), &byte, 1, 0), 0);
}

TEST_F(Embedded, RunsWorkOnItsThread) {
    std::size_t size = 0;
    EXPECT_FALSE(service.onServiceThread([&](Core&) { size = 99; }));
    ASSERT_TRUE(service.start());
    EXPECT_TRUE(service.onServiceThread([&](Core& core) { size = core.catalogue().size(); }));
    EXPECT_EQ(size, 2U);
}

TEST_F(Embedded, GarbageClosesItsConnectionWithAReasonAndHarmsNobodyElse) {
    ASSERT_TRUE(service.start());
    Line good(service, "good", AppConfigWire::REQUESTS);
    Line bad(service, "bad", AppConfigWire::REQUESTS);
    bad.sendBytes(std::string(64, '\xff'));
    const Frame refused = bad.next();
    EXPECT_EQ(refused.kind(), AppConfigWire::REFUSED);
    EXPECT_THAT(refused.reason(), HasSubstr("length"));
    EXPECT_TRUE(bad.ended());
    Line oversized(service, "bad", AppConfigWire::REQUESTS);
    oversized.sendBytes("\xff\xff\xff\xff\x0f");
    EXPECT_THAT(oversized.next().reason(), HasSubstr("the limit is"));
    EXPECT_EQ(good.ask<ConfigIF::ReadRsp>(readRequest()).error(), CommonIF::ERROR_NONE);
}

TEST_F(Embedded, AProviderThatIsSilentRunsIntoItsDeadline) {
    ServiceOptions options;
    options.providerDeadline = 50ms;
    EmbeddedService impatient(definitions, store, options);
    ASSERT_TRUE(impatient.start());
    Line delivery(impatient, "provider", AppConfigWire::DELIVERY);
    Line requests(impatient, "provider", AppConfigWire::REQUESTS);
    ConfigIF::RegisterClientCallbackReq registration;
    registration.set_var_name("a.b");
    registration.set_type(ConfigIF::CALLBACK_DYNAMIC_VALIDATE);
    EXPECT_EQ(requests.ask<ConfigIF::RegisterClientCallbackRsp>(registration).error(), CommonIF::ERROR_NONE);
    const auto result = requests.ask<ConfigIF::WriteRsp>(writeRequest("5")).result();
    EXPECT_EQ(result.error(), CommonIF::ERROR_PROVIDER_TIMEOUT);
    EXPECT_EQ(delivery.next().kind(), AppConfigWire::ASK);
}

TEST_F(Embedded, AClientThatDoesNotReadIsDisconnectedAndHoldsNobodyUp) {
    ASSERT_TRUE(service.start());
    Line watcher(service, "watcher", AppConfigWire::DELIVERY);
    Line requests(service, "watcher", AppConfigWire::REQUESTS);
    ConfigIF::RegisterClientCallbackReq registration;
    registration.set_var_name("a");
    registration.set_type(ConfigIF::CALLBACK_SUBMIT);
    // Submits stand for no state, so none of them makes way for another.
    registration.set_callback_name(std::string(255, 'c'));
    requests.ask<ConfigIF::RegisterClientCallbackRsp>(registration);
    ConfigAdmin::SubmitReq submit;
    *submit.mutable_inst() = name("b");
    ConfigAdmin::StatisticsRsp statistics;
    int submitted = 0;
    do {
        for (int i = 0; i < 100; ++i) requests.ask<ConfigAdmin::SubmitRsp>(submit);
        submitted += 100;
        statistics = requests.ask<ConfigAdmin::StatisticsRsp>(ConfigAdmin::StatisticsReq());
    } while (statistics.connected() == 1 && submitted < 100'000);
    EXPECT_EQ(statistics.connected(), 0U);
    EXPECT_TRUE(watcher.ended());
}

TEST_F(Embedded, AClientThatIsSlowGetsTheNewestStateAndIsNotDisconnected) {
    ASSERT_TRUE(service.start());
    Line watcher(service, "watcher", AppConfigWire::DELIVERY);
    Line requests(service, "watcher", AppConfigWire::REQUESTS);
    ConfigIF::RegisterClientCallbackReq registration;
    registration.set_var_name("a");
    registration.set_type(ConfigIF::CALLBACK_CONFIG_CHANGED);
    requests.ask<ConfigIF::RegisterClientCallbackRsp>(registration);
    constexpr int writes = 300;
    const auto text = [](int i) { return std::to_string(i) + std::string(50'000, 'x'); };
    for (int i = 1; i <= writes; ++i) requests.ask<ConfigIF::WriteRsp>(writeRequest(text(i), "text"));
    int received = 0;
    std::string last;
    while (last != text(writes)) {
        ConfigIF::ConfigChangedNtfy message;
        const Frame frame = watcher.next();
        ASSERT_EQ(frame.kind(), AppConfigWire::NOTIFICATION);
        ASSERT_TRUE(message.ParseFromString(frame.payload()));
        last = message.inst_value().value(0);
        ++received;
    }
    EXPECT_LT(received, writes);
}

TEST_F(Embedded, ManyClientsAtOnceAreServed) {
    ASSERT_TRUE(service.start());
    std::vector<std::thread> threads;
    std::atomic<int> done{0};
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            Line line(service, "client-" + std::to_string(t), AppConfigWire::REQUESTS);
            for (int i = 0; i < 50; ++i) {
                line.ask<ConfigIF::WriteRsp>(writeRequest(std::to_string(i)));
                line.ask<ConfigIF::ReadRsp>(readRequest());
                ++done;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(done, 400);
}

TEST_F(Embedded, StoppingWhileOthersConnectAndCallHarmsNobody) {
    std::atomic<bool> enough{false};
    std::thread connecting([&] {
        while (!enough) AppConfigWire::FileDescriptor(service.connect("ConfigSrvc")).reset();
    });
    std::thread calling([&] {
        ConfigIF::ReadRsp response;
        while (!enough) {
            service.call(readRequest(), response);
            service.onServiceThread([](Core&) {});
        }
    });
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(service.start());
        service.stop();
    }
    enough = true;
    connecting.join();
    calling.join();
}

}  // namespace
}  // namespace AppConfigService
