// What comes over the delivery connection reaches the handlers, whatever happens to the service or in them.
#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <stdexcept>

#include "Handlers.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class Delivery : public TransportFixture {
protected:
    Journal journal;
    Handler noteValue{[this](const MSG_Message* message) { journal.add(valueOf(message)); }};
};

TEST_F(Delivery, ReachesTheHandlersOfTheMessageInTheirOrderOnOneThread) {
    std::thread::id first;
    std::thread::id second;
    Handler one([&](const MSG_Message*) {
        first = std::this_thread::get_id();
        journal.add("one");
    });
    Handler two([&](const MSG_Message*) {
        second = std::this_thread::get_id();
        journal.add("two");
    });
    Handler other([&](const MSG_Message*) { journal.add("other"); });
    UnixTransport transport(options());
    one.addTo(transport, changed);
    other.addTo(transport, validate);
    two.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(journal.await(2), ElementsAre("one", "two"));
    transport.end();
    EXPECT_EQ(first, second);
    EXPECT_NE(first, std::this_thread::get_id());
}

TEST_F(Delivery, CallsARowForEveryIdOfItsRange) {
    const MSG_Callback table[] = {{[](void* context, const MSG_Message* message) {
                                       static_cast<Journal*>(context)->add(std::to_string(MSG_GetId(message)));
                                   },
                                   &journal, 0x1A0100, 0x1A0150, 0},
                                  {nullptr, nullptr, 0, 0, 0}};
    UnixTransport transport(options());
    ASSERT_EQ(transport.addHandlers(table), TRANSPORT_OK);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    Frame frame = notification("x", 1);
    for (const std::uint32_t id : {0x1A0100U, 0x1A0143U, 0x1A0150U, 0x1A0253U}) {
        frame.set_message_id(id);
        connection->send(frame);
    }
    connection->send(ask(1));
    peer.await(ANSWER, 1);
    EXPECT_THAT(journal.await(4), ElementsAre(std::to_string(0x1A0100), std::to_string(0x1A0143),
                                              std::to_string(0x1A0150), std::to_string(0x1A0150)));
}

TEST_F(Delivery, RefusesATableThatIsNone) {
    UnixTransport transport(options());
    EXPECT_EQ(transport.addHandlers(nullptr), TRANSPORT_BAD_ARGUMENT);
}

TEST_F(Delivery, NamesTheLocalEndpointAsTheOwnerOfAMessage) {
    Handler handler([&](const MSG_Message* message) {
        char owner[128];
        MSG_GetOwnerName(message, owner, sizeof owner);
        journal.add(owner);
    });
    UnixTransport transport(options());
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(journal.await(1), ElementsAre(transport.localEndpoint()));
}

TEST_F(Delivery, ConnectsOnceForAnEndpointThatIsNamedTwice) {
    UnixTransport transport(options());
    EXPECT_EQ(transport.addRemoteEndpoint("ConfigSrvc", -1), TRANSPORT_OK);
    EXPECT_EQ(transport.addRemoteEndpoint("ConfigSrvc", -1), TRANSPORT_OK);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(peer.connections(DELIVERY), 1U);
}

TEST_F(Delivery, IsThereBeforeTheFirstRequestIsSent) {
    for (int turn = 0; turn < 20; ++turn) {
        std::atomic<bool> greeted{false};
        std::atomic<bool> early{false};
        peer.onHello([&](ScriptedPeer::Connection& connection, const Frame& frame) {
            if (frame.hello().purpose() == DELIVERY) greeted = true;
            peer.welcome(connection);
        });
        peer.onRequest([&](ScriptedPeer::Connection& connection, const Frame& frame) {
            if (!greeted) early = true;
            ScriptedPeer::answer(connection, frame);
        });
        UnixTransport transport(options());
        transport.addRemoteEndpoint("ConfigSrvc", -1);
        ASSERT_EQ(read(transport), TRANSPORT_OK);
        EXPECT_FALSE(early) << "what the request registered could not have been delivered yet";
        transport.end();
    }
}

TEST_F(Delivery, IsThereBeforeTheNextRequestAlsoWhenTheConnectionForItStands) {
    std::atomic<bool> greeted{false};
    std::atomic<int> early{0};
    peer.onHello([&](ScriptedPeer::Connection& connection, const Frame& frame) {
        if (frame.hello().purpose() == AppConfigWire::DELIVERY) greeted = true;
        peer.welcome(connection);
    });
    peer.onRequest([&](ScriptedPeer::Connection& connection, const Frame& frame) {
        if (!greeted) ++early;
        ScriptedPeer::answer(connection, frame);
    });
    UnixTransport transport(options());
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(early, 1) << "the second request overtook the connection for deliveries";
    EXPECT_EQ(peer.connections(REQUESTS), 1U);
}

TEST_F(Delivery, IsThereAgainBeforeTheFirstRequestToAServiceThatCameBack) {
    TransportOptions patient = options();
    patient.firstPause = 1h;
    patient.longestPause = 1h;
    UnixTransport transport(patient);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    peer.stop();
    peer.start();
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(peer.connections(DELIVERY), 2U) << "the pause between attempts must not hold up what a request registers";
}

TEST_F(Delivery, ResumesByItselfWhenTheServiceIsBack) {
    UnixTransport transport(options());
    noteValue.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("before", 1));
    ASSERT_THAT(journal.await(1), SizeIs(1));
    peer.stop();
    peer.start();
    peer.awaitDelivery(2)->send(notification("after", 2));
    EXPECT_THAT(journal.await(2), ElementsAre("before", "after"));
}

TEST_F(Delivery, StartsWhenTheServiceComesLate) {
    peer.stop();
    UnixTransport transport(options());
    noteValue.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_NO_SUCH_ENDPOINT);
    peer.start();
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(journal.await(1), ElementsAre("x"));
}

