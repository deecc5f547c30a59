#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "Definition.h"

namespace {

TEST(Definition, ReleasedFieldsAndNumbersKeepTheirMeaning) {
    const std::vector<std::string> present = Definition::describe();
    std::ifstream released(APPCONFIG_GOLDEN_DIR "/fields-v1.txt");
    ASSERT_TRUE(released) << "the released description is missing";

    std::size_t lines = 0;
    for (std::string line; std::getline(released, line); ++lines) {
        EXPECT_NE(std::find(present.begin(), present.end(), line), present.end())
            << "released, but now missing or different: " << line
            << "\nA number keeps its meaning for good: add a field or a value with a new number instead.";
    }
    EXPECT_GT(lines, 150U);
}

TEST(Definition, NoNestedMessages) {
    for (const google::protobuf::Descriptor* message : Definition::messages()) {
        EXPECT_EQ(message->nested_type_count(), 0) << message->full_name() << " would be missed by the other tests";
        EXPECT_EQ(message->enum_type_count(), 0) << message->full_name();
    }
}

TEST(Definition, NothingIsRequired) {
    for (const google::protobuf::Descriptor* message : Definition::messages()) {
        for (int i = 0; i < message->field_count(); ++i) {
            EXPECT_FALSE(message->field(i)->is_required()) << message->field(i)->full_name() << " could never go away";
        }
    }
}

}  // namespace
