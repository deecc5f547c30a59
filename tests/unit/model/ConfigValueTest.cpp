#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <type_traits>

#include "AppConfig/ConfigValue.h"

using namespace AppConfig;

namespace {

using List = std::list<std::string>;
using Vector = std::vector<std::string>;

std::string printedBy(const ConfigValue& value, Vector& options) {
    ::testing::internal::CaptureStdout();
    options = value.getOptions();
    return ::testing::internal::GetCapturedStdout();
}

TEST(ConfigValue, StartsKnowingNothing) {
    const ConfigValue value;

    EXPECT_FALSE(value.hasValue());
    EXPECT_EQ(value.getValue(), List());
    EXPECT_FALSE(value.hasAccessLevels());
    EXPECT_EQ(value.readRole(), SECURITY_ROLE_NONE);
    EXPECT_EQ(value.writeRole(), SECURITY_ROLE_NONE);
    EXPECT_FALSE(value.accessLevels().hasReadRole);
    EXPECT_FALSE(value.accessLevels().hasWriteRole);
    EXPECT_FALSE(value.hasOptions());
    EXPECT_FALSE(value.isDefault());
    EXPECT_EQ(value.defaultIndex(), 0U);
}

TEST(ConfigValue, HasNoVirtualFunctions) {
    EXPECT_FALSE(std::is_polymorphic_v<ConfigValue>);
    EXPECT_FALSE(std::is_polymorphic_v<ConfigAccessLevels>);
}

TEST(ConfigValue, TheSingleStringIsTheFirstOrEmpty) {
    ConfigValue value;
    EXPECT_EQ(value.getSinglestringValue(), "");

    value.setValue({"a", "b"});

    EXPECT_TRUE(value.hasValue());
    EXPECT_EQ(value.getSinglestringValue(), "a");
    EXPECT_EQ(value.getValue(), (List{"a", "b"}));
}

TEST(ConfigValue, SetValueTouchesNothingElse) {
    ConfigValue value;
    value.setOptions({"x"});
    value.readRole(SECURITY_ROLE_3);
    value.isDefault(true);
    value.defaultIndex(4);

    value.setValue({"a"});
    value.setValue({});

    EXPECT_FALSE(value.hasValue());
    EXPECT_TRUE(value.hasOptions());
    EXPECT_EQ(value.readRole(), SECURITY_ROLE_3);
    EXPECT_TRUE(value.isDefault());
    EXPECT_EQ(value.defaultIndex(), 4U);
}

TEST(ConfigValue, DefaultFlagAndIndexAreStoredUnchecked) {
    ConfigValue value;

    value.isDefault(true);
    value.defaultIndex(4000000000U);

    EXPECT_TRUE(value.isDefault());
    EXPECT_EQ(value.defaultIndex(), 4000000000U);
    value.isDefault(false);
    EXPECT_FALSE(value.isDefault());
}

TEST(ConfigValue, AccessLevelsAreKnownOnceBothRolesHaveBeenSet) {
    ConfigValue value;

    value.readRole(SECURITY_ROLE_2);
    EXPECT_FALSE(value.hasAccessLevels());
    value.writeRole(SECURITY_ROLE_NONE);

    EXPECT_TRUE(value.hasAccessLevels());
    EXPECT_EQ(value.readRole(), SECURITY_ROLE_2);
    EXPECT_EQ(value.writeRole(), SECURITY_ROLE_NONE);
}

TEST(ConfigValue, OnlyAWriteRoleLeavesTheReadRoleAndItsFlagAlone) {
    ConfigValue value;
    ConfigAccessLevels levels;
    levels.readRole = SECURITY_ROLE_4;
    levels.writeRole = SECURITY_ROLE_2;
    levels.hasWriteRole = true;

    value.accessLevels(levels);

    EXPECT_EQ(value.readRole(), SECURITY_ROLE_NONE);
    EXPECT_FALSE(value.accessLevels().hasReadRole);
    EXPECT_EQ(value.writeRole(), SECURITY_ROLE_2);
    EXPECT_TRUE(value.accessLevels().hasWriteRole);
    EXPECT_FALSE(value.hasAccessLevels());
}

TEST(ConfigValue, AccessLevelsSetOneAfterTheOtherAreBothKnown) {
    ConfigValue value;
    ConfigAccessLevels write;
    write.writeRole = SECURITY_ROLE_2;
    write.hasWriteRole = true;
    ConfigAccessLevels read;
    read.readRole = SECURITY_ROLE_1;
    read.hasReadRole = true;

    value.accessLevels(write);
    value.accessLevels(read);

    EXPECT_TRUE(value.hasAccessLevels());
    EXPECT_EQ(value.accessLevels().readRole, SECURITY_ROLE_1);
    EXPECT_EQ(value.accessLevels().writeRole, SECURITY_ROLE_2);
}

TEST(ConfigValue, AFlagIsNeverClearedByAccessLevels) {
    ConfigValue value;
    value.readRole(SECURITY_ROLE_3);
    value.writeRole(SECURITY_ROLE_4);

    value.accessLevels(ConfigAccessLevels());

    EXPECT_TRUE(value.hasAccessLevels());
    EXPECT_EQ(value.readRole(), SECURITY_ROLE_3);
    EXPECT_EQ(value.writeRole(), SECURITY_ROLE_4);
}

TEST(ConfigValue, SetOptionsWithNoneMakesThemKnownAndClearOptionsUnknown) {
    ConfigValue value;

    value.setOptions({});
    EXPECT_TRUE(value.hasOptions());

    value.clearOptions();
    EXPECT_FALSE(value.hasOptions());
}

TEST(ConfigValue, SetOptionsKeepsDuplicatesAndOrder) {
    ConfigValue value;

    value.setOptions({"b", "a", "b"});

    EXPECT_EQ(value.getOptions(), (Vector{"b", "a", "b"}));
}

TEST(ConfigValue, AddOptionKeepsOneOfEachByCase) {
    ConfigValue value;

    value.addOption("x");
    value.addOption("x");
    EXPECT_EQ(value.getOptions(), Vector{"x"});
    EXPECT_TRUE(value.hasOptions());
    value.addOption("X");

    EXPECT_EQ(value.getOptions(), (Vector{"x", "X"}));
}

TEST(ConfigValue, AddOptionsAddsEachAndMakesThemKnown) {
    ConfigValue value;

    value.addOptions({"a", "b", "a"});
    EXPECT_EQ(value.getOptions(), (Vector{"a", "b"}));

    ConfigValue none;
    none.addOptions({});
    EXPECT_TRUE(none.hasOptions());
}

TEST(ConfigValue, DeleteOptionOfAMissingOneChangesNothing) {
    ConfigValue value;
    value.setOptions({"a", "b"});
    value.defaultIndex(1);

    value.deleteOption("c");

    EXPECT_EQ(value.getOptions(), (Vector{"a", "b"}));
    EXPECT_EQ(value.defaultIndex(), 1U);
}

TEST(ConfigValue, DeleteOptionRemovesTheFirstEqualOneAndKeepsTheIndex) {
    ConfigValue value;
    value.setOptions({"a", "b", "c", "b"});
    value.defaultIndex(3);

    value.deleteOption("b");

    EXPECT_EQ(value.getOptions(), (Vector{"a", "c", "b"}));
    EXPECT_EQ(value.defaultIndex(), 3U);
}

TEST(ConfigValue, DeletingTheOnlyOptionLeavesAKnownEmptyList) {
    ConfigValue value;
    value.setOptions({"a"});

    value.deleteOption("a");

    EXPECT_TRUE(value.hasOptions());
    Vector options;
    EXPECT_EQ(printedBy(value, options), "empty in getOptions\n");
    EXPECT_TRUE(options.empty());
}

TEST(ConfigValue, DeleteOptionOnUnknownOptionsLeavesThemUnknown) {
    ConfigValue value;

    value.deleteOption("a");

    EXPECT_FALSE(value.hasOptions());
}

TEST(ConfigValue, GetOptionsOnAnEmptyListPrintsOncePerCall) {
    const ConfigValue value;

    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(value.getOptions().empty());
    EXPECT_TRUE(value.getOptions().empty());

    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "empty in getOptions\nempty in getOptions\n");
}

