#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <memory>

#include "Definition.h"
#include "GoldenMessage.h"

namespace {

constexpr const char* formerVersions[] = {"v1"};
constexpr const char* version = "v2";

std::map<std::string, std::string> golden(const std::string& of = version) {
    std::map<std::string, std::string> lines;
    std::ifstream file(APPCONFIG_GOLDEN_DIR "/bytes-" + of + ".txt");
    for (std::string name, hex; file >> name >> hex;) lines[name] = hex;
    return lines;
}

class GoldenBytes : public ::testing::TestWithParam<std::string> {};

TEST_P(GoldenBytes, AreWhatTheMessageSerialisesTo) {
    const auto lines = golden();
    const auto line = lines.find(GetParam());
    ASSERT_NE(line, lines.end()) << "no golden bytes for this message: add a file for the new version, edit none";

    EXPECT_EQ(Definition::hex(Definition::filled(GetParam())->SerializeAsString()), line->second)
        << "the format of " << GetParam() << " changed; peers in the field still speak the old one";
}

TEST_P(GoldenBytes, ReadBackAsTheMessageTheyWereWrittenFrom) {
    const auto lines = golden();
    ASSERT_EQ(lines.count(GetParam()), 1U);
    const std::unique_ptr<google::protobuf::Message> message = Definition::filled(GetParam());
    const std::unique_ptr<google::protobuf::Message> read(message->New());

    ASSERT_TRUE(read->ParseFromString(Definition::bytes(lines.at(GetParam()))));

    EXPECT_EQ(read->DebugString(), message->DebugString());
}

// What peers in the field send is read whole, and nothing of it is lost when it is passed on.
TEST_P(GoldenBytes, OfFormerVersionsAreReadWhole) {
    for (const char* former : formerVersions) {
        const auto lines = golden(former);
        ASSERT_FALSE(lines.empty()) << former;
        const auto line = lines.find(GetParam());
        if (line == lines.end()) continue;  // the message is newer
        const std::unique_ptr<google::protobuf::Message> read(Definition::filled(GetParam())->New());

        ASSERT_TRUE(read->ParseFromString(Definition::bytes(line->second))) << former;

        EXPECT_EQ(Definition::hex(read->SerializeAsString()), line->second) << former;
        EXPECT_TRUE(read->GetReflection()->GetUnknownFields(*read).empty()) << former;
    }
}

std::vector<std::string> names() {
    std::vector<std::string> names;
    for (const google::protobuf::Descriptor* message : Definition::messages()) names.push_back(message->full_name());
    return names;
}

INSTANTIATE_TEST_SUITE_P(EachMessage, GoldenBytes, ::testing::ValuesIn(names()),
                         [](const ::testing::TestParamInfo<std::string>& each) {
                             std::string name = each.param;
                             for (char& c : name) {
                                 if (c == '.') c = '_';
                             }
                             return name;
                         });

}  // namespace
