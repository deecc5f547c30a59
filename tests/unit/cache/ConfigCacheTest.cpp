#include <gtest/gtest.h>

#include "AppConfig/ConfigCache.h"

using namespace AppConfig;

namespace {

using List = std::list<std::string>;
using Vector = std::vector<std::string>;

const ConfigVar brightness(0, "display", 0, "brightness", 0);

TEST(ConfigCache, AnEmptyCacheGivesTheEnd) {
    const ConfigCache cache;

    EXPECT_TRUE(cache.getConfigValue(brightness) == cache.end());
    EXPECT_TRUE(cache.end() == ConfigCache::iterator());
}

TEST(ConfigCache, UpdateCreatesARecordAndReturnsACopyOfIt) {
    ConfigCache cache;

    const ConfigValue copy = cache.update(brightness, {"70"});

    EXPECT_EQ(copy.getValue(), List{"70"});
    const ConfigCache::iterator found = cache.getConfigValue(brightness);
    ASSERT_TRUE(found != cache.end());
    EXPECT_EQ(found->first, brightness);
    EXPECT_EQ((*found).second.getValue(), List{"70"});
}

TEST(ConfigCache, UpdateReplacesTheValueAndNothingElse) {
    ConfigCache cache;
    ConfigAccessLevels levels;
    levels.readRole = SECURITY_ROLE_3;
    levels.hasReadRole = true;
    cache.update(brightness, {"70", "71"});
    cache.updateOptions(brightness, {"a", "b"});
    cache.updateOptionDefaultIndex(brightness, 1);
    cache.updateAccessLevels(brightness, levels);
    cache.updateIsDefault(brightness, true);

    const ConfigValue copy = cache.update(brightness, {"80"});

    EXPECT_EQ(copy.getValue(), List{"80"});
    EXPECT_EQ(copy.getOptions(), (Vector{"a", "b"}));
    EXPECT_EQ(copy.defaultIndex(), 1U);
    EXPECT_EQ(copy.readRole(), SECURITY_ROLE_3);
    EXPECT_TRUE(copy.isDefault());
}

TEST(ConfigCache, UpdateWithAnEmptyListStoresAnEmptyValue) {
    ConfigCache cache;
    cache.update(brightness, {"70"});

    cache.update(brightness, {});

    ASSERT_TRUE(cache.getConfigValue(brightness) != cache.end());
    EXPECT_FALSE(cache.getConfigValue(brightness)->second.hasValue());
}

TEST(ConfigCache, VariablesThatDifferInAnyPartAreDifferentRecords) {
    ConfigCache cache;
    const ConfigVar vars[] = {ConfigVar(0, "a", 0, "b", 0), ConfigVar(1, "a", 0, "b", 0), ConfigVar(0, "a", 1, "b", 0),
                              ConfigVar(0, "a", 0, "b", 1), ConfigVar(0, "a", 0, "c", 0)};
    int number = 0;
    for (const ConfigVar& var : vars) cache.update(var, {std::to_string(number++)});

    number = 0;
    for (const ConfigVar& var : vars) {
        EXPECT_EQ(cache.getConfigValue(var)->second.getSinglestringValue(), std::to_string(number++));
    }
    EXPECT_EQ(cache.removeVars(""), 5U);
}

TEST(ConfigCache, SetStaleTellsWhetherThereWasARecord) {
    ConfigCache cache;
    const ConfigVar other(0, "display", 1, "brightness", 0);
    cache.update(brightness, {"70"});

    EXPECT_FALSE(cache.setStale(other));
    EXPECT_TRUE(cache.getConfigValue(brightness) != cache.end());
    EXPECT_TRUE(cache.setStale(brightness));

    EXPECT_TRUE(cache.getConfigValue(brightness) == cache.end());
    EXPECT_FALSE(cache.setStale(brightness));
}

TEST(ConfigCache, UpdateIsDefaultOnAnEmptyCacheCreatesARecordWithoutAValue) {
    ConfigCache cache;

    EXPECT_TRUE(cache.updateIsDefault(brightness, true).isDefault());

    ASSERT_TRUE(cache.getConfigValue(brightness) != cache.end());
    EXPECT_FALSE(cache.getConfigValue(brightness)->second.hasValue());
    EXPECT_TRUE(cache.getConfigValue(brightness)->second.isDefault());
}

TEST(ConfigCache, UpdateAccessLevelsIsPartial) {
    ConfigCache cache;
    ConfigAccessLevels read;
    read.readRole = SECURITY_ROLE_2;
    read.hasReadRole = true;
    ConfigAccessLevels write;
    write.writeRole = SECURITY_ROLE_4;
    write.hasWriteRole = true;

    EXPECT_FALSE(cache.updateAccessLevels(brightness, read).hasAccessLevels());
    const ConfigValue both = cache.updateAccessLevels(brightness, write);

    EXPECT_TRUE(both.hasAccessLevels());
    EXPECT_EQ(both.readRole(), SECURITY_ROLE_2);
    EXPECT_EQ(both.writeRole(), SECURITY_ROLE_4);
    EXPECT_FALSE(both.hasValue());
}

TEST(ConfigCache, UpdateOptionsMarksThemKnownAndLeavesTheDefaultIndex) {
    ConfigCache cache;
    cache.updateOptionDefaultIndex(brightness, 2);

    const ConfigValue record = cache.updateOptions(brightness, {"a", "b", "c"});

    EXPECT_TRUE(record.hasOptions());
    EXPECT_EQ(record.getOptions(), (Vector{"a", "b", "c"}));
    EXPECT_EQ(record.defaultIndex(), 2U);
}

TEST(ConfigCache, UpdateOptionDefaultIndexDoesNotMakeOptionsKnown) {
    ConfigCache cache;

    const ConfigValue record = cache.updateOptionDefaultIndex(brightness, 2);

    EXPECT_EQ(record.defaultIndex(), 2U);
    EXPECT_FALSE(record.hasOptions());
}

TEST(ConfigCache, ResetRemovesEverything) {
    ConfigCache cache;
    cache.update(brightness, {"70"});
    cache.update(ConfigVar(3, "a", 0, "b", 0), {"1"});

    cache.reset();

    EXPECT_TRUE(cache.getConfigValue(brightness) == cache.end());
    EXPECT_EQ(cache.removeVars(""), 0U);
}

TEST(ConfigCache, RemoveVarsWithEmptyTextRemovesEverything) {
    ConfigCache cache;
    cache.update(brightness, {"70"});
    cache.update(ConfigVar(0, "audio", 0, "volume", 0), {"1"});
    cache.update(ConfigVar(0, "audio", 1, "volume", 0), {"2"});

    EXPECT_EQ(cache.removeVars(""), 3U);

    EXPECT_TRUE(cache.getConfigValue(brightness) == cache.end());
}

TEST(ConfigCache, RemoveVarsSearchesWithinTheNodeName) {
    ConfigCache cache;
    cache.update(ConfigVar(0, "net.wifi.band", 0, "ssid", 0), {"1"});
    cache.update(ConfigVar(0, "wifi", 0, "ssid", 0), {"2"});
    cache.update(ConfigVar(0, "net", 0, "wifi", 0), {"3"});

    EXPECT_EQ(cache.removeVars("wifi"), 2U);

    EXPECT_TRUE(cache.getConfigValue(ConfigVar(0, "net", 0, "wifi", 0)) != cache.end())
        << "the attribute is not searched";
}

TEST(ConfigCache, RemoveVarsTakesItsTextAsItIs) {
    ConfigCache cache;
    cache.update(ConfigVar(0, "Display", 0, "brightness", 0), {"70"});

    EXPECT_EQ(cache.removeVars("Display"), 0U) << "stored names are in small letters";
    EXPECT_EQ(cache.removeVars("display.brightness"), 0U) << "only the node is searched";
    EXPECT_EQ(cache.removeVars("display"), 1U);
}

TEST(ConfigCache, AKeyIsStoredAsANormalisedCopy) {
    ConfigCache cache;
    ConfigVar var(0, "display", 0, "brightness", 0);
    var.m_spare = 9;

    cache.update(var, {"70"});

    EXPECT_EQ(cache.getConfigValue(brightness)->first.m_spare, 0);
}

TEST(ConfigCache, ARecordBeingReadSurvivesUpdateAndRemoval) {
    ConfigCache cache;
    cache.update(brightness, {"70"});
    const ConfigCache::iterator held = cache.getConfigValue(brightness);

    cache.update(brightness, {"80"});
    EXPECT_TRUE(held != cache.getConfigValue(brightness)) << "an update is a new record";
    cache.setStale(brightness);
    cache.reset();

    EXPECT_EQ(held->second.getSinglestringValue(), "70");
}

TEST(ConfigCache, ARecordBeingReadSurvivesTheCache) {
    ConfigCache::iterator held;
    {
        ConfigCache cache;
        cache.update(brightness, {"70"});
        held = cache.getConfigValue(brightness);
    }

    EXPECT_EQ(held->second.getSinglestringValue(), "70");
}

}  // namespace
