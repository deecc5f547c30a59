// Names and roles as they travel.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "configservice.pb.h"
#include "wire/Inst.h"
#include "wire/Lower.h"
#include "wire/Roles.h"
#include "wire/VariableName.h"

namespace {

using namespace AppConfigWire;
using Steps = std::vector<std::pair<std::string, int>>;

ConfigIF::Inst inst(const Steps& steps) {
    ConfigIF::Inst result;
    for (const auto& [name, instance] : steps) addStep(result, name, instance);
    return result;
}

Steps steps(const ConfigIF::Inst& inst) {
    Steps result;
    for (const ConfigIF::Node& node : inst.node()) result.emplace_back(node.name(), node.instance());
    return result;
}

TEST(NamesOnTheWire, CarryTheNamespaceAsAStepOfItsOwn) {
    ConfigIF::Inst three;
    addNames(three, 3, "net.wifi", 1, "ssid", 2);
    EXPECT_EQ(steps(three), (Steps{{"cfg", 3}, {"net.wifi", 1}, {"ssid", 2}}));
    EXPECT_TRUE(carriesNamespace(three));
    EXPECT_EQ(namespaceOf(three), 3);

    for (const int none : {0, -1}) {
        ConfigIF::Inst bare;
        addNames(bare, none, "net.wifi", 1, "ssid", 2);
        EXPECT_EQ(steps(bare), (Steps{{"net.wifi", 1}, {"ssid", 2}}));
        EXPECT_FALSE(carriesNamespace(bare));
        EXPECT_EQ(namespaceOf(bare), 0);
    }
}

TEST(NamesOnTheWire, AreReadFromAsManyStepsAsTheyCameIn) {
    std::string node;
    std::string attribute;
    int nodeInstance = 7;
    int attributeInstance = 7;
    ASSERT_TRUE(readNames(inst({{"cfg", 2}, {"Net", 5}, {"WiFi", 1}, {"SSID", 4}}), node, nodeInstance, attribute,
                          attributeInstance));
    EXPECT_EQ(node, "net.wifi");
    EXPECT_EQ(nodeInstance, 1);
    EXPECT_EQ(attribute, "ssid");
    EXPECT_EQ(attributeInstance, 4);
}

TEST(NamesOnTheWire, OfAnAttributeAloneLeaveTheNodeAsItWas) {
    std::string node;
    std::string attribute;
    int nodeInstance = 7;
    int attributeInstance = 0;
    ASSERT_TRUE(readNames(inst({{"cfg", 2}, {"SSID", 4}}), node, nodeInstance, attribute, attributeInstance));
    EXPECT_EQ(node, "");
    EXPECT_EQ(nodeInstance, 7);
    EXPECT_EQ(attribute, "ssid");
    EXPECT_EQ(attributeInstance, 4);
}

TEST(NamesOnTheWire, AreNoneWithoutStepsOrWithANamespaceAlone) {
    for (const ConfigIF::Inst& none : {inst({}), inst({{"cfg", 2}})}) {
        std::string node = "n";
        std::string attribute = "a";
        int nodeInstance = 3;
        int attributeInstance = 4;
        EXPECT_FALSE(readNames(none, node, nodeInstance, attribute, attributeInstance));
        EXPECT_EQ(node + attribute, "na");
        EXPECT_EQ(nodeInstance * 10 + attributeInstance, 34);
    }
}

TEST(NamesOnTheWire, BeginWithANamespaceOnlyInSmallLetters) {
    EXPECT_FALSE(carriesNamespace(inst({{"CFG", 2}, {"a", 0}, {"b", 0}})));
    EXPECT_FALSE(carriesNamespace(inst({{"a", 0}, {"cfg", 2}, {"b", 0}})));
}

TEST(AVariableName, HoldsSmallLettersOfAsciiOnly) {
    const VariableName name("Net.WiFi\xC4", 1, "SSID", 2);
    EXPECT_EQ(name.node, "net.wifi\xC4");
    EXPECT_EQ(name.attribute, "ssid");
    EXPECT_EQ(name.fullyQualified(), "net.wifi\xC4.ssid");
    EXPECT_EQ(VariableName("Net", 3, "", 0).fullyQualified(), "net");
}

TEST(AVariableName, DiffersInEachOfItsParts) {
    const VariableName name("b", 1, "d", 2);
    EXPECT_EQ(name, VariableName("B", 1, "D", 2));
    for (const VariableName& larger : {VariableName("c", 0, "a", 0), VariableName("b", 2, "a", 0),
                                       VariableName("b", 1, "e", 0), VariableName("b", 1, "d", 3)}) {
        EXPECT_NE(name, larger);
        EXPECT_LT(name, larger);
        EXPECT_FALSE(larger < name);
    }
    EXPECT_LT(VariableName("b", -1, "d", 2), name);
    EXPECT_LT(name, VariableName("b", 1, "d\xC4", 0));
    EXPECT_LT(name, VariableName("ba", 0, "a", 0));
}

TEST(RolesOnTheWire, HaveNumbersInAnotherOrder) {
    const std::vector<std::pair<int, int>> table{{0, 10}, {1, 20}, {2, 40}, {3, 30}, {4, 50}};
    for (const auto& [role, number] : table) {
        EXPECT_EQ(roleToWire(role), number);
        EXPECT_EQ(roleFromWire(static_cast<CommonIF::eSecurityRole>(number)), role);
    }
    EXPECT_EQ(roleToWire(-1), CommonIF::SECURITY_ROLE_WIRE_10);
    EXPECT_EQ(roleToWire(5), CommonIF::SECURITY_ROLE_WIRE_10);
}

TEST(SmallLetters, AreMadeOfTheTwentySixCapitalsAlone) {
    for (int c = 0; c < 256; ++c) {
        const char letter = static_cast<char>(c);
        EXPECT_EQ(lower(letter), c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : letter) << c;
    }
    EXPECT_EQ(lowered(std::string("A\0Z", 3)), std::string("a\0z", 3));
}

}  // namespace
