// What the service asks reaches the handlers once, and what they say goes back once.
#include <gmock/gmock.h>

#include <future>
#include <stdexcept>

#include "Handlers.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class Question : public TransportFixture {
protected:
    Journal journal;
};

TEST_F(Question, IsNotBroughtFromAServiceThatHasGoneNorIsWhatCameBehindIt) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    Handler busy([&](const MSG_Message* message) {
        journal.add(valueOf(message));
        if (valueOf(message) != "x") return;
        entered.set_value();
        mayLeave.get_future().wait();
    });
    Handler provider([&](const MSG_Message*) { journal.add("asked"); });
    UnixTransport transport(options());
    busy.addTo(transport, changed);
    provider.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto first = peer.awaitDelivery();
    first->send(notification("x", 1));
    entered.get_future().wait();
    first->send(notification("handled", 2));
    first->send(ask(1));
    first->send(notification("asked for by then", 3));
    peer.hangUp();
    mayLeave.set_value();
    const auto second = peer.awaitDelivery(2);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(peer.awaitHellos(DELIVERY, 2).at(1).delivered(), 2U) << "so it is asked again";
    second->send(notification("y", 4));
    EXPECT_THAT(journal.await(3), ElementsAre("x", "handled", "y"));
    transport.end();
}

TEST_F(Question, IsAnsweredOnceWithEverythingThatItsHandlersSaid) {
    Handler one([](const MSG_Message* message) { EXPECT_EQ(answerAsk(message, "one"), 0); });
    Handler two([](const MSG_Message* message) { EXPECT_EQ(answerAsk(message, "two"), 0); });
    UnixTransport transport(options());
    one.addTo(transport, validate);
    two.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    connection->send(ask(77));
    connection->send(ask(78));
    const auto answers = peer.await(ANSWER, 2);
    ASSERT_THAT(answers, SizeIs(2));
    EXPECT_EQ(answers[0].correlation(), 77U);
    EXPECT_EQ(answers[1].correlation(), 78U);
    ASSERT_EQ(answers[0].answer_size(), 2);
    EXPECT_EQ(textOf(answers[0].answer(0)), "one");
    EXPECT_EQ(textOf(answers[0].answer(1)), "two");
}

TEST_F(Question, IsAnsweredWithoutAPayloadWhenNobodyHandlesIt) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(ask(5));
    const auto answers = peer.await(ANSWER, 1);
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0].answer_size(), 0);
}

TEST_F(Question, TakesNoAnswerAfterTheHandlersHaveReturned) {
    MSG_Address address = 0;
    std::string owner;
    Handler handler([&](const MSG_Message* message) {
        address = MSG_GetSender(message);
        journal.add("asked");
    });
    UnixTransport transport(options());
    handler.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(ask(5));
    ASSERT_THAT(peer.await(ANSWER, 1), SizeIs(1));
    const std::string name = transport.localEndpoint();
    EXPECT_NE(MSG_SendMsg(name.c_str(), address, MSG_Create(1, "x", 1, name.c_str(), 0)), 0);
    EXPECT_NE(MSG_SendMsg(name.c_str(), 0, MSG_Create(1, "x", 1, name.c_str(), 0)), 0);
}

TEST_F(Question, IsAnsweredWithoutAPayloadWhenOneHandlerThrows) {
    Handler calm([](const MSG_Message* message) { answerAsk(message, "fine"); });
    Handler angry([](const MSG_Message* message) {
        answerAsk(message, "half");
        throw std::runtime_error("no good");
    });
    UnixTransport transport(options());
    calm.addTo(transport, validate);
    angry.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    testing::internal::CaptureStderr();
    connection->send(ask(5));
    const auto answers = peer.await(ANSWER, 1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("ConfigIF.DynamicValidateReq"));
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0].answer_size(), 0) << "one provider's consent must not hide the other's failure";
}

TEST_F(Question, IsAnsweredWithoutAPayloadWhenTheAnswerIsTooLarge) {
    TransportOptions small = options();
    small.frameLimit = 1000;
    Handler wordy([](const MSG_Message* message) { answerAsk(message, std::string(2000, 'x')); });
    UnixTransport transport(small);
    wordy.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = peer.awaitDelivery();
    testing::internal::CaptureStderr();
    connection->send(ask(5));
    const auto answers = peer.await(ANSWER, 1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("too large"));
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0].answer_size(), 0);
}

}  // namespace
