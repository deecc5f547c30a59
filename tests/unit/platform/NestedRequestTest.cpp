// Handlers call the transport back, on the delivery thread.
#include <gmock/gmock.h>

#include <future>

#include "Handlers.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::SizeIs;

/// Handlers use their transport and so are made after it; each test ends it before they go.
class NestedRequest : public TransportFixture {
protected:
    /// The service asks the client before it answers each of its requests.
    void askBeforeAnswering() {
        peer.onRequest([this](ScriptedPeer::Connection& connection, const Frame& frame) {
            peer.awaitDelivery()->send(ask(frame.correlation()));
            peer.await(ANSWER, 1);
            ScriptedPeer::answer(connection, frame);
        });
    }

    Journal journal;
};

TEST_F(NestedRequest, IsAnsweredInsideAHandler) {
    UnixTransport transport(options());
    Handler handler([&](const MSG_Message*) { journal.add(std::to_string(read(transport, "nested"))); });
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(journal.await(1), ElementsAre("0"));
    transport.end();
}

TEST_F(NestedRequest, IsWhatTheDeliveryThreadMakesAndNoOther) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    UnixTransport transport(options(500ms));
    Handler busy([&](const MSG_Message*) {
        entered.set_value();
        mayLeave.get_future().wait();
    });
    Handler provider([&, caller = std::this_thread::get_id()](const MSG_Message*) {
        journal.add(std::this_thread::get_id() == caller ? "on the caller's thread" : "on the delivery thread");
    });
    busy.addTo(transport, changed);
    provider.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    entered.get_future().wait();
    // No answer: so the caller surely waits while the ask is there.
    peer.onRequest([this](ScriptedPeer::Connection&, const Frame&) { peer.awaitDelivery()->send(ask(1)); });
    EXPECT_EQ(read(transport), TRANSPORT_TIMED_OUT);
    mayLeave.set_value();
    EXPECT_THAT(journal.await(1), ElementsAre("on the delivery thread"));
    transport.end();
}

TEST_F(NestedRequest, MeetsTheAskThatItsOwnProcessMustAnswer) {
    askBeforeAnswering();
    UnixTransport transport(options());
    Handler consumer([&](const MSG_Message*) {
        journal.add("in");
        EXPECT_EQ(read(transport, "nested"), TRANSPORT_OK);
        journal.add("out");
    });
    Handler provider([&](const MSG_Message* message) {
        journal.add("asked");
        answerAsk(message, "fine");
    });
    consumer.addTo(transport, changed);
    provider.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(journal.await(3), ElementsAre("in", "asked", "out"));
    ASSERT_THAT(peer.received(ANSWER), SizeIs(1));
    EXPECT_EQ(textOf(peer.received(ANSWER)[0].answer(0)), "fine");
    transport.end();
}

TEST_F(NestedRequest, MeetsItAlsoFromInsideAProvidersHandler) {
    UnixTransport transport(options());
    peer.onRequest([this](ScriptedPeer::Connection& connection, const Frame& frame) {
        peer.awaitDelivery()->send(ask(2, "inner"));
        peer.await(ANSWER, 1);
        ScriptedPeer::answer(connection, frame);
    });
    Handler provider([&](const MSG_Message* message) {
        ConfigIF::DynamicValidateReq request;
        request.ParseFromArray(MSG_GetPayload(message), static_cast<int>(MSG_GetPayloadBytes(message)));
        if (request.client_name() == "outer") {
            EXPECT_EQ(read(transport), TRANSPORT_OK);
        }
        answerAsk(message, request.client_name());
    });
    provider.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(ask(1, "outer"));
    const auto answers = peer.await(ANSWER, 2);
    ASSERT_THAT(answers, SizeIs(2));
    EXPECT_EQ(answers[0].correlation(), 2U);
    EXPECT_EQ(textOf(answers[0].answer(0)), "inner");
    EXPECT_EQ(answers[1].correlation(), 1U);
    EXPECT_EQ(textOf(answers[1].answer(0)), "outer");
    transport.end();
}

TEST_F(NestedRequest, LeavesNotificationsUntilTheHandlerHasReturned) {
    peer.onRequest([this](ScriptedPeer::Connection& connection, const Frame& frame) {
        const auto delivery = peer.awaitDelivery();
        delivery->send(notification("second", 2));
        delivery->send(notification("third", 3));
        delivery->send(ask(1));
        peer.await(ANSWER, 1);
        ScriptedPeer::answer(connection, frame);
    });
    UnixTransport transport(options());
    Handler consumer([&](const MSG_Message* message) {
        journal.add("in " + valueOf(message));
        if (valueOf(message) == "first") {
            EXPECT_EQ(read(transport), TRANSPORT_OK);
        }
        journal.add("out " + valueOf(message));
    });
    consumer.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("first", 1));
    EXPECT_THAT(journal.await(6),
                ElementsAre("in first", "out first", "in second", "out second", "in third", "out third"));
    transport.end();
}

