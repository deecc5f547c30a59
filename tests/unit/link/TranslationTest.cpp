#include <gtest/gtest.h>

#include "AppConfig/PlatformCfgService.h"
#include "configservice.pb.h"

using AppConfig::PlatformCfgService;
using AppConfig::SecurityRole;

namespace {

TEST(EnumTranslate, RolesOnTheWayOut) {
    const int wire[] = {10, 20, 40, 30, 50};
    for (int role = -5; role <= 60; ++role) {
        EXPECT_EQ(PlatformCfgService::enumTranslate(static_cast<SecurityRole>(role)),
                  role >= 1 && role <= 4 ? wire[role] : 10)
            << role;
    }
}

TEST(EnumTranslate, RolesOnTheWayIn) {
    for (int wire = -5; wire <= 60; ++wire) {
        const int role = wire == 20 ? 1 : wire == 30 ? 3 : wire == 40 ? 2 : wire == 50 ? 4 : 0;
        EXPECT_EQ(PlatformCfgService::enumTranslate(static_cast<CommonIF::eSecurityRole>(wire)), role) << wire;
    }
}

TEST(EnumTranslate, CallbackKindsOnTheWayOut) {
    for (int kind = -3; kind <= 12; ++kind) {
        EXPECT_EQ(PlatformCfgService::enumTranslate(static_cast<ConfigRegistrar::ConsumerCallbackType>(kind)),
                  kind >= 0 && kind <= 4 ? kind + 3 : 6)
            << kind;
    }
}

TEST(EnumTranslate, CallbackTypesOnTheWayIn) {
    for (int type = -3; type <= 12; ++type) {
        EXPECT_EQ(PlatformCfgService::enumTranslate(static_cast<ConfigIF::CallbackType>(type)),
                  type >= 3 && type <= 7 ? type - 3 : 3)
            << type;
    }
}

TEST(EnumTranslate, SubmitTypesAreZeroOrOne) {
    for (int type = -2; type <= 6; ++type) {
        EXPECT_EQ(PlatformCfgService::enumTranslate(static_cast<ConfigIF::SubmitType>(type)), type == 0 ? 0 : 1)
            << type;
    }
}

}  // namespace
