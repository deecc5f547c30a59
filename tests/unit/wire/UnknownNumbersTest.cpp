#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>

#include "configservice.pb.h"
#include "wire/CarriesUnknown.h"

using AppConfigWire::carriesUnknown;

namespace {

/// A field with a varint, as a newer build of the definition would send it.
std::string varintField(int number, int value) {
    std::string bytes(1, static_cast<char>(number << 3));
    auto rest = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
    while (rest >= 0x80) {
        bytes += static_cast<char>(rest | 0x80);
        rest >>= 7;
    }
    bytes += static_cast<char>(rest);
    return bytes;
}

template <typename Message>
Message parsed(const std::string& bytes) {
    Message message;
    EXPECT_TRUE(message.ParseFromString(bytes));
    return message;
}

constexpr int error = ConfigIF::ReadRsp::kErrorFieldNumber;

TEST(CarriesUnknown, AKnownNumberIsNotUnknown) {
    EXPECT_FALSE(carriesUnknown(ConfigIF::ReadRsp(), error));
    EXPECT_FALSE(carriesUnknown(parsed<ConfigIF::ReadRsp>(varintField(error, -2)), error));
}

TEST(CarriesUnknown, ANumberOutsideTheEnumReadsAsSuccessAndIsFound) {
    const auto reply = parsed<ConfigIF::ReadRsp>(varintField(error, 999));

    EXPECT_EQ(reply.error(), 0) << "which is why it has to be asked for";
    EXPECT_TRUE(carriesUnknown(reply, error));
}

TEST(CarriesUnknown, ANegativeNumberOutsideTheEnumIsFound) {
    EXPECT_TRUE(carriesUnknown(parsed<ConfigIF::ReadRsp>(varintField(error, -999)), error));
}

TEST(CarriesUnknown, AnUnknownNumberAfterAKnownOneIsFound) {
    EXPECT_TRUE(carriesUnknown(parsed<ConfigIF::ReadRsp>(varintField(error, 0) + varintField(error, 999)), error));
}

TEST(CarriesUnknown, FieldsOfANewerDefinitionDoNotCount) {
    const auto reply = parsed<ConfigIF::ReadRsp>(varintField(14, 1) + std::string("\x7A\x03xyz"));

    EXPECT_FALSE(carriesUnknown(reply, error));
    EXPECT_TRUE(carriesUnknown(reply, 14));
    EXPECT_TRUE(carriesUnknown(reply, 15));
}

/// Takes out again what stands last. The full runtime leaves it where it was in memory, behind what counts.
template <typename Fields>
void takeOutLast(Fields& fields) {
    if constexpr (std::is_same_v<Fields, std::string>) {
        fields.resize(fields.size() - varintField(15, 1).size());
    } else {
        fields.DeleteSubrange(fields.field_count() - 1, 1);
    }
}

TEST(CarriesUnknown, WhatLiesBehindTheLastFieldIsNotRead) {
    auto reply = parsed<ConfigIF::ReadRsp>(varintField(14, 1) + varintField(15, 1));
    takeOutLast(*reply.mutable_unknown_fields());

    EXPECT_FALSE(carriesUnknown(reply, 15));
    EXPECT_TRUE(carriesUnknown(reply, 14));
}

TEST(CarriesUnknown, AnUnknownNumberAmongFieldsOfANewerDefinitionIsFound) {
    const auto reply =
        parsed<ConfigIF::ReadRsp>(std::string("\x7A\x03xyz") + varintField(error, 999) + varintField(14, 1));

    EXPECT_TRUE(carriesUnknown(reply, error));
}

}  // namespace
