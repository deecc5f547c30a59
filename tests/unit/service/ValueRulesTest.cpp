#include <gtest/gtest.h>

#include "core/Limits.h"
#include "core/ValueRules.h"

namespace AppConfigService {
namespace {

TEST(ReadNumber, TakesDecimalHexadecimalAndOctalOfThirtyTwoBits) {
    EXPECT_EQ(readNumber("42"), 42);
    EXPECT_EQ(readNumber("-42"), -42);
    EXPECT_EQ(readNumber("+7"), 7);
    EXPECT_EQ(readNumber("0x1F"), 31);
    EXPECT_EQ(readNumber("-0x10"), -16);
    EXPECT_EQ(readNumber("010"), 8);
    EXPECT_EQ(readNumber("2147483647"), 2147483647);
    EXPECT_EQ(readNumber("-2147483648"), -2147483648LL);
}

TEST(ReadNumber, RefusesWhateverIsNotWhollyANumber) {
    for (const std::string text : {"", " 1", "1 ", "1.0", "one", "08", "0x", "--1", "2147483648", "-2147483649",
                                   "99999999999999999999", "1e3", "\t1"}) {
        EXPECT_FALSE(readNumber(text)) << text;
    }
    EXPECT_FALSE(readNumber(std::string("1\0", 2)));
}

TEST(CheckValue, RefusesMoreBytesThanTheServiceTakes) {
    VariableDefinition definition;
    definition.name = VariableName("a", 0, "b", 0);
    EXPECT_TRUE(checkValue(definition, {}, {std::string(longestElement, 'x')}));
    const Result<> refused = checkValue(definition, {}, {std::string(longestElement + 1, 'x')});
    EXPECT_EQ(refused.error().code, CommonIF::ERROR_TOO_LONG);
    EXPECT_EQ(refused.error().reason, "a.b: the value has 1048577 bytes, the service takes at most 1048576");
}

TEST(CheckValue, RefusesMoreElementsThanTheServiceTakes) {
    VariableDefinition definition;
    definition.type = ConfigAdmin::LIST;
    EXPECT_TRUE(checkValue(definition, {}, Value(mostElements, "x")));
    EXPECT_EQ(checkValue(definition, {}, Value(mostElements + 1, "x")).error().code, CommonIF::ERROR_TOO_MANY_ELEMENTS);
}

TEST(CheckValue, TakesBooleansInAnyCaseAndNothingElse) {
    VariableDefinition definition;
    definition.type = ConfigAdmin::BOOL;
    EXPECT_TRUE(checkValue(definition, {}, {"True"}));
    EXPECT_TRUE(checkValue(definition, {}, {"FALSE"}));
    EXPECT_FALSE(checkValue(definition, {}, {"1"}));
    EXPECT_FALSE(checkValue(definition, {}, {std::string("true\0", 5)}));
}

TEST(CheckValue, ComparesOptionsByBytes) {
    VariableDefinition definition;
    definition.type = ConfigAdmin::INT;
    EXPECT_TRUE(checkValue(definition, {"1", "2"}, {"2"}));
    EXPECT_EQ(checkValue(definition, {"1", "2"}, {"0x2"}).error().code, CommonIF::ERROR_NOT_AN_OPTION);
}

TEST(CheckValue, QuotesLongTextsInPart) {
    VariableDefinition definition;
    definition.type = ConfigAdmin::BOOL;
    EXPECT_LT(checkValue(definition, {}, {std::string(100000, 'x')}).error().reason.size(), 200U);
}

TEST(CheckOptions, TakeAnIndexOnlyWithinThem) {
    VariableDefinition definition;
    EXPECT_TRUE(checkOptions(definition, {}, 0));
    EXPECT_EQ(checkOptions(definition, {}, 1).error().code, CommonIF::ERROR_INDEX_OUT_OF_RANGE);
    EXPECT_EQ(checkOptions(definition, {"a"}, 1).error().code, CommonIF::ERROR_INDEX_OUT_OF_RANGE);
}

TEST(DisplayName, LeavesInstancesOfZeroOut) {
    VariableName name;
    name = VariableName("net.wifi", 1, "ssid", 2);
    EXPECT_EQ(displayName(name), "net.wifi[1].ssid[2]");
    name = VariableName("net", 0, "ssid", 0);
    EXPECT_EQ(displayName(name), "net.ssid");
}

}  // namespace
}  // namespace AppConfigService
