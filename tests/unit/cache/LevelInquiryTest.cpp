#include "InquiryFixture.h"

// The same for answers that bring access levels, which belong together with their roles.

namespace {

using namespace InquiryTests;

using AnInquiryOfLevels = InquiryTest;

TEST_F(AnInquiryOfLevels, StoresBothLevels) {
    Inquiry inquiry(cache, target, Item::levels);

    EXPECT_EQ(inquiry.levelsRead(levels(AppConfig::SECURITY_ROLE_2, AppConfig::SECURITY_ROLE_3)), Outcome::stored);

    EXPECT_EQ(record().readRole(), AppConfig::SECURITY_ROLE_2);
    EXPECT_EQ(record().writeRole(), AppConfig::SECURITY_ROLE_3);
}

TEST_F(AnInquiryOfLevels, LeavesLevelsUnknownWithRolesOfZeroWhenTheyWereAnnouncedMeanwhile) {
    cache.update(target, {"19"});
    Inquiry inquiry(cache, target, Item::levels);
    cache.updateAccessLevels(target, levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_4));

    EXPECT_EQ(inquiry.levelsRead(levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_3)), Outcome::unknown);

    EXPECT_FALSE(record().accessLevels().hasReadRole);
    EXPECT_FALSE(record().accessLevels().hasWriteRole);
    EXPECT_EQ(record().readRole(), AppConfig::SECURITY_ROLE_NONE);
    EXPECT_EQ(record().writeRole(), AppConfig::SECURITY_ROLE_NONE);
    EXPECT_TRUE(hasLost(Item::levels));
    EXPECT_EQ(value(), List{"19"});
}

TEST_F(AnInquiryOfLevels, LeavesLevelsUnknownOfWhichOneWasAnnouncedMeanwhile) {
    Inquiry inquiry(cache, target, Item::levels);
    ConfigAccessLevels announced;
    announced.writeRole = AppConfig::SECURITY_ROLE_3;
    announced.hasWriteRole = true;
    cache.updateAccessLevels(target, announced);

    EXPECT_EQ(inquiry.levelsRead(levels(AppConfig::SECURITY_ROLE_NONE, AppConfig::SECURITY_ROLE_3)), Outcome::unknown);

    Inquiry another(cache, otherNode, Item::levels);
    ConfigAccessLevels readRole;
    readRole.readRole = AppConfig::SECURITY_ROLE_3;
    readRole.hasReadRole = true;
    cache.updateAccessLevels(otherNode, readRole);

    EXPECT_EQ(another.levelsRead(levels(AppConfig::SECURITY_ROLE_3, AppConfig::SECURITY_ROLE_NONE)), Outcome::unknown);
}

TEST_F(AnInquiryOfLevels, StoresLevelsThatWereAnnouncedLikeThat) {
    Inquiry inquiry(cache, target, Item::levels);
    cache.updateAccessLevels(target, levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_4));

    EXPECT_EQ(inquiry.levelsRead(levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_4)), Outcome::stored);

    EXPECT_TRUE(record().hasAccessLevels());
}

TEST_F(AnInquiryOfLevels, KeepsOldLevelsOutWhenTwoLateAnswersFollowEachOther) {
    Inquiry first(cache, target, Item::levels);
    Inquiry second(cache, target, Item::levels);
    cache.updateAccessLevels(target, levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_4));
    const ConfigAccessLevels old = levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_2);
    first.levelsRead(old);

    EXPECT_EQ(second.levelsRead(old), Outcome::unknown);

    EXPECT_FALSE(record().hasAccessLevels());
}

TEST_F(AnInquiryOfLevels, SeesLostLevelsKnownAgainOnlyWhenBothAreThere) {
    Inquiry inquiry(cache, target, Item::levels);
    cache.updateAccessLevels(target, levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_4));
    inquiry.levelsRead(levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_3));
    ConfigAccessLevels one;
    one.readRole = AppConfig::SECURITY_ROLE_2;
    one.hasReadRole = true;
    cache.updateAccessLevels(target, one);
    EXPECT_TRUE(hasLost(Item::levels));

    cache.updateAccessLevels(target, levels(AppConfig::SECURITY_ROLE_2, AppConfig::SECURITY_ROLE_3));

    EXPECT_FALSE(hasLost(Item::levels));
}

}  // namespace
