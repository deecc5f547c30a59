// What a request and a one-way message do when all goes well, and when the service does not.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <future>
#include <limits>
#include <thread>

#include "MSG.h"
#include "MessageIds.h"
#include "TransportFixture.h"
#include "frame.pb.h"
#include "wire/Endpoint.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using namespace std::chrono_literals;
using testing::HasSubstr;

class Request : public TransportFixture {};

TEST_F(Request, BringsTheAnswerBack) {
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(lastTransportFailure(), "");
}

TEST_F(Request, IntroducesTheClientOnce) {
    UnixTransport transport(options());
    peer.setPoint(7, 12);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    const auto hellos = peer.awaitHellos(REQUESTS, 1);
    ASSERT_EQ(hellos.size(), 1U) << "a second request opened a second connection";
    EXPECT_EQ(hellos[0].version(), 2U);
    EXPECT_EQ(hellos[0].endpoint(), transport.localEndpoint());
    EXPECT_FALSE(hellos[0].has_timeline());
    EXPECT_EQ(hellos[0].joined(), 0U);
    EXPECT_EQ(hellos[0].delivered(), 0U);
    EXPECT_EQ(peer.connections(DELIVERY), 0U) << "nobody named a remote endpoint";
}

TEST_F(Request, IsAnsweredTo64ThreadsAtOnce) {
    UnixTransport transport(options());
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 64; ++thread) {
        threads.emplace_back([&, thread] {
            for (int turn = 0; turn < 20; ++turn) {
                if (read(transport, std::to_string(thread) + "/" + std::to_string(turn)) != TRANSPORT_OK) ++failures;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
}

TEST_F(Request, KeepsOnlySoManyIdleConnections) {
    TransportOptions few = options();
    few.idleConnections = 0;
    UnixTransport transport(few);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(peer.awaitHellos(REQUESTS, 2).size(), 2U);
}

TEST_F(Request, FollowsTheOneWayMessagesOfItsThreadOnTheirConnection) {
    UnixTransport transport(options());
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    ASSERT_EQ(write(transport, "mine"), TRANSPORT_OK);
    std::thread([&] { EXPECT_EQ(read(transport, "others"), TRANSPORT_OK); }).join();
    EXPECT_EQ(peer.connections(REQUESTS), 2U) << "another thread took the connection that a request must follow on";
    ASSERT_EQ(read(transport, "mine too"), TRANSPORT_OK);
    EXPECT_EQ(peer.connections(REQUESTS), 2U);
    const auto messages = peer.received(ONE_WAY);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_FALSE(messages[0].has_correlation()) << "nobody answers it";
}

TEST_F(Request, WithoutAServiceFailsAtOnceNamingTheEndpoint) {
    peer.stop();
    UnixTransport transport(options());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read(transport), TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("ConfigSrvc"));
    EXPECT_THAT(lastTransportFailure(), HasSubstr("nothing listens"));
}

TEST_F(Request, WithoutAServiceLeavesNothingInTheResponse) {
    peer.stop();
    UnixTransport transport(options());
    ConfigIF::ReadRsp response;
    response.add_value("old");
    EXPECT_EQ(transport.sendWaitResponse(ConfigIF::ReadReq(), &response, "ConfigSrvc"), TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_EQ(response.value_size(), 0);
    EXPECT_EQ(transport.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc"), TRANSPORT_NO_SUCH_ENDPOINT);
}

TEST_F(Request, WithoutAServiceFailsAtOnceAlsoWhenDeliveriesAreAwaited) {
    peer.stop();
    UnixTransport transport(options());
    ASSERT_EQ(transport.addRemoteEndpoint("ConfigSrvc", -1), TRANSPORT_OK);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read(transport), TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
}

TEST_F(Request, ToASocketThatADeadServiceLeftFailsAtOnce) {
    const std::string left = directory.path() + "/Left";
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    left.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    UnixTransport transport(options());
    EXPECT_EQ(read(transport, "x", "Left"), TRANSPORT_NO_SUCH_ENDPOINT);
}

TEST_F(Request, ThatIsNeverAnsweredEndsAtTheDeadline) {
    peer.onRequest(nullptr);
    UnixTransport transport(options(100ms));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read(transport), TRANSPORT_TIMED_OUT);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, 100ms);
    EXPECT_LT(took, 5s);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("deadline"));
}

TEST_F(Request, ToAServiceThatNeverGreetsEndsAtTheDeadline) {
    peer.onHello(nullptr);
    UnixTransport transport(options(100ms));
    ASSERT_EQ(transport.addRemoteEndpoint("ConfigSrvc", -1), TRANSPORT_OK);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read(transport), TRANSPORT_TIMED_OUT);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, 100ms);
    EXPECT_LT(took, 5s);
}

