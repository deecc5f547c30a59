// The library writes two texts, each when it is due, and nothing else into the process that it lives in.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "ChildProcess.h"
#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

// Names, defaults and options that are not UTF-8.
const char* const definitions = R"(
variable { node: "n\366de" node_instance: 1 attribute: "t\351xt" attribute_instance: 2 type: TEXT
           default_value: "d\351fault" }
variable { node: "n\366de" attribute: "ch\366ice" type: TEXT default_value: "\302" option: "\301" option: "\302"
           default_index: 1 }
variable { node: "n\366de" attribute: "n\372mber" type: INT default_value: "7" }
variable { node: "n\366de" attribute: "fl\344g" type: BOOL default_value: "true" }
variable { node: "n\366de" attribute: "s\351veral" type: LIST default_value: "\300" default_value: "\301" }
)";

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Silence, IsKeptByAProcessThatCallsEverythingWithTextsThatAreNotUtf8) {
    ServiceProcess service(definitions, {"--log-level", "off"});
    service.start();
    const TemporaryDirectory directory;
    const std::string report = directory.file("report");

    const Finished process = run({INTEGRATION_EVERYTHING, service.runtimeDirectory(), report});

    EXPECT_EQ(process.status, 0);
    EXPECT_EQ(contentOf(report), "");
    // Both links have read an empty list of options four times, and been handed seven messages that do not parse.
    const std::string due = repeated("empty in getOptions\n", 8) + repeated("Parse Error\n", 14);
    EXPECT_EQ(process.out, due);
    EXPECT_EQ(process.err, "");
    service.stop();
    EXPECT_EQ(service.process().errors(), "") << "nor does the service print what its log does not say";
}

}  // namespace
}  // namespace AppConfigTest
