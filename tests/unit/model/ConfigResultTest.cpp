#include <gtest/gtest.h>

#include "AppConfig/ConfigResult.h"

namespace {

using Texts = std::list<std::string>;

TEST(ConfigResult, StartsWithoutErrorAndEmpty) {
    const ConfigResult result;

    EXPECT_EQ(result.m_error, CFG_ERROR_NONE);
    EXPECT_FALSE(result.m_flag);
    EXPECT_TRUE(result.m_messages.empty());
    EXPECT_EQ(result.m_serverContext, "");
    EXPECT_EQ(result.m_clientName, "");
}

TEST(ConfigResult, FillDefaultsClearsAllButTheNames) {
    ConfigResult result;
    result.fillConfigResult(true, CFG_ERROR_REJECTED, true);
    result.addResultMessage("one");
    result.addResultMessage("two");
    result.addResultMessage("three");
    result.setServerContext("context");
    result.setClientName("client");

    ConfigResult& returned = ConfigResult::fillDefaults(result);

    EXPECT_EQ(&returned, &result);
    EXPECT_EQ(result.m_error, CFG_ERROR_NONE);
    EXPECT_FALSE(result.m_flag);
    EXPECT_TRUE(result.m_messages.empty());
    EXPECT_EQ(result.m_serverContext, "context");
    EXPECT_EQ(result.m_clientName, "client");
}

TEST(ConfigResult, FillConfigResultStoresErrorAndFlagAndReturnsItsArgument) {
    ConfigResult result;
    result.addResultMessage("kept");

    EXPECT_FALSE(result.fillConfigResult(false, CFG_ERROR_BUSY, true));
    EXPECT_EQ(result.m_error, CFG_ERROR_BUSY);
    EXPECT_TRUE(result.m_flag);
    EXPECT_EQ(result.m_messages, Texts{"kept"});

    EXPECT_TRUE(result.fillConfigResult(true, CFG_ERROR_NONE, false));
    EXPECT_EQ(result.m_error, CFG_ERROR_NONE);
    EXPECT_FALSE(result.m_flag);
}

TEST(ConfigResult, TheSameMessageTwiceIsKeptTwiceInOrder) {
    ConfigResult result;

    result.addResultMessage("a");
    result.addResultMessage("b");
    result.addResultMessage("a");

    EXPECT_EQ(result.m_messages, (Texts{"a", "b", "a"}));
}

TEST(ConfigResult, SettersReplaceTheNames) {
    ConfigResult result;
    result.setServerContext("old");
    result.setClientName("old");

    result.setServerContext("context");
    result.setClientName("");

    EXPECT_EQ(result.m_serverContext, "context");
    EXPECT_EQ(result.m_clientName, "");
}

}  // namespace