TEST_F(Request, ThatRanOutOfTimeLeavesItsConnectionBehind) {
    std::promise<Frame> late;
    std::shared_future<Frame> lateFrame = late.get_future().share();
    peer.onRequest([&](ScriptedPeer::Connection& connection, const Frame& frame) {
        if (frame.correlation() == 1 && lateFrame.wait_for(0s) != std::future_status::ready) {
            late.set_value(frame);
            return;
        }
        ScriptedPeer::answer(connection, frame);
    });
    UnixTransport transport(options(1500ms));
    ASSERT_EQ(read(transport, "late"), TRANSPORT_TIMED_OUT);
    EXPECT_EQ(read(transport, "next"), TRANSPORT_OK);
    EXPECT_EQ(peer.connections(REQUESTS), 2U);
}

TEST_F(Request, IsBrokenOffWhenTheServiceGoes) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame&) { connection.close(); });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_BROKEN_OFF);
    peer.onRequest(&ScriptedPeer::answer);
    EXPECT_EQ(read(transport), TRANSPORT_OK) << "one broken connection must not hurt the next request";
}

TEST_F(Request, DoesNotFailOverAConnectionThatTheServiceClosedWhileItWasIdle) {
    UnixTransport transport(options());
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    peer.stop();
    peer.start();
    EXPECT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(peer.connections(REQUESTS), 2U);
}

TEST_F(Request, IsSentOnceWhenItsConnectionBreaks) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame&) { connection.close(); });
    UnixTransport transport(options());
    ASSERT_EQ(read(transport), TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(peer.await(REQUEST, 1).size(), 1U) << "the service may have acted on it, so it must not be repeated";
}

TEST_F(Request, ToAServiceThatDropsAConnectionInUseIsToldTheReason) {
    UnixTransport transport(options());
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame&) {
        Frame frame;
        frame.set_kind(REFUSED);
        frame.set_reason(std::string(600, 'r'));
        connection.send(frame);
        connection.close();
    });
    EXPECT_EQ(read(transport), TRANSPORT_REFUSED);
    EXPECT_EQ(lastTransportFailure(),
              "ConfigSrvc: the endpoint refused the connection (" + std::string(512, 'r') + ")");
}

TEST_F(Request, LargerThanAFrameIsNotSent) {
    TransportOptions small = options();
    small.frameLimit = 1000;
    UnixTransport transport(small);
    EXPECT_EQ(read(transport, std::string(1000, 'x')), TRANSPORT_TOO_LARGE);
    EXPECT_EQ(lastTransportFailure(),
              "ConfigSrvc: the message is too large to be sent (1003 bytes, a frame holds at most 1000)");
    EXPECT_EQ(peer.connections(REQUESTS), 0U);
    EXPECT_EQ(write(transport, std::string(1000, 'x')), TRANSPORT_TOO_LARGE);
    EXPECT_EQ(read(transport, std::string(900, 'x')), TRANSPORT_OK);
}

TEST_F(Request, FitsOrDoesNotHoweverManyWentBefore) {
    const auto frameOf = [](const std::string& text) {
        ConfigIF::ReadReq request;
        request.set_client_name(text);
        Frame frame;
        frame.set_kind(REQUEST);
        frame.set_message_id(ConfigIF::messageId("ConfigIF.ReadReq"));
        frame.set_payload(request.SerializeAsString());
        frame.set_correlation(std::numeric_limits<std::uint64_t>::max());
        return frame.ByteSizeLong();
    };
    TransportOptions exact = options();
    exact.frameLimit = frameOf(std::string(500, 'x'));
    UnixTransport transport(exact);
    EXPECT_EQ(read(transport, std::string(501, 'x')), TRANSPORT_TOO_LARGE);
    EXPECT_EQ(read(transport, std::string(500, 'x')), TRANSPORT_OK);
    EXPECT_EQ(peer.received(REQUEST).at(0).correlation(), 1U);
}

TEST_F(Request, MayBeAsLargeAsTheLimitAllows) {
    UnixTransport transport(options());
    EXPECT_EQ(read(transport, std::string(15U << 20U, 'x')), TRANSPORT_OK);
}

TEST_F(Request, WithoutAnIdDoesNotTravel) {
    UnixTransport transport(options());
    EXPECT_EQ(transport.send(Frame(), "ConfigSrvc", nullptr), TRANSPORT_UNKNOWN_MESSAGE);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("AppConfigWire.Frame"));
}

TEST_F(Request, ToABadNameIsRefusedWithoutLeavingTheDirectory) {
    UnixTransport transport(options());
    for (const char* name : {"../ConfigSrvc", "", "/ConfigSrvc", "a//b"}) {
        EXPECT_EQ(read(transport, "x", name), TRANSPORT_BAD_ENDPOINT) << name;
        EXPECT_EQ(transport.addRemoteEndpoint(name, -1), TRANSPORT_BAD_ENDPOINT) << name;
    }
}