TEST_F(Delivery, SaysWhereItJoinedAndWhatItHasDelivered) {
    peer.setPoint(7, 40);
    UnixTransport transport(options());
    noteValue.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 45, 7));
    ASSERT_THAT(journal.await(1), SizeIs(1));
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    peer.hangUp();
    const auto hellos = peer.awaitHellos(AppConfigWire::DELIVERY, 2);
    ASSERT_THAT(hellos, SizeIs(2));
    EXPECT_FALSE(hellos[0].has_timeline());
    EXPECT_FALSE(hellos[0].has_joined());
    EXPECT_EQ(hellos[1].timeline(), 7U);
    EXPECT_EQ(hellos[1].joined(), 40U);
    EXPECT_EQ(hellos[1].delivered(), 45U);
    EXPECT_EQ(hellos[1].endpoint(), transport.localEndpoint());
}

TEST_F(Delivery, CountsANotificationAsDeliveredAlsoWithoutAHandler) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    connection->send(notification("x", 5));
    connection->send(ask(1));
    ASSERT_THAT(peer.await(ANSWER, 1), SizeIs(1));
    peer.hangUp();
    const auto hellos = peer.awaitHellos(AppConfigWire::DELIVERY, 2);
    ASSERT_THAT(hellos, SizeIs(2));
    EXPECT_EQ(hellos[1].delivered(), 5U);
}

TEST_F(Delivery, NeverCountsBackwards) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    connection->send(notification("x", 5));
    connection->send(notification("x", 4));
    connection->send(ask(1));
    ASSERT_THAT(peer.await(ANSWER, 1), SizeIs(1));
    peer.hangUp();
    EXPECT_EQ(peer.awaitHellos(AppConfigWire::DELIVERY, 2).at(1).delivered(), 5U);
}

TEST_F(Delivery, DoesNotCountWhatItsHandlerHasNotFinished) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    Handler slow([&](const MSG_Message*) {
        entered.set_value();
        mayLeave.get_future().wait();
    });
    UnixTransport transport(options());
    slow.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 9));
    entered.get_future().wait();
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    const auto requests = peer.awaitHellos(REQUESTS, 1);
    EXPECT_EQ(requests.at(0).delivered(), 0U);
    mayLeave.set_value();
}

TEST_F(Delivery, GoesOnAfterAHandlerThatThrows) {
    Handler angry([](const MSG_Message*) { throw std::runtime_error("no good"); });
    Handler odd([](const MSG_Message*) { throw 42; });
    UnixTransport transport(options());
    angry.addTo(transport, changed);
    odd.addTo(transport, changed);
    noteValue.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    testing::internal::CaptureStderr();
    connection->send(notification("first", 1));
    connection->send(notification("second", 2));
    EXPECT_THAT(journal.await(2), ElementsAre("first", "second"));
    transport.end();
    const std::string complaint = testing::internal::GetCapturedStderr();
    EXPECT_THAT(complaint, HasSubstr("a handler of ConfigIF.ConfigChangedNtfy threw: no good\n"));
    EXPECT_THAT(complaint, HasSubstr("threw: something other than a std::exception\n"));
    EXPECT_EQ(peer.connections(AppConfigWire::DELIVERY), 1U);
}

TEST_F(Delivery, SaysGoodbyeWhenTheTransportEnds) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    transport.end();
    EXPECT_THAT(peer.await(GOODBYE, 1), SizeIs(1));
}

TEST_F(Delivery, EndsWhileNoServiceIsThere) {
    peer.stop();
    TransportOptions patient = options();
    patient.firstPause = 1h;
    patient.longestPause = 1h;
    UnixTransport transport(patient);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_EQ(read(transport), TRANSPORT_NO_SUCH_ENDPOINT);
}

TEST_F(Delivery, MayBeginWhileTheTransportEnds) {
    for (int turn = 0; turn < 200; ++turn) {
        UnixTransport transport(options());
        std::thread adding([&] { transport.addRemoteEndpoint("ConfigSrvc", -1); });
        transport.end();
        adding.join();
        EXPECT_EQ(transport.addRemoteEndpoint("ConfigSrvc", -1), TRANSPORT_ENDED);
    }
}

TEST_F(Delivery, TellsItsObserverOfComingAndGoing) {
    TransportOptions observed = options();
    observed.onConnection = [this](const std::string& endpoint, bool connected) {
        journal.add(endpoint + (connected ? " +" : " -"));
    };
    UnixTransport transport(observed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    peer.stop();
    ASSERT_THAT(journal.await(2), ElementsAre("ConfigSrvc +", "ConfigSrvc -"));
    peer.start();
    EXPECT_THAT(journal.await(3), ElementsAre("ConfigSrvc +", "ConfigSrvc -", "ConfigSrvc +"));
}

TEST_F(Delivery, ComesFromSeveralEndpointsOverOneThread) {
    ScriptedPeer other(directory.path() + "/Other");
    UnixTransport transport(options());
    noteValue.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    transport.addRemoteEndpoint("Other", -1);
    peer.awaitDelivery()->send(notification("one", 1));
    ASSERT_THAT(journal.await(1), ElementsAre("one"));
    other.awaitDelivery()->send(notification("two", 1));
    EXPECT_THAT(journal.await(2), ElementsAre("one", "two"));
}

TEST_F(Delivery, IsNotHeldUpByAnEndpointThatNeverGreets) {
    ScriptedPeer mute(directory.path() + "/Mute");
    mute.onHello(nullptr);
    UnixTransport transport(options());
    noteValue.addTo(transport, changed);
    transport.addRemoteEndpoint("Mute", -1);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(journal.await(1), ElementsAre("x"));
}

}  // namespace
