#include <gtest/gtest.h>

#include <cstring>

#include "AppConfig/ErrorType.h"
#include "CommonIFUtil.h"
#include "configservice.pb.h"

namespace {

constexpr int lowest = -1000;
constexpr int highest = 1000;

TEST(ErrorNumbers, LibraryAndServiceKnowTheSameOnes) {
    for (int number = lowest; number <= highest; ++number) {
        const bool named = std::strcmp(AppConfig::errorText(static_cast<eErrorT>(number)), "unknown error") != 0;
        EXPECT_EQ(named, CommonIF::eErrorType_IsValid(number)) << number;
    }
}

TEST(ErrorNumbers, EachNameMeansTheSameNumberOnBothSides) {
    EXPECT_EQ(static_cast<int>(CFG_ERROR_NONE), CommonIF::ERROR_NONE);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_GENERAL), CommonIF::ERROR_GENERAL);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_UNKNOWN_VARIABLE), CommonIF::ERROR_UNKNOWN_VARIABLE);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_ACCESS_DENIED), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_WRONG_TYPE), CommonIF::ERROR_WRONG_TYPE);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_OUT_OF_RANGE), CommonIF::ERROR_OUT_OF_RANGE);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_TOO_LONG), CommonIF::ERROR_TOO_LONG);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_PATTERN_MISMATCH), CommonIF::ERROR_PATTERN_MISMATCH);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_NOT_AN_OPTION), CommonIF::ERROR_NOT_AN_OPTION);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_TOO_MANY_ELEMENTS), CommonIF::ERROR_TOO_MANY_ELEMENTS);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_INDEX_OUT_OF_RANGE), CommonIF::ERROR_INDEX_OUT_OF_RANGE);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_REJECTED), CommonIF::ERROR_REJECTED);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_PROVIDER_TIMEOUT), CommonIF::ERROR_PROVIDER_TIMEOUT);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_PROVIDER_GONE), CommonIF::ERROR_PROVIDER_GONE);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_BUSY), CommonIF::ERROR_BUSY);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_STORAGE), CommonIF::ERROR_STORAGE);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_LIMIT), CommonIF::ERROR_LIMIT);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_INVALID_REQUEST), CommonIF::ERROR_INVALID_REQUEST);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_NOT_SUPPORTED), CommonIF::ERROR_NOT_SUPPORTED);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_UNAVAILABLE), CommonIF::ERROR_UNAVAILABLE);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_NO_PROVIDER), CommonIF::ERROR_NO_PROVIDER);
    EXPECT_EQ(static_cast<int>(CFG_ERROR_MALFORMED_NAME), CommonIF::ERROR_MALFORMED_NAME);
}

TEST(ErrorNumbers, AKnownNumberIsKeptByTheConversionAndAnUnknownOneIsAFailure) {
    for (int number = lowest; number <= highest; ++number) {
        const eErrorT expected =
            CommonIF::eErrorType_IsValid(number) ? static_cast<eErrorT>(number) : CFG_ERROR_GENERAL;
        EXPECT_EQ(convertErrorTypeToCommonPbType(static_cast<CommonIF::eErrorType>(number)), expected) << number;
    }
}

TEST(RoleNumbers, FiveAreKnown) {
    for (int number = lowest; number <= highest; ++number) {
        const bool known = number == 10 || number == 20 || number == 30 || number == 40 || number == 50;
        EXPECT_EQ(CommonIF::eSecurityRole_IsValid(number), known) << number;
    }
}

TEST(CallbackNumbers, OneToSevenAreKnown) {
    for (int number = -10; number <= 20; ++number) {
        EXPECT_EQ(ConfigIF::CallbackType_IsValid(number), number >= 1 && number <= 7) << number;
    }
}

TEST(ScopeNumbers, NamespaceScopeIsTwo) {
    EXPECT_EQ(ConfigIF::SCOPE_NAMESPACE, 2);
}

TEST(SetterDeathTest, AnErrorOutsideItsEnumAborts) {
    ConfigIF::ReadRsp reply;

    EXPECT_DEATH(reply.set_error(static_cast<CommonIF::eErrorType>(999)), "eErrorType_IsValid");
}

}  // namespace
