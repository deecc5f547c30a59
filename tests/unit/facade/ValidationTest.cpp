#include "ManagerFixture.h"

namespace {

using namespace ManagerTest;

class Validation : public Manager {};

TEST_F(Validation, DoesNotChangeWhatIsRead) {
    answerRead({"70"});
    manager.getConfigVar(brightness);
    ConfigResult result;

    EXPECT_TRUE(manager.isValid(brightness, {"80"}, &result));

    EXPECT_EQ(manager.getConfigVar(brightness), "70");
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
}

TEST_F(Validation, BothFormsSendTheSameRequest) {
    EXPECT_TRUE(manager.isValid("Display", 0, "Brightness", 0, {"80", "81"}, nullptr));
    EXPECT_TRUE(manager.isValid(brightness, {"80", "81"}, nullptr));

    ASSERT_EQ(transport.records().size(), 2U);
    EXPECT_EQ(transport.records()[0].type, "ConfigIF.ValidateReq");
    EXPECT_EQ(transport.records()[0].bytes, transport.records()[1].bytes);
    EXPECT_EQ(transport.requests<ConfigIF::ValidateReq>()[0].inst_value().value_size(), 2);
}

TEST_F(Validation, ARefusalIsFalseWithTheServicesAnswer) {
    ConfigIF::ValidateRsp reply;
    reply.mutable_result()->set_error(CommonIF::ERROR_TOO_LONG);
    reply.mutable_result()->add_message("at most 32");
    transport.answerWith(reply);
    ConfigResult result;

    EXPECT_FALSE(manager.isValid(brightness, {"80"}, &result));
    EXPECT_FALSE(manager.isValid("display", 0, "brightness", 0, {"80"}, &result));

    EXPECT_EQ(result.m_error, CFG_ERROR_TOO_LONG);
    EXPECT_EQ(result.m_messages, List{"at most 32"});
    EXPECT_FALSE(isCached(manager, brightness));
}

TEST_F(Validation, NoAnswerIsFalseAndLeavesTheResult) {
    transport.failRequests("", 3);
    ConfigResult result;
    result.m_error = CFG_ERROR_BUSY;

    EXPECT_FALSE(manager.isValid(brightness, {"80"}, &result));

    EXPECT_EQ(result.m_error, CFG_ERROR_BUSY);
}

}  // namespace
