#include <gmock/gmock.h>

#include <fstream>

#include "TemporaryDirectory.h"
#include "definitions/DefinitionsReader.h"

namespace AppConfigService {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::vector<std::string> complaintsOf(const std::string& text) {
    const auto refused = readDefinitions({{"test.textproto", text}});
    EXPECT_FALSE(refused);
    return refused ? Complaints() : refused.error();
}

VariableDefinition only(const std::string& text) {
    const auto definitions = readDefinitions({{"test.textproto", text}});
    EXPECT_TRUE(definitions) << ::testing::PrintToString(definitions.error());
    return definitions ? definitions->variables.at(0) : VariableDefinition();
}

TEST(DefinitionsReader, ReadsEachField) {
    const VariableDefinition text = only(
        "variable { node: 'Net.WiFi' node_instance: 1 attribute: 'SSID' attribute_instance: 2 type: TEXT\n"
        "  default_value: 'x' option: 'x' option: 'y' default_index: 1 read_level: 1 write_level: 2 max_length: 32\n"
        "  pattern: '[a-z]' namespace_scoped: true provider: REQUIRED }");
    EXPECT_EQ(text.name.node, "net.wifi");
    EXPECT_EQ(text.name.nodeInstance, 1);
    EXPECT_EQ(text.name.attribute, "ssid");
    EXPECT_EQ(text.name.attributeInstance, 2);
    EXPECT_THAT(text.defaultValue, ElementsAre("x"));
    EXPECT_THAT(text.options, ElementsAre("x", "y"));
    EXPECT_EQ(text.defaultIndex, 1U);
    EXPECT_EQ(text.readLevel, 1);
    EXPECT_EQ(text.writeLevel, 2);
    EXPECT_EQ(text.maxLength, 32U);
    EXPECT_EQ(text.pattern, "[a-z]");
    EXPECT_TRUE(text.namespaceScoped);
    EXPECT_TRUE(text.needsProvider);
    EXPECT_EQ(text.where, "test.textproto:1");
    const VariableDefinition number = only("variable { node: 'a' attribute: 'b' type: INT minimum: -5 maximum: 5 }");
    EXPECT_EQ(number.minimum, -5);
    EXPECT_EQ(number.maximum, 5);
    EXPECT_EQ(number.readLevel, 0);
    EXPECT_FALSE(number.needsProvider);
    const VariableDefinition list = only("variable { node: 'a' attribute: 'b' type: LIST max_elements: 8 }");
    EXPECT_EQ(list.maxElements, 8U);
}

TEST(DefinitionsReader, ImpliesADefaultOfTheType) {
    const auto implied = [](const std::string& more) {
        return only("variable { node: 'a' attribute: 'b' " + more + " }").defaultValue;
    };
    EXPECT_THAT(implied("type: TEXT"), ElementsAre(""));
    EXPECT_THAT(implied("type: BOOL"), ElementsAre("false"));
    EXPECT_THAT(implied("type: INT"), ElementsAre("0"));
    EXPECT_THAT(implied("type: LIST"), ElementsAre());
    EXPECT_THAT(implied("type: TEXT option: 'x' option: 'y' default_index: 1"), ElementsAre("y"));
}

struct Fault {
    const char* fields;
    const char* complaint;
};

TEST(DefinitionsReader, RefusesEachFaultWithFileLineAndReason) {
    const Fault faults[] = {
        {"attribute: 'b' type: INT", "test.textproto:2: a variable needs a node"},
        {"node: 'a' type: INT", "test.textproto:2: a variable needs an attribute"},
        {"node: 'a' attribute: 'b'", "test.textproto:2: a.b needs a type"},
        {"node: 'cfg' attribute: 'b' type: INT", "test.textproto:3: the name cfg is reserved for the namespace"},
        {"node: 'cfg.x' attribute: 'b' type: INT", "test.textproto:3: the name cfg is reserved for the namespace"},
        {"node: 'a..b' attribute: 'b' type: INT", "test.textproto:3: the node has an empty step"},
        {"node: 'a' attribute: 'b.c' type: INT", "test.textproto:3: an attribute must not contain \".\""},
        {"node: 'a b' attribute: 'b' type: INT", "test.textproto:3: the node has a space"},
        {"node: 'a' attribute: 'b' type: INT default_value: 'x'",
         "test.textproto:3: the default is refused: a.b: \"x\" is not a 32-bit integer"},
        {"node: 'a' attribute: 'b' type: INT maximum: 5\ndefault_value: '6'",
         "test.textproto:4: the default is refused: a.b: 6 is above the maximum 5"},
        {"node: 'a' attribute: 'b' type: INT minimum: 1", "test.textproto:2: the default is refused: a.b: 0 is below"},
        {"node: 'a' attribute: 'b' type: TEXT pattern: 'x+'", "the default is refused: a.b: \"\" does not match"},
        {"node: 'a' attribute: 'b' type: TEXT max_length: 1 default_value: 'xy'",
         "the text has 2 bytes, the limit is 1"},
        {"node: 'a' attribute: 'b' type: TEXT option: 'x' default_value: 'z'", "\"z\" is not one of the options \"x\""},
        {"node: 'a' attribute: 'b' type: TEXT option: 'x'\ndefault_index: 1",
         "test.textproto:4: a.b: the default index 1 is beyond the 1 options"},
        {"node: 'a' attribute: 'b' type: TEXT default_index: 1", "the default index 1 is beyond the 0 options"},
        {"node: 'a' attribute: 'b' type: INT option: '1'\noption: 'x'",
         "test.textproto:4: a.b: \"x\" is not a 32-bit integer"},
        {"node: 'a' attribute: 'b' type: TEXT option: 'x' option: 'x'", "the option \"x\" is listed twice"},
        {"node: 'a' attribute: 'b' type: TEXT default_value: 'x' default_value: 'y'", "the value has 2 elements"},
        {"node: 'a' attribute: 'b' type: LIST max_elements: 1 default_value: 'x' default_value: 'y'",
         "the list has 2 elements, the limit is 1"},
        {"node: 'a' attribute: 'b' type: LIST max_elements: 5000",
         "max_elements 5000 is above the service's limit 4096"},
        {"node: 'a' attribute: 'b' type: INT read_level: 5", "read_level 5 is not between 0 and 4"},
        {"node: 'a' attribute: 'b' type: INT write_level: -1", "write_level -1 is not between 0 and 4"},
        {"node: 'a' attribute: 'b' type: INT minimum: 5 maximum: 4", "the minimum 5 is above the maximum 4"},
        {"node: 'a' attribute: 'b' type: INT maximum: 3000000000", "maximum 3000000000 does not fit into 32 bits"},
        {"node: 'a' attribute: 'b' type: TEXT maximum: 5", "maximum is for INT only"},
        {"node: 'a' attribute: 'b' type: INT max_length: 5", "max_length is for TEXT and LIST only"},
        {"node: 'a' attribute: 'b' type: BOOL pattern: 'x'", "pattern is for TEXT and LIST only"},
        {"node: 'a' attribute: 'b' type: TEXT max_elements: 5", "max_elements is for LIST only"},
        {"node: 'a' attribute: 'b' type: TEXT pattern: '('", "the pattern ( is not a valid RE2 pattern: missing )"},
        {"node: 'a' attribute: 'b' type: TEXT colour: 'x'",
         "test.textproto:3: Message type \"AppConfigDefinitions.Variable\" has no field named \"colour\""},
        {"node: 'a' attribute: 'b' type: FLOAT", "Unknown enumeration value of \"FLOAT\""},
    };
    for (const Fault& fault : faults) {
        const std::vector<std::string> complaints =
            complaintsOf(std::string("# a comment\nvariable {\n") + fault.fields + "\n}\n");
        ASSERT_EQ(complaints.size(), 1U) << fault.fields << ::testing::PrintToString(complaints);
        EXPECT_THAT(complaints.front(), HasSubstr(fault.complaint));
        EXPECT_THAT(complaints.front(), ::testing::StartsWith("test.textproto:"));
    }
}

TEST(DefinitionsReader, AnIndexBeyondOptionsThatAreRefusedThemselvesIsNotFollowed) {
    EXPECT_THAT(complaintsOf("variable { node: 'a' attribute: 'b' type: INT option: 'x' default_index: 7 }"),
                ElementsAre(HasSubstr("\"x\" is not a 32-bit integer")));
}

TEST(DefinitionsReader, RefusesTwoVariablesOfOneNameAlsoAcrossFiles) {
    const auto refused = readDefinitions({{"one", "variable { node: 'a' attribute: 'B' type: INT }"},
                                          {"two", "\nvariable { node: 'A' attribute: 'b' type: BOOL }"}});
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error(), ElementsAre("two:2: a.b is already defined at one:1"));
}

