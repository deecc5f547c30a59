// What a role learns of a variable that it may write and not read.
#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

const char* const definitions = R"(
variable { node: "a" attribute: "number" type: INT minimum: 3 maximum: 77 default_value: "5" read_level: 3 write_level: 1 }
variable { node: "a" attribute: "mode" type: TEXT option: "alpha" option: "beta" read_level: 3 write_level: 1 }
variable { node: "a" attribute: "code" type: TEXT pattern: "[x-z]*" max_length: 9 read_level: 3 write_level: 1 }
)";

struct Reasons : ::testing::Test {
    Reasons() { bench.pass(10s); }

    CoreBench bench{definitions};
    Peer writer{bench, "w"};
};

TEST_F(Reasons, NameNeitherLimitsNorOptionsNorPatternBelowTheReadLevel) {
    for (const bool validates : {false, true}) {
        const auto message = [&](const std::string& variable, const std::string& value, int role) {
            const ConfigIF::ReturnMessage result =
                validates ? writer.validate(variable, {value}, role) : writer.write(variable, {value}, role);
            EXPECT_NE(result.error(), CommonIF::ERROR_NONE);
            return result.message(0);
        };
        EXPECT_EQ(message("a.number", "78", 2), "a.number: role 2 may not know why it is refused");
        EXPECT_EQ(message("a.mode", "gamma", 1), "a.mode: role 1 may not know why it is refused");
        EXPECT_EQ(message("a.code", "no", 2), "a.code: role 2 may not know why it is refused");
        EXPECT_EQ(message("a.code", "xxxxxxxxxx", 2), "a.code: role 2 may not know why it is refused");
        EXPECT_EQ(message("a.number", "78", 3), "a.number: 78 is above the maximum 77");
    }
}

TEST_F(Reasons, KeepTheCodeAndWhatLevelsAndNamesTell) {
    EXPECT_EQ(writer.write("a.number", {"78"}, 2).error(), CommonIF::ERROR_OUT_OF_RANGE);
    EXPECT_EQ(writer.write("a.number", {"78"}, 0).message(0), "a.number: role 0 does not reach the write level 1");
}

TEST_F(Reasons, OfProvidersAreKeptFromWhoMayNotRead) {
    Peer provider(bench, "p");
    provider.registerFor("a.number", dynamicValidate);
    provider.registerFor("a.number", onChange);
    for (const int role : {2, 3}) {
        const ConnectionId refused = writer.post(writeRequest("a.number", {"10"}, role));
        provider.answer(*provider.question(), CommonIF::ERROR_REJECTED, {"it was 5 before"});
        const auto refusal = writer.replyTo<ConfigIF::WriteRsp>(refused).value().result();
        EXPECT_EQ(refusal.error(), CommonIF::ERROR_REJECTED);
        EXPECT_THAT(refusal.message(), ElementsAre(role == 3 ? "it was 5 before" : "a.number: a provider refused it"));

        const ConnectionId taken = writer.post(writeRequest("a.number", {std::to_string(10 + role)}, role));
        provider.answer(*provider.question(), CommonIF::ERROR_NONE, {"it was 5"});
        provider.answer(*provider.question(), CommonIF::ERROR_GENERAL, {"it is 5 still"});
        const auto result = writer.replyTo<ConfigIF::WriteRsp>(taken).value().result();
        EXPECT_EQ(result.error(), CommonIF::ERROR_NONE);
        EXPECT_TRUE(result.result_flag());
        EXPECT_EQ(result.message_size(), role == 3 ? 2 : 0);
    }
}

TEST_F(Reasons, QuoteNoValueInTheLogThatTheFormerOrTheNewLevelHides) {
    writer.write("a.number", {"66"});
    const std::string open = "variable { node: 'a' attribute: 'number' type: INT minimum: 3 default_value: '5' ";
    ASSERT_TRUE(bench.reload(open + "maximum: 60 read_level: 0 }"));
    EXPECT_TRUE(bench.logged("a.number falls back to its default"));
    EXPECT_THAT(bench.log, Each(Not(HasSubstr("66"))));
    writer.write("a.number", {"50"});
    ASSERT_TRUE(bench.reload(open + "maximum: 40 read_level: 2 }"));
    EXPECT_THAT(bench.log, Each(Not(HasSubstr("50"))));
    writer.write("a.number", {"30"});
    ASSERT_TRUE(bench.reload(open + "maximum: 20 read_level: 0 }"));
    ASSERT_TRUE(bench.reload(open + "maximum: 90 }"));
    writer.write("a.number", {"70"});
    ASSERT_TRUE(bench.reload(open + "maximum: 20 }"));
    EXPECT_THAT(bench.log, Each(Not(HasSubstr("30"))));
    EXPECT_TRUE(bench.logged("70 is above the maximum 20")) << "that was open before and after";
}

}  // namespace
}  // namespace ServiceTest
