// Each value says which change it comes from.
#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

struct Revision : ::testing::Test {
    CoreBench bench;
    Peer peer{bench, "p"};

    ConfigIF::WriteRsp write(const std::string& value) {
        return peer.ask<ConfigIF::WriteRsp>(writeRequest("display.brightness", {value}));
    }
    ConfigIF::ResetValueRsp reset() {
        ConfigIF::ResetValueReq request;
        request.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
        *request.mutable_inst() = inst("display.brightness");
        return peer.ask<ConfigIF::ResetValueRsp>(request);
    }
    ConfigIF::ReadRsp read() { return peer.read("display.brightness"); }
};

TEST_F(Revision, OfAValueThatNeverChangedIsZero) {
    EXPECT_TRUE(read().has_revision());
    EXPECT_EQ(read().revision().change(), 0U);
    EXPECT_NE(read().revision().timeline(), 0U);
    EXPECT_FALSE(peer.read("no.such").has_revision());
}

TEST_F(Revision, OfAnAcceptedWriteIsThatOfTheValueWhichItLeftBehind) {
    const auto first = write("1");
    EXPECT_EQ(first.revision().change(), bench.core->changes());
    EXPECT_EQ(first.revision().timeline(), read().revision().timeline());
    peer.write("display.on", {"false"});
    EXPECT_EQ(write("1").revision().change(), first.revision().change()) << "an equal value changes nothing";
    EXPECT_FALSE(write("101").has_revision());
    const auto last = reset();
    EXPECT_EQ(last.revision().change(), bench.core->changes());
    EXPECT_EQ(reset().revision().change(), last.revision().change());
    EXPECT_EQ(read().revision().change(), bench.core->changes());
}

TEST_F(Revision, OfARefusedResetIsNotTold) {
    write("1");
    bench.store.failWith("disk full");
    const auto refused = reset();
    EXPECT_EQ(refused.error(), CommonIF::ERROR_STORAGE);
    EXPECT_FALSE(refused.has_revision());
}

TEST_F(Revision, IsCarriedByNotificationsAndQuestions) {
    Peer provider(bench, "provider");
    peer.registerFor("display", valueChanged);
    provider.registerFor("display", onChange);
    const ConnectionId connection = peer.post(writeRequest("display.brightness", {"5"}));
    const auto question = provider.question();
    ASSERT_TRUE(question);
    ConfigIF::OnChangeReq apply;
    ASSERT_TRUE(apply.ParseFromString(question->payload()));
    EXPECT_EQ(apply.revision().change(), bench.core->changes());
    provider.answer(*question);
    const auto notification = peer.notification();
    ASSERT_TRUE(notification);
    ConfigIF::ConfigChangedNtfy changed;
    ASSERT_TRUE(changed.ParseFromString(notification->payload()));
    EXPECT_EQ(changed.revision().change(), bench.core->changes());
    EXPECT_EQ(changed.revision().timeline(), apply.revision().timeline());
    EXPECT_EQ(peer.replyTo<ConfigIF::WriteRsp>(connection)->revision().change(), bench.core->changes());
}

TEST_F(Revision, OfAStateThatWasSetBackIsNotComparedWithTheOneBefore) {
    write("1");
    const auto copy = bench.store;
    const auto lost = write("2");
    bench.store = copy;
    bench.restart();
    // Numbers of the lost state are higher, so that what was announced now would seem older than what is cached.
    EXPECT_LT(read().revision().change(), lost.revision().change());
    EXPECT_NE(read().revision().timeline(), lost.revision().timeline());
    const auto second = write("2");
    EXPECT_EQ(read().revision().timeline(), second.revision().timeline());
}

TEST_F(Revision, OfAnOptionsChangeThatForcesTheValueIsANewOne) {
    peer.registerFor("display.mode", valueChanged);
    EXPECT_EQ(peer.write("display.mode", {"night"}).error(), CommonIF::ERROR_NONE);
    peer.events();
    EXPECT_EQ(peer.setOptions("display.mode", {"day", "dusk"}), CommonIF::ERROR_NONE);
    const auto notification = peer.notification();
    ASSERT_TRUE(notification);
    ConfigIF::ConfigChangedNtfy changed;
    ASSERT_TRUE(changed.ParseFromString(notification->payload()));
    EXPECT_EQ(changed.revision().change(), bench.core->changes());
}

}  // namespace
}  // namespace ServiceTest
