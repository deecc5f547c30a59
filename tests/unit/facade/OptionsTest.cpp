#include "ManagerFixture.h"

namespace {

using namespace ManagerTest;

class Options : public Manager {
protected:
    void answerDefaultOptions(const List& options, unsigned int index) {
        ConfigIF::GetDefaultOptionsRsp reply;
        for (const std::string& option : options) reply.add_option(option);
        reply.set_default_index(index);
        transport.answerWith(reply);
    }
    void refuseSetOptions() {
        ConfigIF::SetAttributeOptionsRsp reply;
        reply.set_error(CommonIF::ERROR_ACCESS_DENIED);
        transport.answerWith(reply);
    }
    unsigned int cachedIndex() { return manager.retrieveConfigVar(brightness)->second.defaultIndex(); }
};

TEST_F(Options, AreReadAfterTheValueAndCachedWithTheIndex) {
    answerRead({"day"});
    answerOptions({"day", "night"}, 1);
    Vector options{"old"};

    Vector& returned = manager.getConfigOptions(brightness, options);

    EXPECT_EQ(&returned, &options);
    EXPECT_EQ(options, (Vector{"day", "night"}));
    EXPECT_EQ(transport.types(),
              (Names{"ReadReq", "RegisterClientCallbackReq", "GetAttributeOptionsReq", "RegisterClientCallbackReq"}));
    EXPECT_EQ(manager.retrieveConfigVar(brightness)->second.getOptions(), (Vector{"day", "night"}));
    EXPECT_EQ(cachedIndex(), 1U);
}

TEST_F(Options, ASecondCallIsAnsweredFromTheCache) {
    answerRead({"day"});
    answerOptions({"day", "night"}, 1);
    Vector options;
    manager.getConfigOptions(brightness, options);
    transport.forget();
    options = {"old"};

    manager.getConfigOptions("Display", 0, "Brightness", 0, options);

    EXPECT_EQ(options, (Vector{"day", "night"}));
    EXPECT_TRUE(transport.records().empty());
}

TEST_F(Options, OfAVariableThatCannotBeReadAreEmptyAndNotCached) {
    refuseReads();
    Vector options{"old"};

    manager.getConfigOptions(brightness, options);

    EXPECT_TRUE(options.empty());
    EXPECT_FALSE(isCached(manager, brightness));
    EXPECT_EQ(transport.types(), Names{"ReadReq"});
}

TEST_F(Options, AFailedAnswerIsCachedAsNone) {
    answerRead({"day"});
    transport.failRequests("ConfigIF.GetAttributeOptionsReq", 3);
    Vector options{"old"};

    manager.getConfigOptions(brightness, options);
    EXPECT_TRUE(options.empty());
    manager.getConfigOptions(brightness, options);

    EXPECT_EQ(asked<ConfigIF::GetAttributeOptionsReq>(), 1U);
    EXPECT_TRUE(manager.retrieveConfigVar(brightness)->second.hasOptions());
    EXPECT_EQ(cachedIndex(), 0U);
}

TEST_F(Options, AnEmptyAnswerFromTheCacheIsReportedOnStandardOutput) {
    answerRead({"day"});
    answerOptions({}, 0);
    Vector options;
    manager.getConfigOptions(brightness, options);
    options = {"old"};

    ::testing::internal::CaptureStdout();
    manager.getConfigOptions(brightness, options);

    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "empty in getOptions\n");
    EXPECT_TRUE(options.empty());
    EXPECT_EQ(asked<ConfigIF::GetAttributeOptionsReq>(), 1U);
}

TEST_F(Options, ARecordIsEnoughTheValueIsNotNeeded) {
    manager.updateIsDefault(brightness, true);
    answerOptions({"day"}, 0);
    Vector options;

    manager.getConfigOptions(brightness, options);

    EXPECT_EQ(options, Vector{"day"});
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U);
}

TEST_F(Options, TheListFormAppends) {
    answerRead({"day"});
    answerOptions({"day", "night"}, 1);
    List options{"old"};

    List& returned = manager.getConfigOptions("display", 0, "brightness", 0, options);

    EXPECT_EQ(&returned, &options);
    EXPECT_EQ(options, (List{"old", "day", "night"}));
}

TEST_F(Options, LookTheCacheUpWithTheNamespaceAsGiven) {
    answerRead({"day"});
    answerOptions({"day"}, 0);
    managerOf4.getConfigVar(brightnessOf4);
    transport.forget();
    Vector options{"old"};

    managerOf4.getConfigOptions(brightnessOf4, options);

    EXPECT_TRUE(options.empty()) << "the record of the value stands under namespace 0 and is not seen";
    EXPECT_TRUE(transport.records().empty()) << "the read path found the value there";
}

TEST_F(Options, DefaultOptionsAreAppendedAndAskedForOnEveryCall) {
    answerDefaultOptions({"day", "night"}, 1);
    Vector options{"old"};

    Vector& returned = manager.getConfigDefaultOptions("Display", 0, "Brightness", 0, options);
    manager.getConfigDefaultOptions("Display", 0, "Brightness", 0, options);

    EXPECT_EQ(&returned, &options);
    EXPECT_EQ(options, (Vector{"old", "day", "night", "day", "night"}));
    EXPECT_EQ(transport.types(), (Names{"GetDefaultOptionsReq", "GetDefaultOptionsReq"}));
    EXPECT_EQ(cachedIndex(), 1U);
    EXPECT_FALSE(manager.retrieveConfigVar(brightness)->second.hasOptions()) << "only the index is cached";
}