TEST(ConfigValue, GetOptionsPrintsNothingWhenThereAreSome) {
    ConfigValue value;
    value.setOptions({"a"});

    Vector options;
    EXPECT_EQ(printedBy(value, options), "");
    EXPECT_EQ(options, Vector{"a"});
}

TEST(ConfigValue, CanReadComparesTheStoredRoleWithTheGivenOne) {
    ConfigValue value;

    value.readRole(SECURITY_ROLE_3);
    EXPECT_FALSE(value.canRead(SECURITY_ROLE_2));
    EXPECT_TRUE(value.canRead(SECURITY_ROLE_3));
    EXPECT_TRUE(value.canRead(SECURITY_ROLE_4));

    value.readRole(SECURITY_ROLE_2);
    EXPECT_TRUE(value.canRead(SECURITY_ROLE_2));
}

TEST(ConfigValue, CanWriteComparesTheStoredRoleWithTheGivenOne) {
    ConfigValue value;

    value.writeRole(SECURITY_ROLE_3);
    EXPECT_FALSE(value.canWrite(SECURITY_ROLE_2));
    EXPECT_TRUE(value.canWrite(SECURITY_ROLE_3));
    EXPECT_TRUE(value.canRead(SECURITY_ROLE_NONE)) << "the read role is another one";
}

TEST(ConfigValue, UnknownRolesLetEveryRoleOfZeroOrMoreThrough) {
    const ConfigValue value;

    EXPECT_TRUE(value.canRead(SECURITY_ROLE_NONE));
    EXPECT_TRUE(value.canWrite(SECURITY_ROLE_NONE));
    EXPECT_FALSE(value.canRead(static_cast<SecurityRole>(-1))) << "roles are signed numbers";
    EXPECT_FALSE(value.canWrite(static_cast<SecurityRole>(-1)));
}

TEST(ConfigValue, ClearedAccessLevelsAreUnknownAndOfNoRole) {
    ConfigValue value;
    value.readRole(AppConfig::SECURITY_ROLE_2);
    value.writeRole(AppConfig::SECURITY_ROLE_4);
    value.setValue({"21"});

    value.clearAccessLevels();

    EXPECT_FALSE(value.accessLevels().hasReadRole);
    EXPECT_FALSE(value.accessLevels().hasWriteRole);
    EXPECT_EQ(value.readRole(), AppConfig::SECURITY_ROLE_NONE);
    EXPECT_EQ(value.writeRole(), AppConfig::SECURITY_ROLE_NONE);
    EXPECT_TRUE(value.hasValue());
}

}  // namespace

// Whoever pipes the output of an application sees the line when it is printed, not when the application ends.
TEST(ConfigValue, TheLineAboutAnEmptyListIsFlushed) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        ConfigValue().getOptions();
        _exit(0);  // flushes nothing by itself
    }
    close(ends[1]);
    std::string printed(64, '\0');
    const ssize_t count = read(ends[0], printed.data(), printed.size());
    close(ends[0]);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);

    printed.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    EXPECT_EQ(printed, "empty in getOptions\n");
}
