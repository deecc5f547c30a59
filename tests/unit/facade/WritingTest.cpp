#include <limits>

#include "ManagerFixture.h"

namespace {

using namespace ManagerTest;

class Writing : public Manager {
protected:
    List lastSent() const {
        const auto value = transport.requests<ConfigIF::WriteReq>().back().inst_value().value();
        return List(value.begin(), value.end());
    }
    bool lastWasAwaited() const { return transport.records().back().awaited; }
    void refuseWrites() {
        ConfigIF::WriteRsp reply;
        reply.mutable_result()->set_error(CommonIF::ERROR_OUT_OF_RANGE);
        reply.mutable_result()->add_message("at most 100");
        transport.answerWith(reply);
    }

    ConfigResult result;
};

// The twenty writers: what each sends. Registrations are made before, so that the write is the last request.

TEST_F(Writing, EveryFormWithAResultSendsItsTextAndWaits) {
    const std::string text = "text";
    const List list{"a", "b"};
    manager.setConfigVar(brightness, list, &result);
    const auto expectSent = [this](bool accepted, const List& value) {
        EXPECT_TRUE(accepted);
        EXPECT_EQ(lastSent(), value);
        EXPECT_TRUE(lastWasAwaited());
        EXPECT_EQ(stepsOf(transport.requests<ConfigIF::WriteReq>().back().inst_value().inst()),
                  (Steps{{"display", 0}, {"brightness", 0}}));
    };

    expectSent(manager.setConfigVar(brightness, list, &result), list);
    expectSent(manager.setConfigVar(brightness, text, &result), List{"text"});
    expectSent(manager.setConfigVar(brightness, "chars", &result), List{"chars"});
    expectSent(manager.setConfigVar(brightness, true, &result), List{"True"});
    expectSent(manager.setConfigVar(brightness, false, &result), List{"False"});
    expectSent(manager.setConfigVar(brightness, -42, &result), List{"-42"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, list, &result), list);
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, text, &result), List{"text"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, "chars", &result), List{"chars"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, true, &result), List{"True"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, false, &result), List{"False"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, 0, &result), List{"0"});
}

TEST_F(Writing, EveryFormWithoutAResultSendsItsTextAndDoesNotWait) {
    const std::string text = "text";
    const List list{"a", "b"};
    const auto expectSent = [this](bool taken, const List& value) {
        EXPECT_TRUE(taken);
        EXPECT_EQ(lastSent(), value);
        EXPECT_FALSE(lastWasAwaited());
        EXPECT_EQ(stepsOf(transport.requests<ConfigIF::WriteReq>().back().inst_value().inst()),
                  (Steps{{"display", 0}, {"brightness", 0}}));
    };

    expectSent(manager.setConfigVar(brightness, list), list);
    expectSent(manager.setConfigVar(brightness, text), List{"text"});
    expectSent(manager.setConfigVar(brightness, "chars"), List{"chars"});
    expectSent(manager.setConfigVar(brightness, true), List{"true"});
    expectSent(manager.setConfigVar(brightness, false), List{"false"});
    expectSent(manager.setConfigVar(brightness, -42), List{"-42"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, list), list);
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, text), List{"text"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, "chars"), List{"chars"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, true), List{"true"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, false), List{"false"});
    expectSent(manager.setConfigVar("Display", 0, "Brightness", 0, 0), List{"0"});
}

TEST_F(Writing, ANullResultStillWaits) {
    EXPECT_TRUE(manager.setConfigVar(brightness, "70", nullptr));

    EXPECT_TRUE(transport.records().front().awaited);
    EXPECT_EQ(manager.getConfigVar(brightness), "70");
}

TEST_F(Writing, IntsAreDecimalWhateverTheirSize) {
    manager.setConfigVar(brightness, std::numeric_limits<int>::min());
    EXPECT_EQ(lastSent(), List{"-2147483648"});
    manager.setConfigVar(brightness, std::numeric_limits<int>::max(), &result);
    EXPECT_EQ(transport.requests<ConfigIF::WriteReq>().back().inst_value().value(0), "2147483647");
}