TEST_F(Request, WithAPathTooLongForASocketSaysSo) {
    TransportOptions deep = options();
    deep.runtimeDirectory = "/tmp/" + std::string(120, 'd');
    UnixTransport transport(deep);
    EXPECT_EQ(read(transport), TRANSPORT_BAD_ENDPOINT);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("107"));
}

TEST_F(Request, InADefaultDirectoryOfSomebodyElsesMakingIsRefused) {
    setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1);
    ASSERT_EQ(symlink(directory.path().c_str(), defaultRuntimeDirectory().c_str()), 0);
    UnixTransport transport;
    EXPECT_EQ(read(transport), TRANSPORT_BAD_ENDPOINT);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("symbolic link"));
    unsetenv("XDG_RUNTIME_DIR");
}

TEST_F(Request, SucceedsAgainHoweverOftenTheServiceRestartsUnderManyThreads) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    std::atomic<bool> done{false};
    std::atomic<int> answered{0};
    std::atomic<int> unexpected{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
            while (!done) {
                const int status = read(transport, std::to_string(thread));
                if (status == TRANSPORT_OK) {
                    ++answered;
                } else if (status != TRANSPORT_BROKEN_OFF && status != TRANSPORT_NO_SUCH_ENDPOINT) {
                    ++unexpected;
                }
            }
        });
    }
    for (int restart = 0; restart < 10; ++restart) {
        const int before = answered;
        const auto patience = std::chrono::steady_clock::now() + ScriptedPeer::patience;
        while (answered == before && std::chrono::steady_clock::now() < patience) std::this_thread::yield();
        EXPECT_GT(answered, before) << "nobody got through after restart " << restart;
        peer.stop();
        peer.start();
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(unexpected, 0);
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

TEST_F(Request, FailsWhenTheTransportEnds) {
    peer.onRequest(nullptr);
    UnixTransport transport(options());
    auto call = std::async(std::launch::async, [&] { return read(transport); });
    ASSERT_EQ(peer.await(REQUEST, 1).size(), 1U);
    transport.end();
    EXPECT_EQ(call.get(), TRANSPORT_ENDED);
    EXPECT_EQ(read(transport), TRANSPORT_ENDED);
    EXPECT_EQ(write(transport, "x"), TRANSPORT_ENDED);
    EXPECT_EQ(transport.addRemoteEndpoint("ConfigSrvc", -1), TRANSPORT_ENDED);
    EXPECT_EQ(lastTransportFailure(), "ConfigSrvc: the transport has been ended");
    const std::string self = transport.localEndpoint();
    EXPECT_EQ(MSG_BindOwner(
                  self.c_str(), [](void*, MSG_Address, MSG_Message*) { return 0; }, nullptr),
              0)
        << "the messages of a transport that has ended were still carried";
    transport.end();
    EXPECT_NE(MSG_BindOwner(
                  self.c_str(), [](void*, MSG_Address, MSG_Message*) { return 0; }, nullptr),
              0)
        << "ending it a second time did something";
    MSG_UnbindOwner(self.c_str());
}

TEST_F(Request, ServesSeveralEndpointsIndependently) {
    ScriptedPeer other(directory.path() + "/Other");
    UnixTransport transport(options(1500ms));
    peer.onRequest(nullptr);
    EXPECT_EQ(read(transport), TRANSPORT_TIMED_OUT);
    EXPECT_EQ(read(transport, "x", "Other"), TRANSPORT_OK);
}

TEST(OneWay, WaitsOnlySoLongForAServiceThatDoesNotRead) {
    const TemporaryDirectory directory;
    // Greets, and then sits in its answer to the request for as long as the test needs.
    ScriptedPeer peer(directory.path() + "/ConfigSrvc");
    std::promise<void> done;
    std::shared_future<void> mayGoOn = done.get_future().share();
    peer.onRequest([mayGoOn](ScriptedPeer::Connection& connection, const Frame& frame) {
        ScriptedPeer::answer(connection, frame);
        mayGoOn.wait();
    });
    TransportOptions options;
    options.runtimeDirectory = directory.path();
    options.deadline = 1500ms;
    UnixTransport transport(options);
    ASSERT_EQ(transport.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc"), TRANSPORT_OK);
    ConfigIF::WriteReq large;
    large.set_client_name(std::string(8U << 20U, 'x'));
    EXPECT_EQ(transport.send(large, "ConfigSrvc", nullptr), TRANSPORT_TIMED_OUT);
    done.set_value();
}

}  // namespace
