// Equal texts share their bytes for as long as somebody holds them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "wire/SharedTexts.h"

namespace {

using AppConfigWire::SharedTexts;
using AppConfigWire::Text;

TEST(SharedTexts, AreOneInMemory) {
    SharedTexts texts;
    const Text one = texts.share("link");
    EXPECT_EQ(*one, "link");
    EXPECT_EQ(texts.share(std::string("li") + "nk"), one);
    EXPECT_NE(texts.share("self"), one);
}

TEST(SharedTexts, AreMadeAnewOnceNobodyHoldsThem) {
    SharedTexts texts;
    { const Text one = texts.share("link"); }
    const Text again = texts.share("link");
    EXPECT_EQ(*again, "link");
    EXPECT_EQ(texts.share("link"), again);
}

TEST(SharedTexts, ThatAreHeldOutliveHoweverManyOthersCome) {
    SharedTexts texts;
    std::vector<Text> held;
    for (int i = 0; i < 1000; ++i) {
        held.push_back(texts.share("held" + std::to_string(i)));
        texts.share("gone" + std::to_string(i));
    }
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(texts.share("held" + std::to_string(i)), held[static_cast<std::size_t>(i)]);
}

}  // namespace
