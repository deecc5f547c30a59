#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <future>
#include <thread>

#include "Handlers.h"
#include "InProcessTransport.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;

class InProcess : public TransportFixture {
protected:
    TransportOptions quick() const {
        TransportOptions result = options();
        result.runtimeDirectory.clear();
        return result;
    }
    ScriptedPeer service;
};

TEST_F(InProcess, CarriesRequests) {
    InProcessTransport transport(service, quick());
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

TEST_F(InProcess, CarriesDeliveriesAndAsks) {
    Journal journal;
    Handler consumer([&](const MSG_Message* message) { journal.add(valueOf(message)); });
    Handler provider([&](const MSG_Message* message) { answerAsk(message, "fine"); });
    InProcessTransport transport(service, quick());
    consumer.addTo(transport, changed);
    provider.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = service.awaitDelivery();
    connection->send(notification("x", 1));
    EXPECT_THAT(journal.await(1), ElementsAre("x"));
    connection->send(ask(1));
    EXPECT_EQ(service.await(ANSWER, 1).size(), 1U);
}

TEST_F(InProcess, FailsAsBetweenProcessesWhenNobodyIsThere) {
    InProcessTransport transport(service, quick());
    EXPECT_EQ(read(transport, "x", "Nobody"), TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_EQ(lastTransportFailure(),
              std::string("Nobody: nothing listens at the endpoint (the service in this process: ") +
                  std::strerror(ENOENT) + ")");
    EXPECT_EQ(read(transport, "x", "../x"), TRANSPORT_BAD_ENDPOINT);
    EXPECT_EQ(lastTransportFailure(),
              "../x: not a valid endpoint here ('../x' is not "
              "a valid endpoint name)");
    service.stop();
    EXPECT_EQ(read(transport), TRANSPORT_NO_SUCH_ENDPOINT);
}

/// Gives out one end of a blocking pair that other programs would inherit.
class Careless final : public InProcessPeer {
public:
    int connect(const std::string&) override {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return -1;
        kept = FileDescriptor(ends[0]);
        given = ends[1];
        return given;
    }
    FileDescriptor kept;
    std::atomic<int> given{-1};
};

TEST_F(InProcess, BlocksOnNoSocketAndHandsNoneToOtherPrograms) {
    Careless careless;
    InProcessTransport transport(careless, quick());
    auto call = std::async(std::launch::async, [&] { return read(transport); });
    while (careless.given < 0) std::this_thread::yield();
    char byte = 0;
    ASSERT_EQ(::recv(careless.kept.get(), &byte, 1, 0), 1) << "the transport says HELLO";
    EXPECT_NE(fcntl(careless.given, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(careless.given, F_GETFD), FD_CLOEXEC);
    ::shutdown(careless.kept.get(), SHUT_RDWR);
    EXPECT_EQ(call.get(), TRANSPORT_BROKEN_OFF);
}

TEST_F(InProcess, ResumesWhenTheServiceIsBack) {
    InProcessTransport transport(service, quick());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    service.stop();
    service.start();
    EXPECT_NE(service.awaitDelivery(2), nullptr);
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

}  // namespace
