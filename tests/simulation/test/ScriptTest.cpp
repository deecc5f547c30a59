#include <gtest/gtest.h>

#include "script/ScriptText.h"

namespace Simulation {
namespace {

TEST(Script, IsTheSameAfterItWasWrittenAndRead) {
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        const std::string text = toText(generate(seed));
        Script read;
        std::string error;
        ASSERT_TRUE(fromText(text, read, error)) << error;
        EXPECT_EQ(toText(read), text);
    }
}

TEST(Script, WithAnUnknownWordIsRefusedWithItsLine) {
    Script script;
    std::string error;
    EXPECT_FALSE(fromText("seed 1\nprocess uid 0 deadline 5000\nthread\n  jump variable 3\n", script, error));
    EXPECT_EQ(error, "line 4 cannot be read:   jump variable 3");
}

TEST(Script, OfASeedIsAlwaysTheSame) {
    EXPECT_EQ(toText(generate(7)), toText(generate(7)));
    EXPECT_NE(toText(generate(7)), toText(generate(8)));
}

}  // namespace
}  // namespace Simulation
