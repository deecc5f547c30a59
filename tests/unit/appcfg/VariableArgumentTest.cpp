#include <gtest/gtest.h>

#include "VariableArgument.h"

namespace AppConfigTool {
namespace {

TEST(VariableArgument, ReadsNodeAndAttributeAtTheLastDot) {
    const auto name = VariableArgument::parse("net.wifi.ssid");

    ASSERT_TRUE(name) << name.error().reason;
    EXPECT_EQ(name->node, "net.wifi");
    EXPECT_EQ(name->attribute, "ssid");
    EXPECT_EQ(name->var().m_nodeInstance, 0);
    EXPECT_EQ(name->var().m_namespace, 0);
}

TEST(VariableArgument, ReadsNamespaceAndInstances) {
    const auto name = VariableArgument::parse("3:Audio[1].volume[2]");

    ASSERT_TRUE(name) << name.error().reason;
    EXPECT_EQ(name->var().m_namespace, 3);
    EXPECT_EQ(name->var().m_node, "audio");
    EXPECT_EQ(name->var().m_nodeInstance, 1);
    EXPECT_EQ(name->var().m_attribute, "volume");
    EXPECT_EQ(name->var().m_attributeInstance, 2);
    EXPECT_EQ(name->text(), "3:audio[1].volume[2]");
}

TEST(VariableArgument, WritesTheShortestCanonicalText) {
    EXPECT_EQ(VariableArgument::parse("0:A[0].B[0]")->text(), "a.b");
    EXPECT_EQ(VariableArgument::parseVariableOrNode("Net")->text(), "net");
}

TEST(VariableArgument, AWholeNodeIsTakenOnlyWhereOneMayStand) {
    const auto refused = VariableArgument::parse("display");
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().reason.find("dot"), std::string::npos);
    const auto node = VariableArgument::parseVariableOrNode("display[2]");
    ASSERT_TRUE(node);
    EXPECT_EQ(node->node, "display");
    EXPECT_EQ(node->nodeInstance, 2);
    EXPECT_EQ(node->attribute, "");
}

class MalformedName : public ::testing::TestWithParam<const char*> {};

TEST_P(MalformedName, IsRefusedWithAReason) {
    const auto refused = VariableArgument::parseVariableOrNode(GetParam());
    ASSERT_FALSE(refused) << GetParam();
    EXPECT_EQ(refused.error().code, ExitStatus::usage);
    EXPECT_FALSE(refused.error().reason.empty());
}

INSTANTIATE_TEST_SUITE_P(VariableArgument, MalformedName,
                         ::testing::Values("", ".", "a.", ".b", "a..b.c", "a[x].b", "a[1.b", "a1].b", "a[1]x.b",
                                           "a[].b", "a[99999999999].b", "99999999999:a.b", "3:", "a.b[1"));

}  // namespace
}  // namespace AppConfigTool
