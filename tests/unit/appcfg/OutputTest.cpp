#include <gtest/gtest.h>

#include <sstream>

#include "Output.h"

namespace AppConfigTool {
namespace {

TEST(Output, WritesTextForPeople) {
    std::ostringstream results;
    std::ostringstream complaints;
    Output output(results, complaints, false);

    output.result({{"value", {"70"}}}, "70");
    output.complain("no");

    EXPECT_EQ(results.str(), "70\n");
    EXPECT_EQ(complaints.str(), "appcfg: no\n");
}

TEST(Output, ShowsWhatOthersHaveWrittenEscapedAndInItsOwnLine) {
    std::ostringstream results;
    std::ostringstream complaints;
    Output output(results, complaints, false);

    output.result({}, std::list<std::string>{"first\nsecond", "\x1b[2J\xff"});
    output.complain("refused: \rappcfg: all is well\n");

    EXPECT_EQ(results.str(), "first\\nsecond\n\\x1b[2J\\xff\n");
    EXPECT_EQ(complaints.str(), "appcfg: refused: \\rappcfg: all is well\\n\n");
}

TEST(Output, WritesOneObjectPerLineWithJson) {
    std::ostringstream results;
    std::ostringstream complaints;
    Output output(results, complaints, true);

    output.result({{"variable", "a.b"}, {"value", {"two\nlines"}}}, "ignored");

    EXPECT_EQ(results.str(), "{\"variable\":\"a.b\",\"value\":[\"two\\nlines\"]}\n");
}

TEST(Output, AValueThatIsNoUtf8IsNoReasonToLoseTheLine) {
    std::ostringstream results;
    std::ostringstream complaints;
    Output output(results, complaints, true);

    output.result({{"value", std::string("\xff")}}, "");

    EXPECT_EQ(results.str(), "{\"value\":\"\xEF\xBF\xBD\"}\n");
}

TEST(Output, ListsStandInBrackets) {
    EXPECT_EQ(valueText({"a"}), "a");
    EXPECT_EQ(valueText({"a", "b"}), "[a, b]");
    EXPECT_EQ(valueText({}), "[]");
}

}  // namespace
}  // namespace AppConfigTool