TEST(DefinitionsReader, OtherInstancesAreOtherVariables) {
    const auto definitions = readDefinitions({{"one",
                                               "variable { node: 'a' attribute: 'b' type: INT }"
                                               "variable { node: 'a' node_instance: 1 attribute: 'b' type: INT }"}});
    ASSERT_TRUE(definitions);
    EXPECT_EQ(definitions->variables.size(), 2U);
}

TEST(DefinitionsReader, ComplainsAboutEachFaultAtOnce) {
    EXPECT_THAT(complaintsOf("variable { node: 'a' attribute: 'b' type: INT read_level: 9 }\n"
                             "variable { node: 'a' attribute: 'c' type: INT default_value: '' }\n"),
                ElementsAre(HasSubstr("test.textproto:1: read_level 9"), HasSubstr("test.textproto:2: the default")));
}

TEST(DefinitionsReader, ReadsRoleLimitsAndRefusesThoseThatMakeNoSense) {
    const auto definitions = readDefinitions({{"t", "role_limit { uid: 1000 role: 2 }"}});
    ASSERT_TRUE(definitions);
    EXPECT_EQ(definitions->roleLimits.at(1000), 2);
    EXPECT_THAT(complaintsOf("role_limit { uid: 1 role: 5 }"),
                ElementsAre("test.textproto:1: role 5 is not between 0 and 4"));
    EXPECT_THAT(complaintsOf("role_limit { role: 1 }"),
                ElementsAre("test.textproto:1: a role_limit needs uid and role"));
    EXPECT_THAT(complaintsOf("role_limit { uid: 1 role: 1 }\nrole_limit { uid: 1 role: 2 }"),
                ElementsAre("test.textproto:2: user 1 already has a role_limit"));
}

TEST(DefinitionsReader, ReadsFilesAndSaysWhichCannotBeRead) {
    const AppConfigTest::TemporaryDirectory temporary;
    const std::string& directory = temporary.path();
    const std::string file = directory + "/fine.textproto";
    std::ofstream(file) << "variable { node: 'a' attribute: 'b' type: INT }\n";
    const auto definitions = readDefinitionFiles({file});
    ASSERT_TRUE(definitions);
    EXPECT_EQ(definitions->variables.size(), 1U);
    EXPECT_EQ(definitions->variables.front().where, file + ":1");
    const auto refused = readDefinitionFiles({file, directory + "/missing"});
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error(), ElementsAre(directory + "/missing:1: the file cannot be read"));
    EXPECT_FALSE(readDefinitionFiles({directory})) << "a directory is not a file";
    std::ofstream(directory + "/empty").flush();
    EXPECT_TRUE(readDefinitionFiles({directory + "/empty"}));
}

}  // namespace
}  // namespace AppConfigService
