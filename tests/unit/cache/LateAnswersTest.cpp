#include <gtest/gtest.h>

#include "AppConfig/ConfigCache.h"

// An answer of the service's reaches the cache some time after it was given; others may have stored something newer, or
// something older, meanwhile.

namespace {

using AppConfig::ConfigAccessLevels;
using AppConfig::ConfigCache;

const ConfigVar brightness(0, "display", 0, "brightness", 0);
const ConfigVar contrast(0, "display", 0, "contrast", 0);

ConfigAccessLevels levels(AppConfig::SecurityRole read, AppConfig::SecurityRole write) {
    ConfigAccessLevels result;
    result.readRole = read;
    result.writeRole = write;
    result.hasReadRole = result.hasWriteRole = true;
    return result;
}

TEST(LateAnswers, AValueIsStoredWhenNothingHappenedMeanwhile) {
    ConfigCache cache;

    EXPECT_TRUE(cache.updateSince(brightness, cache.now(), {"1"}));
    EXPECT_TRUE(cache.updateSince(brightness, cache.now(), {"2"}));

    EXPECT_EQ(cache.getConfigValue(brightness)->second.getSinglestringValue(), "2");
}

TEST(LateAnswers, AValueThatWasReplacedMeanwhileBecomesUnknown) {
    ConfigCache cache;
    cache.update(brightness, {"1"});
    cache.updateOptions(brightness, {"1", "2", "3"});
    const auto before = cache.now();
    cache.update(brightness, {"3"});

    EXPECT_FALSE(cache.updateSince(brightness, before, {"2"}));

    ASSERT_TRUE(cache.getConfigValue(brightness) != cache.end()) << "only one item is in doubt";
    EXPECT_FALSE(cache.getConfigValue(brightness)->second.hasValue());
    EXPECT_TRUE(cache.getConfigValue(brightness)->second.hasOptions());
}

TEST(LateAnswers, AValueThatWasReplacedAndReplacedBackMeanwhileBecomesUnknown) {
    ConfigCache cache;
    cache.update(brightness, {"1"});
    const auto before = cache.now();
    cache.update(brightness, {"2"});
    cache.update(brightness, {"1"});

    EXPECT_FALSE(cache.updateSince(brightness, before, {"2"}));

    EXPECT_FALSE(cache.getConfigValue(brightness)->second.hasValue());
}

TEST(LateAnswers, AValueThatBecameEmptyMeanwhileDoesNotComeBack) {
    ConfigCache cache;
    cache.update(brightness, {"1"});
    const auto before = cache.now();
    cache.update(brightness, {});

    EXPECT_FALSE(cache.updateSince(brightness, before, {"1"}));

    EXPECT_FALSE(cache.getConfigValue(brightness)->second.hasValue());
}

TEST(LateAnswers, AValueThatAnotherAnswerBroughtMeanwhileStays) {
    ConfigCache cache;
    const auto before = cache.now();
    cache.update(brightness, {"2"});

    EXPECT_TRUE(cache.updateSince(brightness, before, {"2"}));

    EXPECT_EQ(cache.getConfigValue(brightness)->second.getSinglestringValue(), "2");
}

TEST(LateAnswers, AValueIsStoredWhenOnlyOtherItemsOrVariablesChangedMeanwhile) {
    ConfigCache cache;
    cache.update(brightness, {"70"});
    const auto before = cache.now();
    cache.updateOptions(brightness, {"70", "80"});
    cache.updateAccessLevels(brightness, levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_2));
    cache.updateOptionDefaultIndex(brightness, 1);
    cache.updateIsDefault(brightness, true);
    cache.update(contrast, {"5"});

    EXPECT_TRUE(cache.updateSince(brightness, before, {"80"}));

    EXPECT_EQ(cache.getConfigValue(brightness)->second.getSinglestringValue(), "80");
    EXPECT_TRUE(cache.getConfigValue(brightness)->second.hasOptions());
    EXPECT_TRUE(cache.getConfigValue(brightness)->second.hasAccessLevels());
}

TEST(LateAnswers, AValueThatWasResetMeanwhileDoesNotComeBack) {
    ConfigCache cache;
    cache.update(brightness, {"1"});
    const auto before = cache.now();
    cache.setStale(brightness);

    EXPECT_FALSE(cache.updateSince(brightness, before, {"1"}));

    EXPECT_FALSE(cache.getConfigValue(brightness)->second.hasValue());
}

TEST(LateAnswers, OptionsThatWereReplacedMeanwhileBecomeUnknown) {
    ConfigCache cache;
    cache.update(brightness, {"1"});
    const auto before = cache.now();
    cache.updateOptions(brightness, {"1", "3"});

    EXPECT_FALSE(cache.updateOptionsSince(brightness, before, {"1", "2"}, 1));

    EXPECT_FALSE(cache.getConfigValue(brightness)->second.hasOptions());
    EXPECT_EQ(cache.getConfigValue(brightness)->second.getSinglestringValue(), "1");
}

TEST(LateAnswers, OptionsThatAnotherAnswerBroughtMeanwhileStay) {
    ConfigCache cache;
    const auto before = cache.now();
    EXPECT_TRUE(cache.updateOptionsSince(brightness, before, {"1", "2"}, 1));

    EXPECT_TRUE(cache.updateOptionsSince(brightness, before, {"1", "2"}, 1));

    EXPECT_TRUE(cache.getConfigValue(brightness)->second.hasOptions());
    EXPECT_EQ(cache.getConfigValue(brightness)->second.defaultIndex(), 1U);
}

TEST(LateAnswers, LevelsThatWereReplacedMeanwhileBecomeUnknown) {
    ConfigCache cache;
    cache.update(brightness, {"1"});
    const auto before = cache.now();
    ConfigAccessLevels announced;
    announced.writeRole = AppConfig::SECURITY_ROLE_4;
    announced.hasWriteRole = true;
    cache.updateAccessLevels(brightness, announced);

    EXPECT_FALSE(cache.updateAccessLevelsSince(brightness, before,
                                               levels(AppConfig::SECURITY_ROLE_NONE, AppConfig::SECURITY_ROLE_1)));

    EXPECT_FALSE(cache.getConfigValue(brightness)->second.hasAccessLevels());
    EXPECT_EQ(cache.getConfigValue(brightness)->second.getSinglestringValue(), "1");
}

TEST(LateAnswers, LevelsThatAnotherAnswerBroughtMeanwhileStay) {
    ConfigCache cache;
    const auto before = cache.now();
    const ConfigAccessLevels answer = levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_2);
    EXPECT_TRUE(cache.updateAccessLevelsSince(brightness, before, answer));

    EXPECT_TRUE(cache.updateAccessLevelsSince(brightness, before, answer));

    EXPECT_TRUE(cache.getConfigValue(brightness)->second.hasAccessLevels());
}

}  // namespace