TEST_F(NestedRequest, LosesNoNotificationWhenTooManyArriveMeanwhile) {
    constexpr std::uint64_t flood = 6000;
    ScriptedPeer other(directory.path() + "/Other");
    peer.onRequest([&](ScriptedPeer::Connection& connection, const Frame& frame) {
        const auto delivery = peer.awaitDelivery();
        for (std::uint64_t i = 2; i <= flood; ++i) delivery->send(notification("flood", i));
        // Meanwhile the client has turns enough to connect anew, which it must not do before it has delivered the rest.
        for (std::size_t turn = 1; turn <= 300; ++turn) {
            other.awaitDelivery()->send(ask(turn));
            other.await(ANSWER, turn);
        }
        ScriptedPeer::answer(connection, frame);
    });
    // Soon enough that a connection made before the handler returns would be seen: it would not know what is delivered.
    TransportOptions hasty = options();
    hasty.firstPause = 1ms;
    UnixTransport transport(hasty);
    Handler consumer([&](const MSG_Message* message) {
        if (valueOf(message) == "first") {
            EXPECT_EQ(read(transport), TRANSPORT_OK);
        }
        if (valueOf(message) == "last") journal.add("last");
    });
    consumer.addTo(transport, changed);
    transport.addRemoteEndpoint("Other", -1);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("first", 1));
    // However far the reading went before the handler returned, the second connection says what was delivered of it.
    const auto again = peer.awaitDelivery(2);
    ASSERT_NE(again, nullptr) << "the queue had no bound";
    const std::uint64_t delivered = peer.awaitHellos(DELIVERY, 2).at(1).delivered();
    EXPECT_GE(delivered, 4096U);
    EXPECT_LT(delivered, flood);
    again->send(notification("last", flood));
    EXPECT_THAT(journal.await(1), ElementsAre("last"));
    transport.end();
}

/// What waits for a handler that waits itself.
class QueueOfNotifications : public NestedRequest {
protected:
    /// \return up to which number the client has handled them when \p fitting notifications of \p text and one more
    /// have come behind the first.
    std::uint64_t delivered(std::uint64_t fitting, const std::string& text, const TransportOptions& options) {
        ScriptedPeer other(directory.path() + "/Other");
        peer.onRequest([&](ScriptedPeer::Connection& connection, const Frame& frame) {
            const auto delivery = peer.awaitDelivery();
            std::uint64_t number = 2;
            for (; number < 2 + fitting; ++number) delivery->send(notification(text, number));
            delivery->send(ask(1));
            EXPECT_THAT(peer.await(ANSWER, 1), SizeIs(1)) << "so many may wait";
            delivery->send(notification(text, number));
            // With the second of these turns it has been read.
            for (std::size_t turn = 1; turn <= 2; ++turn) {
                other.awaitDelivery()->send(ask(turn));
                other.await(ANSWER, turn);
            }
            ScriptedPeer::answer(connection, frame);
        });
        UnixTransport transport(options);
        Handler consumer([&](const MSG_Message* message) {
            if (valueOf(message) != "first") return;
            EXPECT_EQ(read(transport), TRANSPORT_OK);
        });
        consumer.addTo(transport, changed);
        transport.addRemoteEndpoint("Other", -1);
        transport.addRemoteEndpoint("ConfigSrvc", -1);
        peer.awaitDelivery()->send(notification("first", 1));
        const std::vector<Hello> hellos = peer.awaitHellos(DELIVERY, 2);
        transport.end();
        return hellos.size() < 2 ? 0 : hellos[1].delivered();
    }
};

TEST_F(QueueOfNotifications, HoldsAsManyAsItsLimitSaysAndLosesNone) {
    EXPECT_EQ(delivered(4096, "", options()), 1U + 4096);
}

TEST_F(QueueOfNotifications, HoldsAsManyBytesAsAFrameMayHaveAndLosesNone) {
    const std::string text(240, 'x');
    TransportOptions small = options();
    small.frameLimit = 4 * notification(text, 2).payload().size();
    EXPECT_EQ(delivered(4, text, small), 1U + 4);
}

TEST_F(NestedRequest, NestsOnlySoDeep) {
    constexpr std::size_t deepest = 16;
    // Each request is answered once the ask that comes with it is.
    peer.onRequest([this](ScriptedPeer::Connection& connection, const Frame& frame) {
        const std::size_t depth = peer.received(REQUEST).size();
        peer.awaitDelivery()->send(ask(depth + 1));
        peer.await(ANSWER, deepest + 1 - depth);
        ScriptedPeer::answer(connection, frame);
    });
    UnixTransport transport(options());
    Handler provider([&](const MSG_Message* message) {
        EXPECT_EQ(read(transport), TRANSPORT_OK);
        answerAsk(message, "fine");
    });
    provider.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(ask(1));
    const std::vector<Frame> answers = peer.await(ANSWER, deepest + 1);
    ASSERT_THAT(answers, SizeIs(deepest + 1));
    EXPECT_EQ(answers[0].correlation(), deepest + 1);
    EXPECT_EQ(answers[0].answer_size(), 0) << "it came one too deep";
    for (std::size_t i = 1; i <= deepest; ++i) {
        EXPECT_EQ(answers[i].correlation(), deepest + 1 - i);
        EXPECT_EQ(answers[i].answer_size(), 1);
    }
    transport.end();
}

