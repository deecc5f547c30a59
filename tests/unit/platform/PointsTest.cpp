// How far a client has got is what its handlers have seen, and a service learns of it.
#include <gmock/gmock.h>

#include <future>
#include <string>

#include "Handlers.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A frame without a message that moves the point.
Frame reached(std::uint64_t timeline, std::uint64_t sequence) {
    Frame frame;
    frame.set_kind(REACHED);
    frame.set_timeline(timeline);
    frame.set_sequence(sequence);
    return frame;
}

/// One that asks to be told when it is handled.
Frame mark(std::uint64_t correlation) {
    Frame frame;
    frame.set_kind(REACHED);
    frame.set_correlation(correlation);
    return frame;
}

/// A notification that carries no point, as of change \p number.
Frame behind(const std::string& value, std::uint64_t number, std::uint64_t timeline = 1) {
    Frame frame = notification(value, 0, timeline);
    frame.clear_sequence();
    frame.set_as_of(number);
    return frame;
}

class Points : public TransportFixture {
protected:
    /// Makes the client connect once more. \return what it says of itself.
    Hello helloAgain(std::size_t count = 2) {
        peer.hangUp();
        const std::vector<Hello> hellos = peer.awaitHellos(AppConfigWire::DELIVERY, count);
        return hellos.size() < count ? Hello() : hellos[count - 1];
    }
    /// Whatever was sent before is handled.
    void settle(const std::shared_ptr<ScriptedPeer::Connection>& connection) {
        const std::size_t before = peer.received(HANDLED).size();
        connection->send(mark(4711));
        ASSERT_THAT(peer.await(HANDLED, before + 1), SizeIs(before + 1));
    }

    Journal journal;
    Handler noteValue{[this](const MSG_Message* message) { journal.add(valueOf(message)); }};
};

TEST_F(Points, MoveWithoutAMessage) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    connection->send(reached(1, 7));
    settle(connection);
    EXPECT_EQ(helloAgain().delivered(), 7U);
}

TEST_F(Points, AreNoMessagesForHandlers) {
    const MSG_Callback table[] = {{[](void* context, const MSG_Message* message) {
                                       static_cast<Journal*>(context)->add(std::to_string(MSG_GetId(message)));
                                   },
                                   &journal, 0, 0xFFFFFFFF, 0},
                                  {}};
    UnixTransport transport(options());
    transport.addHandlers(table);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    connection->send(reached(1, 7));
    connection->send(behind("x", 8));
    settle(connection);
    EXPECT_THAT(journal.await(1), ElementsAre(std::to_string(0x1A0143)));
    transport.end();
}

TEST_F(Points, MoveIntoAnotherStateOnceThatHasToldAll) {
    peer.setPoint(1, 40);
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    peer.setPoint(2, 3, false);
    Hello hello = helloAgain();
    EXPECT_EQ(hello.timeline(), 1U);
    EXPECT_EQ(hello.delivered(), 40U);
    hello = helloAgain(3);
    EXPECT_EQ(hello.timeline(), 1U) << "the handshake alone tells nothing";
    const auto connection = peer.awaitDelivery(3);
    connection->send(reached(2, 3));
    settle(connection);
    hello = helloAgain(4);
    EXPECT_EQ(hello.timeline(), 2U);
    EXPECT_EQ(hello.delivered(), 3U);
    EXPECT_FALSE(hello.has_joined());
}

TEST_F(Points, AreReachedAfterTheHandlersOfWhatCameBefore) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    Handler slow([&](const MSG_Message*) {
        entered.set_value();
        mayLeave.get_future().wait();
    });
    UnixTransport transport(options());
    slow.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    connection->send(behind("x", 9));
    connection->send(reached(1, 9));
    connection->send(mark(5));
    entered.get_future().wait();
    EXPECT_THAT(peer.received(HANDLED), IsEmpty());
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(peer.awaitHellos(REQUESTS, 1).at(0).delivered(), 0U);
    mayLeave.set_value();
    const std::vector<Frame> handled = peer.await(HANDLED, 1);
    ASSERT_THAT(handled, SizeIs(1));
    EXPECT_EQ(handled[0].correlation(), 5U);
    EXPECT_EQ(helloAgain().delivered(), 9U);
}

