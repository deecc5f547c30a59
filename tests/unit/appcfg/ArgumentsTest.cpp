#include <gtest/gtest.h>

#include "Arguments.h"

namespace AppConfigTool {
namespace {

using Words = std::vector<std::string>;

Arguments accepted(const Words& words) {
    const ParsedArguments parsed = parseArguments(words);
    EXPECT_TRUE(parsed.arguments) << parsed.text;
    return parsed.arguments.value_or(Arguments());
}

TEST(Arguments, GlobalOptionsStandBeforeOrBehindTheSubcommand) {
    const Arguments before = accepted({"--role", "3", "--timeout", "0.5", "--json", "get", "a.b"});
    const Arguments behind = accepted({"get", "a.b", "--role", "3", "--timeout", "0.5", "--json"});

    for (const Arguments& arguments : {before, behind}) {
        EXPECT_EQ(arguments.command, Arguments::Command::get);
        EXPECT_EQ(arguments.role, 3);
        EXPECT_EQ(arguments.timeout, std::chrono::milliseconds(500));
        EXPECT_TRUE(arguments.json);
        ASSERT_EQ(arguments.variables.size(), 1U);
        EXPECT_EQ(arguments.variables.front().text(), "a.b");
    }
}

class AnyValue : public ::testing::TestWithParam<Words> {};

TEST_P(AnyValue, IsWrittenAsItStands) {
    Words words = {"set", "a.b", "--"};
    words.insert(words.end(), GetParam().begin(), GetParam().end());

    EXPECT_EQ(accepted(words).value, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Arguments, AnyValue,
                         ::testing::Values(Words{"-5"}, Words{"--json"}, Words{""}, Words{"[1,2]"}, Words{"[]"},
                                           Words{"{}"}, Words{"list"}, Words{"a,b"}, Words{"a", "", "c"},
                                           Words{"-x", "get", "\"q\""}, Words{"[a]", "[b]"}, Words{"%%"}, Words{"/h"},
                                           Words{" "}));

TEST(Arguments, NegativeNumbersNeedNoMark) {
    EXPECT_EQ(accepted({"set", "a.b", "-5"}).value, Words{"-5"});
    EXPECT_EQ(accepted({"validate", "a.b", "-17"}).value, Words{"-17"});
}

TEST(Arguments, WordsThatAreSubcommandsMayBeValues) {
    EXPECT_EQ(accepted({"set", "a.b", "get"}).value, Words{"get"});
    EXPECT_EQ(accepted({"set", "a.b", "list", "show"}).value, (Words{"list", "show"}));
}

TEST(Arguments, OptionsOfAVariableArePartedAtCommas) {
    const Arguments arguments = accepted({"options", "a.b", "--set", "x,y\\,z,", "--default-index", "1"});

    EXPECT_EQ(arguments.newOptions, (Words{"x", "y,z", ""}));
    EXPECT_EQ(arguments.defaultIndex, 1U);
    EXPECT_EQ(accepted({"options", "a.b", "--set", ""}).newOptions, Words());
    EXPECT_FALSE(accepted({"options", "a.b"}).newOptions);
}

TEST(Arguments, WatchesEveryKindUnlessToldOtherwise) {
    EXPECT_EQ(accepted({"watch", "a", "b.c"}).kinds, (std::vector<int>{0, 2, 3, 4}));
    EXPECT_EQ(accepted({"watch", "a", "--kind", "access,change"}).kinds, (std::vector<int>{4, 0}));
}

TEST(Arguments, ProvideTakesOneWayToValidate) {
    EXPECT_EQ(accepted({"provide", "a.b"}).validation, Arguments::Validation::accept);
    EXPECT_EQ(accepted({"provide", "a.b", "--accept"}).validation, Arguments::Validation::accept);
    const Arguments reject = accepted({"provide", "a.b", "--reject", "[no]"});
    EXPECT_EQ(reject.validation, Arguments::Validation::reject);
    EXPECT_EQ(reject.rejection, "[no]");
    const Arguments execute = accepted({"provide", "a.b", "--exec", "test -f", "--exec-timeout", "0.25"});
    EXPECT_EQ(execute.validation, Arguments::Validation::execute);
    EXPECT_EQ(execute.validationCommand, "test -f");
    EXPECT_EQ(execute.commandDeadline, std::chrono::milliseconds(250));
}

class BadUsage : public ::testing::TestWithParam<Words> {};

TEST_P(BadUsage, IsAComplaint) {
    const ParsedArguments parsed = parseArguments(GetParam());

    EXPECT_FALSE(parsed.arguments);
    EXPECT_TRUE(parsed.complaint);
    EXPECT_FALSE(parsed.text.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, BadUsage,
    ::testing::Values(Words{}, Words{"frobnicate"}, Words{"get"}, Words{"get", ""}, Words{"get", "nodot"},
                      Words{"get", "a.b", "c.d"}, Words{"set", "a.b"}, Words{"get", "a.b", "--role", "5"},
                      Words{"get", "a.b", "--role", "-1"}, Words{"get", "a.b", "--as", "float"},
                      Words{"get", "a.b", "--timeout", "0"}, Words{"watch"}, Words{"watch", "a", "--kind", "weather"},
                      Words{"access", "a.b", "--read", "9"}, Words{"access", "a.b", "--read-only", "--hidden"},
                      Words{"options", "a.b", "--default-index", "1"},
                      Words{"options", "a.b", "--default", "--set", "x"},
                      Words{"provide", "a.b", "--accept", "--reject", "x"},
                      Words{"provide", "a.b", "--exec-timeout", "1"}, Words{"submit", "a.b", "--type", "2"},
                      Words{"access", "1:a.b", "2:a.b"}, Words{"set", "a.b", "x", "--no-wiat"}));

TEST(Arguments, HelpAndVersionAreNoComplaints) {
    for (const Words& words : {Words{"--help"}, Words{"--version"}, Words{"get", "--help"}}) {
        const ParsedArguments parsed = parseArguments(words);
        EXPECT_FALSE(parsed.arguments);
        EXPECT_FALSE(parsed.complaint);
        EXPECT_FALSE(parsed.text.empty());
    }
}

}  // namespace
}  // namespace AppConfigTool
