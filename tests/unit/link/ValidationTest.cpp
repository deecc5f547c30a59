#include "LinkFixture.h"

namespace {

using namespace LinkTest;
using namespace AppConfig;

class LinkValidation : public Link {};

TEST_F(LinkValidation, IsValidAsksAndFillsTheResult) {
    ConfigIF::ValidateRsp reply;
    reply.mutable_result()->set_error(CommonIF::ERROR_NONE);
    reply.mutable_result()->add_message("fine");
    transport.answerWith(reply);
    ConfigResult result;
    result.addResultMessage("old");

    EXPECT_TRUE(linkOf4.isValid(brightness, {"a", "b"}, &result));

    EXPECT_EQ(result.m_messages, List{"fine"});
    const auto request = transport.requests<ConfigIF::ValidateReq>().at(0);
    EXPECT_EQ(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(stepsOf(request.inst_value().inst()), brightnessStepsIn4);
    EXPECT_EQ(request.inst_value().value_size(), 2);
    EXPECT_EQ(transport.types(), Names{"ValidateReq"}) << "nothing is registered";
}

TEST_F(LinkValidation, IsValidByPartsIsTheSameInNamespaceZero) {
    EXPECT_TRUE(link.isValid("Display", 0, "Brightness", 0, {"a"}, nullptr));
    EXPECT_TRUE(link.isValid(brightness, {"a"}, nullptr));
    EXPECT_TRUE(linkOf4.isValid("Display", 0, "Brightness", 0, {"a"}, nullptr));

    EXPECT_EQ(transport.records()[0].bytes, transport.records()[1].bytes);
    EXPECT_EQ(stepsOf(transport.requests<ConfigIF::ValidateReq>().at(2).inst_value().inst()), brightnessStepsIn4);
}

TEST_F(LinkValidation, IsValidIsFalseWhenRefused) {
    ConfigIF::ValidateRsp reply;
    reply.mutable_result()->set_error(CommonIF::ERROR_TOO_LONG);
    transport.answerWith(reply);
    ConfigResult result;

    EXPECT_FALSE(link.isValid(brightness, {"a"}, &result));
    EXPECT_FALSE(link.isValid(brightness, {"a"}, nullptr));
    EXPECT_EQ(result.m_error, CFG_ERROR_TOO_LONG);

    transport.answerWith("ConfigIF.ValidateRsp", std::string("\x0A\x03") + unknownNumberIn(1));
    EXPECT_FALSE(link.isValid(brightness, {"a"}, &result));
    EXPECT_EQ(result.m_error, CFG_ERROR_GENERAL);
}

TEST_F(LinkValidation, UnansweredIsValidLeavesTheResultUntouched) {
    transport.failRequests("", 3);
    ConfigResult result;
    result.m_error = CFG_ERROR_BUSY;

    EXPECT_FALSE(link.isValid(brightness, {"a"}, &result));
    EXPECT_FALSE(linkWithoutTransport.isValid(brightness, {"a"}, &result));

    EXPECT_EQ(result.m_error, CFG_ERROR_BUSY);
}

}  // namespace