TEST_F(Points, WaitWithNotificationsForAHandlerThatWaitsItself) {
    UnixTransport transport(options());
    Handler asking([&](const MSG_Message* message) {
        if (valueOf(message) == "first") {
            EXPECT_EQ(read(transport), TRANSPORT_OK);
        }
        journal.add(valueOf(message));
    });
    peer.onRequest([this](ScriptedPeer::Connection& connection, const Frame& request) {
        const auto delivery = peer.awaitDelivery();
        delivery->send(behind("second", 2));
        delivery->send(mark(1));
        delivery->send(ask(9));
        peer.await(ANSWER, 1);
        EXPECT_THAT(peer.received(HANDLED), IsEmpty()) << "the second has not been handled";
        ScriptedPeer::answer(connection, request);
    });
    asking.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(behind("first", 1));
    EXPECT_THAT(journal.await(2), ElementsAre("first", "second"));
    EXPECT_THAT(peer.await(HANDLED, 1), SizeIs(1));
    transport.end();
}

TEST_F(Points, AndNotificationsThatComeByTheThousandAtOnceAreHandledAsTheyAreRead) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    Handler slow([&](const MSG_Message* message) {
        if (valueOf(message) != "first") return;
        entered.set_value();
        mayLeave.get_future().wait();
    });
    // More than may wait for a handler, and few enough bytes to be read at once.
    const auto many = [](Frame frame, Kind kind) {
        frame.set_kind(kind);
        std::string bytes;
        for (int i = 0; i < 5000; ++i) bytes += encodeFrame(frame);
        EXPECT_LE(bytes.size(), std::size_t{64} * 1024);
        return bytes;
    };
    Frame empty;
    const std::string points = many(empty, REACHED);
    empty.set_message_id(ConfigIF::messageId(changed));
    const std::string notifications = many(empty, NOTIFICATION);
    UnixTransport transport(options());
    slow.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    connection->send(notification("first", 1));
    entered.get_future().wait();
    connection->sendBytes(points);
    mayLeave.set_value();
    settle(connection);
    connection->sendBytes(notifications);
    settle(connection);
    EXPECT_EQ(peer.connections(AppConfigWire::DELIVERY), 1U);
    transport.end();
}

TEST_F(Points, AreToldTogetherWithNewerStatesThatTheProcessHasSeen) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& request) {
        Frame reply = ScriptedPeer::replyTo(request, "hello");
        reply.set_timeline(1);
        reply.set_as_of(8);
        connection.send(reply);
    });
    UnixTransport transport(options());
    noteValue.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    Hello hello = helloAgain();
    ASSERT_EQ(hello.seen_size(), 1);
    EXPECT_EQ(hello.seen(0).timeline(), 1U);
    EXPECT_EQ(hello.seen(0).number(), 8U);
    auto connection = peer.awaitDelivery(2);
    connection->send(behind("x", 9, 3));
    settle(connection);
    hello = helloAgain(3);
    ASSERT_EQ(hello.seen_size(), 2);
    EXPECT_EQ(hello.seen(1).timeline(), 3U);
    connection = peer.awaitDelivery(3);
    Frame question = ask(1);
    question.set_timeline(3);
    question.set_as_of(12);
    connection->send(question);
    settle(connection);
    hello = helloAgain(4);
    ASSERT_EQ(hello.seen_size(), 2);
    EXPECT_EQ(hello.seen(1).number(), 12U);
}

TEST_F(Points, OfAClientOfAnotherVersionAreNotAskedForAndItIsToldWhy) {
    peer.onHello([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame refused;
        refused.set_kind(REFUSED);
        refused.set_reason("version " + std::to_string(frame.hello().version()) + " is not supported, only version 1");
        connection.send(refused);
        connection.close();
    });
    testing::internal::CaptureStderr();
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_EQ(read(transport), TRANSPORT_REFUSED);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("version 2 is not supported, only version 1"));
    transport.end();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("version 2 is not supported, only version 1"));
}

}  // namespace