TEST_F(Writing, CharsEndAtTheirTerminatorAndStringsKeepTheirZeros) {
    manager.setConfigVar(brightness, "ab\0cd");
    EXPECT_EQ(lastSent(), List{"ab"});
    manager.setConfigVar(brightness, std::string("ab\0cd", 5));
    EXPECT_EQ(lastSent(), List{std::string("ab\0cd", 5)});
}

TEST_F(Writing, AnEmptyListIsSentAsItIs) {
    EXPECT_TRUE(manager.setConfigVar(brightness, List{}, &result));
    EXPECT_EQ(transport.requests<ConfigIF::WriteReq>().back().inst_value().value_size(), 0);
    EXPECT_TRUE(manager.setConfigVar(brightness, List{}));

    EXPECT_EQ(lastSent(), List{});
}

TEST_F(Writing, AnAcceptedWriteWithAResultIsReadBackWithoutAskingTheService) {
    EXPECT_TRUE(manager.setConfigVar(brightness, "80", &result));

    EXPECT_EQ(manager.getConfigVar(brightness), "80");
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U);
}

TEST_F(Writing, AnAcceptedWriteLeavesTheDefaultFlag) {
    answerRead({"70"}, true);
    manager.getConfigVar(brightness);

    EXPECT_TRUE(manager.setConfigVar(brightness, "80", &result));

    EXPECT_TRUE(manager.isDefault("display", 0, "brightness", 0));
}

TEST_F(Writing, AWriteWithoutAResultLeavesTheCachedValue) {
    answerRead({"70"});
    manager.getConfigVar(brightness);

    EXPECT_TRUE(manager.setConfigVar(brightness, "80"));

    EXPECT_EQ(manager.getConfigVar(brightness), "70");
}

TEST_F(Writing, AWriteWithoutAResultOfAnUnreadVariableCachesNothing) {
    EXPECT_TRUE(manager.setConfigVar(brightness, "80"));

    EXPECT_FALSE(isCached(manager, brightness));
}

TEST_F(Writing, ARefusedWriteFillsTheResultAndLeavesTheCache) {
    answerRead({"70"});
    manager.getConfigVar(brightness);
    refuseWrites();

    EXPECT_FALSE(manager.setConfigVar(brightness, 200, &result));

    EXPECT_EQ(result.m_error, CFG_ERROR_OUT_OF_RANGE);
    EXPECT_EQ(result.m_messages, List{"at most 100"});
    EXPECT_EQ(manager.getConfigVar(brightness), "70");
}

TEST_F(Writing, AnUnansweredWriteLeavesResultAndCache) {
    answerRead({"70"});
    manager.getConfigVar(brightness);
    transport.failRequests("ConfigIF.WriteReq", 3);
    result.m_error = CFG_ERROR_BUSY;

    EXPECT_FALSE(manager.setConfigVar(brightness, "80", &result));
    EXPECT_FALSE(manager.setConfigVar(brightness, "80"));

    EXPECT_EQ(result.m_error, CFG_ERROR_BUSY);
    EXPECT_EQ(manager.getConfigVar(brightness), "70");
}

TEST_F(Writing, AWriteToAnotherServiceLeavesTheCacheAlone) {
    EXPECT_TRUE(manager.setConfigVar(brightnessOf7, "80", &result));
    EXPECT_TRUE(manager.setConfigVar(brightnessOf7, "80"));

    EXPECT_EQ(asked<ConfigIF::WriteReq>(), 2U);
    EXPECT_EQ(stepsOf(transport.requests<ConfigIF::WriteReq>()[0].inst_value().inst()),
              (Steps{{"cfg", 7}, {"display", 0}, {"brightness", 0}}));
    EXPECT_EQ(manager.removeVars(""), 0U);
}

TEST_F(Writing, AWriteUnderTheLinksOwnNamespaceIsCachedUnderZero) {
    EXPECT_TRUE(managerOf4.setConfigVar(brightnessOf4, "80", &result));

    EXPECT_EQ(managerOf4.getConfigVar(brightness), "80");
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U);
}

}  // namespace
