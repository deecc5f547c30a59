#include <gtest/gtest.h>

#include <map>
#include <set>

#include "Definition.h"
#include "MessageIds.h"

namespace {

TEST(MessageIds, EachMessageOfTheDefinitionStandsInTheTableOnce) {
    std::map<std::string, int> rows;
    for (const ConfigIF::MessageId& row : ConfigIF::messageIds) ++rows[std::string(row.name)];

    for (const google::protobuf::Descriptor* message : Definition::messages()) {
        EXPECT_EQ(rows[message->full_name()], 1) << message->full_name();
    }
    EXPECT_EQ(rows.size(), Definition::messages().size()) << "a row names no message of the definition";
}

TEST(MessageIds, NoIdIsGivenTwice) {
    std::set<std::uint32_t> ids;
    for (const ConfigIF::MessageId& row : ConfigIF::messageIds) {
        EXPECT_NE(row.id, 0U) << row.name;
        EXPECT_TRUE(ids.insert(row.id).second) << row.name << " shares its id";
    }
}

TEST(MessageIds, WhatTheServiceSendsUnaskedHasItsOldIds) {
    EXPECT_EQ(ConfigIF::messageId("ConfigIF.DynamicValidateReq"), 0x1A0150U);
    EXPECT_EQ(ConfigIF::messageId("ConfigIF.OnChangeReq"), 0x1A0100U);
    EXPECT_EQ(ConfigIF::messageId("ConfigIF.ConfigChangedNtfy"), 0x1A0143U);
    EXPECT_EQ(ConfigIF::messageId("ConfigIF.AttributeChangedNtfy"), 0x1A01A3U);
    EXPECT_EQ(ConfigIF::messageId("ConfigIF.OptionsChangedNtfy"), 0x1A0253U);
    EXPECT_EQ(ConfigIF::messageId("ConfigIF.SubmitNtfy"), 0x1A0273U);
    EXPECT_EQ(ConfigIF::messageId("ConfigIF.AccessLevelChangedNtfy"), 0x1A0333U);
}

TEST(MessageIds, NamesAndIdsAreFoundBothWays) {
    EXPECT_EQ(ConfigIF::messageName(0x1A0150), "ConfigIF.DynamicValidateReq");
    EXPECT_EQ(ConfigIF::messageName(1), "");
    EXPECT_EQ(ConfigIF::messageId("ConfigIF.Nothing"), 0U);
}

}  // namespace
