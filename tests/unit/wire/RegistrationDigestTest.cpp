// The number that stands for a registration on the wire.
#include <gtest/gtest.h>

#include <string>

#include "wire/RegistrationDigest.h"

namespace {

using AppConfigWire::digestOf;

TEST(RegistrationDigest, IsThisNumber) {
    // A change here is a change of what peers of another version compare.
    EXPECT_EQ(digestOf({"self", "display.on", 3, "link"}), 0xF0AB050C4E8018DFU);
    EXPECT_EQ(digestOf({"", "", 0, ""}), 0xD991E919042832C6U);
    EXPECT_EQ(digestOf({"a", "@AZ[`az{", -1, std::string(300, '\xFF')}), 0xF99AD385BA6C583CU);
}

TEST(RegistrationDigest, TakesCapitalsOfAsciiForSmallLettersInNamesAlone) {
    EXPECT_EQ(digestOf({"r", "@AZ[`az{", 3, "c"}), digestOf({"r", "@az[`AZ{", 3, "c"}));
    EXPECT_NE(digestOf({"r", "@", 3, "c"}), digestOf({"r", "`", 3, "c"}));
    EXPECT_NE(digestOf({"r", "[", 3, "c"}), digestOf({"r", "{", 3, "c"}));
    EXPECT_NE(digestOf({"r", "a", 3, "c"}), digestOf({"R", "a", 3, "c"}));
    EXPECT_NE(digestOf({"r", "a", 3, "c"}), digestOf({"r", "a", 3, "C"}));
}

}  // namespace
