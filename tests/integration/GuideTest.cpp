#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ServiceProcess.h"

// The guide shows commands with what they print, and pieces of the examples. Both must stay true.

namespace AppConfigTest {
namespace {

std::string contentsOf(const std::string& file) {
    std::ifstream in(std::string(SOURCE_DIRECTORY) + "/" + file);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_TRUE(in) << file;
    return text.str();
}

/// A fenced block of the guide together with the remark that stands before it.
struct Block {
    std::string remark;
    std::string text;
};

std::vector<Block> blocksOf(const std::string& page) {
    std::vector<Block> blocks;
    std::istringstream in(page);
    std::string line;
    std::string before;
    while (std::getline(in, line)) {
        if (line.rfind("```", 0) == 0) {
            Block block{before, ""};
            while (std::getline(in, line) && line != "```") block.text += line + "\n";
            blocks.push_back(block);
        }
        before = line;
    }
    return blocks;
}

class Guide : public ::testing::Test {
protected:
    const std::vector<Block> blocks = blocksOf(contentsOf("docs/guide.md"));
};

TEST_F(Guide, EachCommandOfTheTourPrintsWhatTheGuideShows) {
    ServiceProcess service(contentsOf("examples/demo.textproto"));
    service.start();
    int commands = 0;
    for (const Block& block : blocks) {
        if (block.remark != "<!-- tour -->") continue;
        std::istringstream in(block.text);
        std::string line;
        std::string command;
        std::string shown;
        const auto check = [&] {
            if (command.empty()) return;
            ++commands;
            // The client of this build, on this test's service.
            const std::string script = "cd '" SOURCE_DIRECTORY
                                       "'; export XDG_RUNTIME_DIR=/nonexistent\n"
                                       "appcfg() { '" APPCFG "' --runtime-dir '" +
                                       service.runtimeDirectory() +
                                       "' \"$@\"; }\nappconfigd() { '" APPCONFIGD "' \"$@\"; }\n" + command + " 2>&1";
            const Finished finished = run({"/bin/sh", "-c", script});
            EXPECT_EQ(finished.out, shown) << command;
        };
        while (std::getline(in, line)) {
            if (line.rfind("$ ", 0) == 0) {
                check();
                command = line.substr(2);
                shown.clear();
            } else {
                shown += line + "\n";
            }
        }
        check();
    }
    EXPECT_GE(commands, 9);
}

TEST_F(Guide, EachPieceOfCodeStandsInTheExampleThatItNames) {
    const std::string mark = "<!-- code: ";
    int pieces = 0;
    for (const Block& block : blocks) {
        if (block.remark.rfind(mark, 0) != 0) continue;
        ++pieces;
        const std::string file = block.remark.substr(mark.size(), block.remark.find(" -->") - mark.size());
        EXPECT_NE(contentsOf(file).find(block.text), std::string::npos) << file << " does not hold:\n" << block.text;
    }
    EXPECT_GE(pieces, 4);
}

}  // namespace
}  // namespace AppConfigTest
