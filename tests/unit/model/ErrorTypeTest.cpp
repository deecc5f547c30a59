#include <gtest/gtest.h>

#include <set>
#include <string>

#include "AppConfig/ErrorType.h"

TEST(ErrorType, NoErrorIsZeroAndAMalformedNameIsMinus25) {
    EXPECT_EQ(CFG_ERROR_NONE, 0);
    EXPECT_EQ(CFG_ERROR_MALFORMED_NAME, -25);
    EXPECT_EQ(sizeof(eErrorT), 4U);
}

TEST(ErrorType, EveryErrorHasATextOfItsOwn) {
    std::set<std::string> texts;
    for (int number = -20; number <= 0; ++number) texts.insert(AppConfig::errorText(static_cast<eErrorT>(number)));
    texts.insert(AppConfig::errorText(CFG_ERROR_MALFORMED_NAME));

    EXPECT_EQ(texts.size(), 22U);
    EXPECT_EQ(texts.count("unknown error"), 0U);
    EXPECT_EQ(texts.count(""), 0U);
    EXPECT_STREQ(AppConfig::errorText(static_cast<eErrorT>(-21)), "unknown error");
}
