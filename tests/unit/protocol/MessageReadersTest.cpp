#include <gtest/gtest.h>

#include "AppConfig/ProtobufMessageHelper.h"

using AppConfig::ProtobufMessageHelper;

namespace {

using List = std::list<std::string>;
using Steps = std::vector<std::pair<std::string, int>>;

ConfigIF::Inst instOf(const Steps& steps) {
    ConfigIF::Inst inst;
    for (const auto& [name, instance] : steps) {
        ConfigIF::Node* const node = inst.add_node();
        node->set_name(name);
        node->set_instance(instance);
    }
    return inst;
}

struct Parts {
    int result;
    std::string node;
    int nodeInstance = -7;
    std::string attribute = "untouched";
    int attributeInstance = -8;
};

Parts partsOf(const ConfigIF::Inst& inst) {
    Parts parts;
    parts.result = ProtobufMessageHelper::getConfigVarName(parts.node, parts.nodeInstance, parts.attribute,
                                                           parts.attributeInstance, inst);
    return parts;
}

void expectParts(const Parts& parts, const std::string& node, int nodeInstance, const std::string& attribute,
                 int attributeInstance) {
    EXPECT_EQ(parts.result, 0);
    EXPECT_EQ(parts.node, node);
    EXPECT_EQ(parts.nodeInstance, nodeInstance);
    EXPECT_EQ(parts.attribute, attribute);
    EXPECT_EQ(parts.attributeInstance, attributeInstance);
}

void expectMalformed(const Parts& parts) {
    EXPECT_EQ(parts.result, -25);
    EXPECT_EQ(parts.node, "");
    EXPECT_EQ(parts.nodeInstance, -7);
    EXPECT_EQ(parts.attribute, "untouched");
    EXPECT_EQ(parts.attributeInstance, -8);
}

TEST(GetConfigVarName, ReadsNamespaceNodeAndAttribute) {
    const ConfigIF::Inst inst = instOf({{"cfg", 3}, {"Audio", 1}, {"Volume", 2}});

    EXPECT_EQ(ProtobufMessageHelper::getConfigVarNamespace(inst), 3);
    expectParts(partsOf(inst), "audio", 1, "volume", 2);
}

TEST(GetConfigVarName, JoinsTheMiddleStepsAndKeepsTheLastOnesInstance) {
    const ConfigIF::Inst inst = instOf({{"A", 1}, {"B", 2}, {"C", 4}});

    EXPECT_EQ(ProtobufMessageHelper::getConfigVarNamespace(inst), 0);
    expectParts(partsOf(inst), "a.b", 2, "c", 4);
}

TEST(GetConfigVarName, ASingleStepLeavesTheNodeUntouched) {
    expectParts(partsOf(instOf({{"X", 7}})), "", -7, "x", 7);
}

TEST(GetConfigVarName, ASingleStepAfterTheNamespaceLeavesTheNodeUntouched) {
    expectParts(partsOf(instOf({{"cfg", 3}, {"X", 7}})), "", -7, "x", 7);
}

TEST(GetConfigVarName, CfgInCapitalsIsAnOrdinaryNode) {
    const ConfigIF::Inst inst = instOf({{"CFG", 3}, {"v", 1}});

    EXPECT_EQ(ProtobufMessageHelper::getConfigVarNamespace(inst), 0);
    expectParts(partsOf(inst), "cfg", 3, "v", 1);
}

TEST(GetConfigVarName, CfgFurtherDownIsAnOrdinaryNode) {
    const ConfigIF::Inst inst = instOf({{"a", 1}, {"cfg", 3}, {"v", 1}});

    EXPECT_EQ(ProtobufMessageHelper::getConfigVarNamespace(inst), 0);
    expectParts(partsOf(inst), "a.cfg", 3, "v", 1);
}

TEST(GetConfigVarName, ANameThatOnlyBeginsWithCfgIsAnOrdinaryNode) {
    expectParts(partsOf(instOf({{"cfgs", 3}, {"v", 1}})), "cfgs", 3, "v", 1);
}

TEST(GetConfigVarName, ALoneCfgIsMalformedAndLeavesEverythingUntouched) {
    expectMalformed(partsOf(instOf({{"cfg", 3}})));
}

TEST(GetConfigVarName, NoStepIsMalformedAndLeavesEverythingUntouched) {
    expectMalformed(partsOf(ConfigIF::Inst()));
    EXPECT_EQ(ProtobufMessageHelper::getConfigVarNamespace(ConfigIF::Inst()), 0);
}

TEST(GetConfigVarName, LowersAToZOnly) {
    expectParts(partsOf(instOf({{"\xC3\x84_A9", 1}, {"\xC3\x84_Z", 2}})), "\xC3\x84_a9", 1, "\xC3\x84_z", 2);
}

TEST(GetConfigVarName, EmptyMiddleStepsAddADotOnlyAfterAName) {
    expectParts(partsOf(instOf({{"", 1}, {"b", 2}, {"", 3}, {"c", 4}})), "b.", 3, "c", 4);
}

TEST(GetConfigVarName, AppendsToTheNodeNameItIsHanded) {
    std::string node = "Before";
    int nodeInstance = 0;
    std::string attribute;
    int attributeInstance = 0;

    ProtobufMessageHelper::getConfigVarName(node, nodeInstance, attribute, attributeInstance,
                                            instOf({{"a", 1}, {"b", 2}}));

    EXPECT_EQ(node, "before.a");
}

TEST(GetConfigVarName, ReadsBackWhatTheBuilderWrote) {
    for (const ConfigVar& var :
         {ConfigVar(0, "A", 1, "B", 2), ConfigVar(7, "a.b", 0, "c", 0), ConfigVar(1, "n", 0, "", 0)}) {
        ConfigIF::Inst inst;
        ProtobufMessageHelper::addVarName(&inst, var);
        const Parts parts = partsOf(inst);
        EXPECT_EQ(ConfigVar(ProtobufMessageHelper::getConfigVarNamespace(inst), parts.node, parts.nodeInstance,
                            parts.attribute, parts.attributeInstance),
                  var);
    }
}

TEST(GetConfigVarValue, ReplacesTheList) {
    ConfigIF::InstValue value;
    value.add_value("a");
    value.add_value("a");
    List list{"old"};

    EXPECT_EQ(ProtobufMessageHelper::getConfigVarValue(list, value), 0);
    EXPECT_EQ(list, (List{"a", "a"}));

    EXPECT_EQ(ProtobufMessageHelper::getConfigVarValue(list, ConfigIF::InstValue()), 0);
    EXPECT_TRUE(list.empty());
}

TEST(GetStringList, ReplacesTheList) {
    ConfigIF::OptionsChangedNtfy ntfy;
    ntfy.add_option("b");
    ntfy.add_option("a");
    List list{"old"};

    EXPECT_EQ(ProtobufMessageHelper::getStringList(list, ntfy.option()), 0);

    EXPECT_EQ(list, (List{"b", "a"}));
}

TEST(FillReturnMessage, ReadsEveryField) {
    ConfigIF::ReturnMessage message;
    message.set_error(CommonIF::ERROR_REJECTED);
    message.set_result_flag(true);
    message.add_message("one");
    message.add_message("two");
    message.set_server_context("context");
    message.set_client_name("client");
    ConfigResult result;

    ProtobufMessageHelper::fillReturnMessage(result, message);

    EXPECT_EQ(result.m_error, CFG_ERROR_REJECTED);
    EXPECT_TRUE(result.m_flag);
    EXPECT_EQ(result.m_messages, (List{"one", "two"}));
    EXPECT_EQ(result.m_serverContext, "context");
    EXPECT_EQ(result.m_clientName, "client");
}

TEST(FillReturnMessage, EmptyNamesDoNotClearThoseTheResultHolds) {
    ConfigResult result;
    result.m_error = CFG_ERROR_BUSY;
    result.m_flag = true;
    result.addResultMessage("kept");
    result.setServerContext("context");
    result.setClientName("client");
    ConfigIF::ReturnMessage message;
    message.set_server_context("");

    ProtobufMessageHelper::fillReturnMessage(result, message);

    EXPECT_EQ(result.m_error, CFG_ERROR_NONE);
    EXPECT_FALSE(result.m_flag);
    EXPECT_EQ(result.m_messages, List{"kept"});
    EXPECT_EQ(result.m_serverContext, "context");
    EXPECT_EQ(result.m_clientName, "client");
}

TEST(FillReturnMessage, AnAbsentMessageReadsAsSuccess) {
    ConfigResult result;

    ProtobufMessageHelper::fillReturnMessage(result, ConfigIF::WriteRsp().result());

    EXPECT_EQ(result.m_error, CFG_ERROR_NONE);
    EXPECT_FALSE(result.m_flag);
    EXPECT_TRUE(result.m_messages.empty());
    EXPECT_EQ(result.m_serverContext, "");
}

TEST(FillReturnMessage, WritesEveryField) {
    ConfigResult result;
    result.fillConfigResult(true, CFG_ERROR_OUT_OF_RANGE, true);
    result.addResultMessage("one");
    result.addResultMessage("two");
    result.setServerContext("context");
    result.setClientName("client");
    ConfigIF::ReturnMessage message;

    ProtobufMessageHelper::fillReturnMessage(&message, result);

    EXPECT_EQ(message.error(), CommonIF::ERROR_OUT_OF_RANGE);
    EXPECT_TRUE(message.result_flag());
    ASSERT_EQ(message.message_size(), 2);
    EXPECT_EQ(message.message(0), "one");
    EXPECT_EQ(message.message(1), "two");
    EXPECT_EQ(message.server_context(), "context");
    EXPECT_EQ(message.client_name(), "client");
}

TEST(FillReturnMessage, WritesErrorAndFlagAlwaysAndNamesOnlyWhenThereAreSome) {
    ConfigIF::ReturnMessage message;

    ProtobufMessageHelper::fillReturnMessage(&message, ConfigResult());

    EXPECT_TRUE(message.has_error());
    EXPECT_TRUE(message.has_result_flag());
    EXPECT_FALSE(message.has_server_context());
    EXPECT_FALSE(message.has_client_name());
    EXPECT_EQ(message.message_size(), 0);
}

TEST(ProviderAnswers, CarryTheResult) {
    ConfigResult result;
    result.fillConfigResult(true, CFG_ERROR_REJECTED, false);
    result.addResultMessage("no");

    const ConfigIF::OnChangeRsp change = ProtobufMessageHelper::getOnChangeResponse(result);
    const ConfigIF::DynamicValidateRsp validation = ProtobufMessageHelper::getDynamicValidateResponse(result);

    EXPECT_EQ(change.result().error(), CommonIF::ERROR_REJECTED);
    EXPECT_EQ(change.result().message(0), "no");
    EXPECT_EQ(validation.result().error(), CommonIF::ERROR_REJECTED);
    EXPECT_EQ(validation.result().message(0), "no");
}

TEST(ReturnMessage, WithAnErrorThatTheDefinitionDoesNotKnowIsAGeneralError) {
    ConfigIF::ReturnMessage message;
    ASSERT_TRUE(message.ParseFromString("\x08\xE7\x07"));  // error = 999
    ConfigResult result;

    ProtobufMessageHelper::fillReturnMessage(result, message);

    EXPECT_EQ(result.m_error, CFG_ERROR_GENERAL);
}

TEST(ProviderAnswersDeathTest, AnErrorOutsideItsEnumAborts) {
    ConfigResult result;
    result.m_error = static_cast<eErrorT>(12345);
    ConfigIF::ReturnMessage message;

    EXPECT_DEATH(ProtobufMessageHelper::fillReturnMessage(&message, result), "eErrorType_IsValid");
    EXPECT_DEATH(ProtobufMessageHelper::getOnChangeResponse(result), "eErrorType_IsValid");
    EXPECT_DEATH(ProtobufMessageHelper::getDynamicValidateResponse(result), "eErrorType_IsValid");
}

}  // namespace
