#include <gtest/gtest.h>

#include <clocale>
#include <map>
#include <type_traits>

#include "AppConfig/ConfigVar.h"

TEST(ConfigVar, StartsWithZerosAndEmptyNames) {
    const ConfigVar var;

    EXPECT_EQ(var.m_namespace, 0);
    EXPECT_EQ(var.m_node, "");
    EXPECT_EQ(var.m_nodeInstance, 0);
    EXPECT_EQ(var.m_attribute, "");
    EXPECT_EQ(var.m_attributeInstance, 0);
    EXPECT_EQ(var.m_spare, 0);
    EXPECT_EQ(var.getFQName(), "");
}

TEST(ConfigVar, HasNoVirtualFunctions) {
    EXPECT_FALSE(std::is_polymorphic_v<ConfigVar>);
}

TEST(ConfigVar, InitLowersNodeAndAttribute) {
    ConfigVar var;

    var.init(3, "Display", 1, "Brightness", 2);

    EXPECT_EQ(var.m_namespace, 3);
    EXPECT_EQ(var.m_node, "display");
    EXPECT_EQ(var.m_nodeInstance, 1);
    EXPECT_EQ(var.m_attribute, "brightness");
    EXPECT_EQ(var.m_attributeInstance, 2);
    EXPECT_EQ(var.getFQName(), "display.brightness");
}

TEST(ConfigVar, InitLowersAToZOnly) {
    const ConfigVar var(0, "ABC.Def", 0, "@AZ[`az{_0\xC3\x84\xFF", 0);

    EXPECT_EQ(var.m_node, "abc.def");
    EXPECT_EQ(var.m_attribute, "@az[`az{_0\xC3\x84\xFF");
}

TEST(ConfigVar, InitKeepsNamesThatLookWrong) {
    const ConfigVar var(-4, "", -1, " a b ", -2);

    EXPECT_EQ(var.m_namespace, -4);
    EXPECT_EQ(var.m_node, "");
    EXPECT_EQ(var.m_nodeInstance, -1);
    EXPECT_EQ(var.m_attribute, " a b ");
    EXPECT_EQ(var.m_attributeInstance, -2);
}

TEST(ConfigVar, InitResetsTheSpareField) {
    ConfigVar var;
    var.m_spare = 9;

    var.init(0, "a", 0, "b", 0);

    EXPECT_EQ(var.m_spare, 0);
}

TEST(ConfigVar, AnEmptyAttributeGivesANameWithoutATrailingDot) {
    EXPECT_EQ(ConfigVar(0, "display", 0, "", 0).getFQName(), "display");
}

TEST(ConfigVar, AnEmptyNodeGivesANameWithALeadingDot) {
    EXPECT_EQ(ConfigVar(0, "", 0, "brightness", 0).getFQName(), ".brightness");
}

TEST(ConfigVar, NamespaceAndInstancesAreNoPartOfTheFullyQualifiedName) {
    EXPECT_EQ(ConfigVar(3, "a", 1, "b", 2).getFQName(), ConfigVar(4, "a", 5, "b", 6).getFQName());
}

TEST(ConfigVar, OrderIsNamespaceNodeNodeInstanceAttributeAttributeInstance) {
    const ConfigVar base(1, "m", 1, "m", 1);

    EXPECT_LT(base, ConfigVar(2, "a", 0, "a", 0)) << "the namespace decides first";
    EXPECT_LT(base, ConfigVar(1, "n", 0, "a", 0)) << "then the node";
    EXPECT_LT(base, ConfigVar(1, "m", 2, "a", 0)) << "then the node instance";
    EXPECT_LT(base, ConfigVar(1, "m", 1, "n", 0)) << "then the attribute";
    EXPECT_LT(base, ConfigVar(1, "m", 1, "m", 2)) << "then the attribute instance";
}

