#include "LinkFixture.h"

namespace {

using namespace LinkTest;
using Types = std::vector<int>;

class LinkValues : public Link {
protected:
    void answerRead(const List& value, bool isDefault) {
        ConfigIF::ReadRsp reply;
        for (const std::string& text : value) reply.add_value(text);
        reply.set_is_default(isDefault);
        transport.answerWith(reply);
    }

    void answerWrite(CommonIF::eErrorType error) {
        ConfigIF::WriteRsp reply;
        reply.mutable_result()->set_error(error);
        reply.mutable_result()->set_result_flag(true);
        reply.mutable_result()->add_message("message");
        reply.mutable_result()->set_server_context("context");
        reply.mutable_result()->set_client_name("client");
        transport.answerWith(reply);
    }

    const ConfigVar inNamespace2{2, "display", 0, "brightness", 0};
    const Steps stepsIn2 = {{"cfg", 2}, {"display", 0}, {"brightness", 0}};
};

TEST_F(LinkValues, DetermineNamespacePrefersTheLinks) {
    EXPECT_EQ(link.determineNamespace(brightness), 0);
    EXPECT_EQ(link.determineNamespace(inNamespace2), 2);
    EXPECT_EQ(linkOf4.determineNamespace(brightness), 4);
    EXPECT_EQ(linkOf4.determineNamespace(inNamespace2), 4);
}

TEST_F(LinkValues, AReadCarriesNameRoleAndVariableAndReturnsTheAnswer) {
    answerRead({"a", "b"}, true);
    bool isDefault = false;

    EXPECT_EQ(linkOf4.getConfigVar(brightness, isDefault), (List{"a", "b"}));

    EXPECT_TRUE(isDefault);
    const auto request = transport.requests<ConfigIF::ReadReq>().at(0);
    EXPECT_EQ(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(request.role(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(stepsOf(request.inst()), brightnessStepsIn4);
    EXPECT_EQ(transport.records()[0].endpoint, "node4/ConfigSrvc");
    EXPECT_TRUE(transport.records()[0].awaited);
}

TEST_F(LinkValues, ALinkOfNamespaceZeroSendsTheVariablesOwn) {
    bool isDefault = false;

    link.getConfigVar(brightness, isDefault);
    link.getConfigVar(inNamespace2, isDefault);

    EXPECT_EQ(stepsOf(transport.requests<ConfigIF::ReadReq>().at(0).inst()), brightnessSteps);
    EXPECT_EQ(stepsOf(transport.requests<ConfigIF::ReadReq>().at(1).inst()), stepsIn2);
}

TEST_F(LinkValues, AReadSaysWhenTheValueIsNotTheDefault) {
    answerRead({"a"}, false);
    bool isDefault = true;

    link.getConfigVar(brightness, isDefault);

    EXPECT_FALSE(isDefault);
}

TEST_F(LinkValues, ASuccessfulReadRegistersForChangesOnce) {
    answerRead({"a"}, false);
    bool isDefault = false;

    link.getConfigVar(brightness, isDefault);
    link.getConfigVar(brightness, isDefault);

    EXPECT_EQ(transport.types(), (Names{"ReadReq", "RegisterClientCallbackReq", "ReadReq"}));
    EXPECT_EQ(registeredTypes(transport), Types{3});
    EXPECT_EQ(transport.requests<ConfigIF::RegisterClientCallbackReq>().at(0).var_name(), "display.brightness");
}

TEST_F(LinkValues, AReadOfAnEmptyValueIsASuccess) {
    answerRead({}, true);
    bool isDefault = false;

    EXPECT_TRUE(link.getConfigVar(brightness, isDefault).empty());

    EXPECT_TRUE(isDefault);
    EXPECT_EQ(registeredTypes(transport), Types{3});
}

TEST_F(LinkValues, ARefusedReadIsEmptyAndLeavesTheFlag) {
    ConfigIF::ReadRsp reply;
    reply.set_error(CommonIF::ERROR_ACCESS_DENIED);
    reply.add_value("secret");
    reply.set_is_default(false);
    transport.answerWith(reply);
    bool isDefault = true;

    EXPECT_TRUE(link.getConfigVar(brightness, isDefault).empty());

    EXPECT_TRUE(isDefault);
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkValues, AReadWithAnErrorNumberThatNobodyKnowsHasFailed) {
    ConfigIF::ReadRsp reply;
    reply.add_value("a");
    transport.answerWith("ConfigIF.ReadRsp", reply.SerializeAsString() + unknownNumberIn(1));
    bool isDefault = true;

    EXPECT_TRUE(link.getConfigVar(brightness, isDefault).empty());

    EXPECT_TRUE(isDefault);
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkValues, AnUnansweredReadIsEmptyAndLeavesTheFlag) {
    transport.failRequests("ConfigIF.ReadReq", 3);
    bool isDefault = true;

    EXPECT_TRUE(link.getConfigVar(brightness, isDefault).empty());
    EXPECT_TRUE(linkWithoutTransport.getConfigVar(brightness, isDefault).empty());

    EXPECT_TRUE(isDefault);
    EXPECT_EQ(transport.types(), Names{"ReadReq"});
}

TEST_F(LinkValues, AnAwaitedWriteSendsTheListAndReturnsTheResult) {
    answerWrite(CommonIF::ERROR_NONE);
    ConfigResult result;
    result.addResultMessage("old");

    EXPECT_TRUE(linkOf4.setConfigVar(brightness, {"a", "b"}, &result));

    const auto request = transport.requests<ConfigIF::WriteReq>().at(0);
    EXPECT_EQ(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(request.role(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(stepsOf(request.inst_value().inst()), brightnessStepsIn4);
    EXPECT_EQ(request.inst_value().value_size(), 2);
    EXPECT_TRUE(transport.records()[0].awaited);
    EXPECT_EQ(result.m_error, CFG_ERROR_NONE);
    EXPECT_TRUE(result.m_flag);
    EXPECT_EQ(result.m_messages, List{"message"}) << "the answer replaces the whole record";
    EXPECT_EQ(result.m_serverContext, "context");
    EXPECT_EQ(result.m_clientName, "client");
}

TEST_F(LinkValues, AnAcceptedWriteRegistersForChangesAfterwardsAndOnce) {
    answerWrite(CommonIF::ERROR_NONE);

    EXPECT_TRUE(link.setConfigVar(brightness, {"a"}, nullptr));
    EXPECT_TRUE(link.setConfigVar(brightness, {"a"}, nullptr));

    EXPECT_EQ(transport.types(), (Names{"WriteReq", "RegisterClientCallbackReq", "WriteReq"}));
    EXPECT_EQ(registeredTypes(transport), Types{3});
}

TEST_F(LinkValues, ARefusedWriteFillsTheResultAndRegistersNothing) {
    answerWrite(CommonIF::ERROR_REJECTED);
    ConfigResult result;

    EXPECT_FALSE(link.setConfigVar(brightness, {"a"}, &result));
    EXPECT_FALSE(link.setConfigVar(brightness, {"a"}, nullptr));

    EXPECT_EQ(result.m_error, CFG_ERROR_REJECTED);
    EXPECT_EQ(result.m_messages, List{"message"});
    EXPECT_EQ(transport.types(), (Names{"WriteReq", "WriteReq"}));
}

TEST_F(LinkValues, AWriteReplyWithoutAResultIsASuccess) {
    ConfigResult result;
    result.m_error = CFG_ERROR_BUSY;
    result.setServerContext("old");

    EXPECT_TRUE(link.setConfigVar(brightness, {"a"}, &result));

    EXPECT_EQ(result.m_error, CFG_ERROR_NONE);
    EXPECT_EQ(result.m_serverContext, "");
}

TEST_F(LinkValues, AWriteWithAnErrorNumberThatNobodyKnowsHasFailed) {
    transport.answerWith("ConfigIF.WriteRsp", std::string("\x0A\x03") + unknownNumberIn(1));
    ConfigResult result;

    EXPECT_FALSE(link.setConfigVar(brightness, {"a"}, &result));

    EXPECT_EQ(result.m_error, CFG_ERROR_GENERAL);
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkValues, AnUnansweredWriteLeavesTheResultUntouched) {
    transport.failRequests("ConfigIF.WriteReq", 3);
    ConfigResult result;
    result.m_error = CFG_ERROR_BUSY;
    result.addResultMessage("old");

    EXPECT_FALSE(link.setConfigVar(brightness, {"a"}, &result));
    EXPECT_FALSE(linkWithoutTransport.setConfigVar(brightness, {"a"}, &result));

    EXPECT_EQ(result.m_error, CFG_ERROR_BUSY);
    EXPECT_EQ(result.m_messages, List{"old"});
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkValues, AnUnawaitedWriteRegistersFirstAndIsHandedOver) {
    EXPECT_TRUE(linkOf4.setConfigVar(brightness, {"a", "b"}));

    EXPECT_EQ(transport.types(), (Names{"RegisterClientCallbackReq", "WriteReq"}));
    EXPECT_EQ(registeredTypes(transport), Types{3});
    const auto request = transport.requests<ConfigIF::WriteReq>().at(0);
    EXPECT_EQ(stepsOf(request.inst_value().inst()), brightnessStepsIn4);
    EXPECT_EQ(request.inst_value().value_size(), 2);
    EXPECT_FALSE(transport.records()[1].awaited);
    EXPECT_FALSE(transport.records()[1].hadReserved);
    EXPECT_EQ(transport.records()[1].endpoint, "node4/ConfigSrvc");
}

TEST_F(LinkValues, AnUnawaitedWriteRegistersEvenWhenSendThenFails) {
    transport.failRequests("ConfigIF.WriteReq", 3);

    EXPECT_FALSE(link.setConfigVar(brightness, {"a"}));

    EXPECT_EQ(registeredTypes(transport), Types{3});
}

TEST_F(LinkValues, AnUnawaitedWriteWithoutATransportDoesNothing) {
    EXPECT_FALSE(linkWithoutTransport.setConfigVar(brightness, {"a"}));

    linkWithoutTransport.setPbInterface(&transport);
    EXPECT_TRUE(linkWithoutTransport.setConfigVar(brightness, {"a"}));
    EXPECT_EQ(registeredTypes(transport), Types{3}) << "nothing was entered before";
}

TEST_F(LinkValues, AResetKeepsTheVariablesOwnNamespace) {
    EXPECT_TRUE(linkOf4.resetValue(brightness));
    EXPECT_TRUE(linkOf4.resetValue(inNamespace2));

    const auto requests = transport.requests<ConfigIF::ResetValueReq>();
    EXPECT_EQ(requests.at(0).client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(requests.at(0).role(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(stepsOf(requests.at(0).inst()), brightnessSteps);
    EXPECT_EQ(stepsOf(requests.at(1).inst()), stepsIn2);
    EXPECT_EQ(transport.types(), (Names{"ResetValueReq", "ResetValueReq"})) << "nothing is registered";
}

TEST_F(LinkValues, AFailedResetIsFalse) {
    EXPECT_FALSE(linkWithoutTransport.resetValue(brightness));

    ConfigIF::ResetValueRsp reply;
    reply.set_error(CommonIF::ERROR_STORAGE);
    transport.answerWith(reply);
    EXPECT_FALSE(link.resetValue(brightness));

    transport.answerWith("ConfigIF.ResetValueRsp", unknownNumberIn(1));
    EXPECT_FALSE(link.resetValue(brightness));

    transport.answerWith(ConfigIF::ResetValueRsp());
    transport.failRequests("", 3);
    EXPECT_FALSE(link.resetValue(brightness));
}

}  // namespace