TEST_F(Options, FailedDefaultOptionsAppendNothingAndCacheIndexZero) {
    manager.updateConfigVar(brightness, {"day"});
    answerDefaultOptions({"day", "night"}, 1);
    Vector options;
    manager.getConfigDefaultOptions("display", 0, "brightness", 0, options);
    transport.failRequests("", 3);
    options = {"old"};

    manager.getConfigDefaultOptions("display", 0, "brightness", 0, options);

    EXPECT_EQ(options, Vector{"old"});
    EXPECT_EQ(cachedIndex(), 0U);
}

TEST_F(Options, TheDefaultIndexOfAnUncachedVariableIsFetchedWithValueAndOptions) {
    answerRead({"day"});
    answerOptions({"day", "night"}, 1);
    unsigned int index = 9;

    EXPECT_TRUE(manager.getConfigOptionDefaultIndex(brightness, index));

    EXPECT_EQ(index, 1U);
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
    EXPECT_EQ(asked<ConfigIF::GetAttributeOptionsReq>(), 1U);
}

TEST_F(Options, TheDefaultIndexOfARecordWithoutOptionsIsNotAskedFor) {
    manager.updateConfigVar(brightness, {"day"});
    unsigned int index = 9;

    EXPECT_TRUE(manager.getConfigOptionDefaultIndex("Display", 0, "Brightness", 0, index));

    EXPECT_EQ(index, 0U);
    EXPECT_TRUE(transport.records().empty());
}

TEST_F(Options, TheDefaultIndexOfAVariableThatCannotBeReadIsUntouched) {
    refuseReads();
    unsigned int index = 9;

    EXPECT_FALSE(manager.getConfigOptionDefaultIndex(brightness, index));
    EXPECT_FALSE(manager.getConfigOptionDefaultIndex("display", 0, "brightness", 0, index));

    EXPECT_EQ(index, 9U);
}

TEST_F(Options, SettingThemWithoutAnIndexChangesNothingInTheCache) {
    manager.updateConfigVarOptions("display", 0, "brightness", 0, {"day"});

    EXPECT_TRUE(manager.setConfigOptions("Display", 0, "Brightness", 0, {"a", "b"}));

    const auto request = transport.requests<ConfigIF::SetAttributeOptionsReq>().at(0);
    EXPECT_EQ(stepsOf(request.inst()), (Steps{{"display", 0}, {"brightness", 0}}));
    EXPECT_EQ(request.option_size(), 2);
    EXPECT_FALSE(request.has_default_index());
    EXPECT_EQ(manager.retrieveConfigVar(brightness)->second.getOptions(), Vector{"day"});
    EXPECT_EQ(cachedIndex(), 0U);
}

TEST_F(Options, SettingThemWithAnIndexCachesTheIndexOnly) {
    manager.updateConfigVarOptions("display", 0, "brightness", 0, {"day"});

    EXPECT_TRUE(manager.setConfigOptions("Display", 0, "Brightness", 0, {"a", "b"}, 1));

    EXPECT_EQ(transport.requests<ConfigIF::SetAttributeOptionsReq>().at(0).default_index(), 1U);
    EXPECT_EQ(manager.retrieveConfigVar(brightness)->second.getOptions(), Vector{"day"});
    EXPECT_EQ(cachedIndex(), 1U);
}

TEST_F(Options, RefusedOnesChangeNothing) {
    refuseSetOptions();
    manager.updateConfigVar(brightness, {"day"});

    EXPECT_FALSE(manager.setConfigOptions("display", 0, "brightness", 0, {"a", "b"}));
    EXPECT_FALSE(manager.setConfigOptions("display", 0, "brightness", 0, {"a", "b"}, 1));

    EXPECT_EQ(cachedIndex(), 0U);
}

TEST_F(Options, AnnouncedOnesAreCachedWithoutSendingAnything) {
    manager.updateConfigVarOptions("Display", 0, "Brightness", 0, {"a", "b"});

    EXPECT_EQ(manager.retrieveConfigVar(brightness)->second.getOptions(), (Vector{"a", "b"}));
    EXPECT_TRUE(transport.records().empty());
}

// ---- default and reset

TEST_F(Options, IsDefaultReadsTheVariableOnce) {
    answerRead({"day"}, false);

    EXPECT_FALSE(manager.isDefault("Display", 0, "Brightness", 0));
    EXPECT_FALSE(manager.isDefault("Display", 0, "Brightness", 0));
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);

    manager.updateIsDefault(brightness, true);
    EXPECT_TRUE(manager.isDefault("Display", 0, "Brightness", 0));
}

TEST_F(Options, AVariableThatCannotBeReadCountsAsDefault) {
    refuseReads();

    EXPECT_TRUE(manager.isDefault("display", 0, "brightness", 0));
}

TEST_F(Options, AfterAResetTheNextReadAsksTheService) {
    answerRead({"day"});
    manager.getConfigVar(brightness);

    EXPECT_TRUE(manager.resetValue("Display", 0, "Brightness", 0));
    answerRead({"night"}, true);

    EXPECT_FALSE(isCached(manager, brightness));
    EXPECT_EQ(manager.getConfigVar(brightness), "night");
    EXPECT_EQ(stepsOf(transport.requests<ConfigIF::ResetValueReq>().at(0).inst()),
              (Steps{{"display", 0}, {"brightness", 0}}));
}

TEST_F(Options, AFailedResetLeavesTheCachedValue) {
    answerRead({"day"});
    manager.getConfigVar(brightness);
    transport.failRequests("ConfigIF.ResetValueReq", 3);

    EXPECT_FALSE(manager.resetValue("display", 0, "brightness", 0));

    EXPECT_EQ(manager.getConfigVar(brightness), "day");
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
}

}  // namespace