TEST(ConfigVar, OrderIsNotReflexiveOrMutual) {
    const ConfigVar a(1, "m", 1, "m", 1);
    const ConfigVar b(1, "m", 1, "m", 2);

    EXPECT_FALSE(a < a);
    EXPECT_FALSE(b < a);
    EXPECT_FALSE(ConfigVar(2, "a", 0, "a", 0) < a);
    EXPECT_FALSE(ConfigVar(1, "n", 0, "a", 0) < a);
    EXPECT_FALSE(ConfigVar(1, "m", 2, "a", 0) < a);
    EXPECT_FALSE(ConfigVar(1, "m", 1, "n", 0) < a);
}

TEST(ConfigVar, ANegativeNamespaceSortsBeforeZero) {
    EXPECT_LT(ConfigVar(-1, "z", 0, "z", 0), ConfigVar(0, "a", 0, "a", 0));
}

TEST(ConfigVar, NamesAreOrderedAsUnsignedBytesShorterFirst) {
    EXPECT_LT(ConfigVar(0, "a", 0, "", 0), ConfigVar(0, "ab", 0, "", 0));
    EXPECT_LT(ConfigVar(0, "z", 0, "", 0), ConfigVar(0, "\xC3\xA4", 0, "", 0));
    EXPECT_LT(ConfigVar(0, "a", 0, "z", 0), ConfigVar(0, "a", 0, "\x80", 0));
}

TEST(ConfigVar, SpareTakesNoPartInOrderAndEquality) {
    ConfigVar a(0, "a", 0, "b", 0);
    ConfigVar b(0, "a", 0, "b", 0);
    a.m_spare = 7;

    EXPECT_FALSE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_EQ(a, b);
}

TEST(ConfigVar, EqualityLooksAtAllFiveParts) {
    const ConfigVar base(1, "m", 1, "m", 1);

    EXPECT_EQ(base, ConfigVar(1, "M", 1, "M", 1));
    EXPECT_NE(base, ConfigVar(2, "m", 1, "m", 1));
    EXPECT_NE(base, ConfigVar(1, "n", 1, "m", 1));
    EXPECT_NE(base, ConfigVar(1, "m", 2, "m", 1));
    EXPECT_NE(base, ConfigVar(1, "m", 1, "n", 1));
    EXPECT_NE(base, ConfigVar(1, "m", 1, "m", 2));
}

TEST(ConfigVar, ACopyDoesNotCarryTheSpareFieldOver) {
    ConfigVar var(1, "a", 2, "b", 3);
    var.m_spare = 9;

    const ConfigVar copy(var);
    ConfigVar assigned;
    assigned.m_spare = 4;
    assigned = var;

    EXPECT_EQ(copy, var);
    EXPECT_EQ(copy.m_spare, 0);
    EXPECT_EQ(assigned, var);
    EXPECT_EQ(assigned.m_spare, 0);
}

TEST(ConfigVar, ACopyIsNormalisedAgain) {
    ConfigVar var;
    var.m_node = "Display";
    var.m_attribute = "Brightness";

    const ConfigVar copy(var);
    ConfigVar assigned;
    assigned = var;

    EXPECT_EQ(copy.getFQName(), "display.brightness");
    EXPECT_EQ(assigned.getFQName(), "display.brightness");
}

TEST(ConfigVar, AssignmentToItselfKeepsTheNames) {
    ConfigVar var(1, "a", 2, "b", 3);
    const ConfigVar& same = var;

    var = same;

    EXPECT_EQ(var, ConfigVar(1, "a", 2, "b", 3));
}

TEST(ConfigVar, InitMayBeHandedTheObjectsOwnNames) {
    ConfigVar var(1, "a", 2, "b", 3);

    var.init(0, var.m_attribute, 0, var.m_attribute, 0);

    EXPECT_EQ(var, ConfigVar(0, "b", 0, "b", 0));
}

TEST(ConfigVar, InitMayBeHandedTheObjectsOwnNamesInTheOtherOrder) {
    ConfigVar var(3, "Node", 1, "Attribute", 2);

    var.init(4, var.m_attribute, 5, var.m_node, 6);

    EXPECT_EQ(var, ConfigVar(4, "attribute", 5, "node", 6));
}