TEST_F(NestedRequest, EndsAtItsDeadline) {
    peer.onRequest(nullptr);
    UnixTransport transport(options(1s));
    Handler handler([&](const MSG_Message*) { journal.add(std::to_string(read(transport))); });
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(journal.await(1), ElementsAre(std::to_string(TRANSPORT_TIMED_OUT)));
    transport.end();
}

TEST_F(NestedRequest, EndsWithTheTransport) {
    peer.onRequest(nullptr);
    UnixTransport transport(options());
    Handler handler([&](const MSG_Message*) { journal.add(std::to_string(read(transport))); });
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    ASSERT_THAT(peer.await(REQUEST, 1), SizeIs(1));
    transport.end();
    EXPECT_THAT(journal.await(1), ElementsAre(std::to_string(TRANSPORT_ENDED)));
    transport.end();
}

TEST_F(NestedRequest, ReconnectsTheDeliveriesItselfWhenTheServiceCameBackMeanwhile) {
    TransportOptions patient = options();
    patient.firstPause = 1h;
    patient.longestPause = 1h;
    UnixTransport transport(patient);
    Handler handler([&](const MSG_Message*) {
        peer.stop();
        peer.start();
        journal.add(std::to_string(read(transport)));
        journal.add(std::to_string(peer.connections(DELIVERY)));
    });
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(journal.await(2), ElementsAre("0", "2"));
    transport.end();
}

TEST_F(NestedRequest, ReconnectsThemAlsoWhileNotificationsWaitForItsHandler) {
    peer.onRequest([this](ScriptedPeer::Connection& connection, const Frame& frame) {
        const auto delivery = peer.awaitDelivery();
        Frame waiting = notification("second", 2);
        waiting.set_as_of(47);
        delivery->send(waiting);
        delivery->send(ask(1));
        peer.await(ANSWER, 1);
        ScriptedPeer::answer(connection, frame);
    });
    UnixTransport transport(options());
    Handler handler([&](const MSG_Message* message) {
        journal.add(valueOf(message));
        if (valueOf(message) != "first") return;
        EXPECT_EQ(read(transport), TRANSPORT_OK);
        peer.stop();
        peer.onRequest(&ScriptedPeer::answer);
        peer.start();
        journal.add(std::to_string(read(transport)));
        journal.add(std::to_string(peer.connections(DELIVERY)));
    });
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("first", 1));
    EXPECT_THAT(journal.await(4), ElementsAre("first", "0", "2", "second"));
    const Hello again = peer.awaitHellos(DELIVERY, 2).at(1);
    ASSERT_EQ(again.seen_size(), 1) << "a state without what waits must not pass for this one";
    EXPECT_EQ(again.seen(0).number(), 47U);
    transport.end();
}

TEST_F(NestedRequest, MayNameEndpointsAndAddHandlers) {
    ScriptedPeer other(directory.path() + "/Other");
    UnixTransport transport(options());
    Handler late([&](const MSG_Message* message) { journal.add("late " + valueOf(message)); });
    Handler handler([&](const MSG_Message*) {
        if (late.addTo(transport, "ConfigIF.OptionsChangedNtfy") != TRANSPORT_OK) journal.add("no handler");
        if (transport.addRemoteEndpoint("Other", -1) != TRANSPORT_OK) journal.add("no endpoint");
        journal.add(std::to_string(read(transport, "x", "Other")));
        journal.add(std::to_string(other.connections(DELIVERY)));
    });
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    ASSERT_THAT(journal.await(2), ElementsAre("0", "1"));
    Frame frame = notification("y", 1);
    frame.set_message_id(ConfigIF::messageId("ConfigIF.OptionsChangedNtfy"));
    other.awaitDelivery()->send(frame);
    EXPECT_THAT(journal.await(3), ElementsAre("0", "1", "late y"));
    transport.end();
}

TEST_F(NestedRequest, IsPossibleForTheObserverToo) {
    UnixTransport* self = nullptr;
    TransportOptions observed = options();
    observed.onConnection = [&](const std::string&, bool connected) {
        if (connected) journal.add(std::to_string(read(*self)));
    };
    UnixTransport transport(observed);
    self = &transport;
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_THAT(journal.await(1), ElementsAre("0"));
    transport.end();
}

TEST_F(NestedRequest, DoesNotWaitForTheHandlerThatWaitsForIt) {
    // The handler waits for another thread, whose request finds the service back but the deliveries not: the delivery
    // thread cannot connect them now.
    std::promise<int> outcome;
    std::shared_future<int> answered = outcome.get_future().share();
    UnixTransport transport(options(2s));
    Handler handler([&](const MSG_Message*) {
        peer.stop();
        peer.start();
        std::thread other([&] { outcome.set_value(read(transport)); });
        answered.wait();
        other.join();
    });
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_EQ(answered.get(), TRANSPORT_OK);
    transport.end();
}

}  // namespace
