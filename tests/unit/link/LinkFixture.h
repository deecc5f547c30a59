#pragma once

#include <gtest/gtest.h>

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "AppConfig/PlatformCfgService.h"
#include "FakeTransport.h"
#include "configservice.pb.h"

/// What the tests of the link share: a link of their own over a fake transport, and short forms for what travels.
namespace LinkTest {

using List = std::list<std::string>;
using Names = std::vector<std::string>;
using Steps = std::vector<std::pair<std::string, int>>;

inline const ConfigVar brightness(0, "display", 0, "brightness", 0);

inline Steps stepsOf(const ConfigIF::Inst& inst) {
    Steps steps;
    for (const ConfigIF::Node& node : inst.node()) steps.emplace_back(node.name(), node.instance());
    return steps;
}

inline const Steps brightnessSteps = {{"display", 0}, {"brightness", 0}};
inline const Steps brightnessStepsIn4 = {{"cfg", 4}, {"display", 0}, {"brightness", 0}};

/// The wire types of all registrations so far, in order.
inline std::vector<int> registeredTypes(const Support::FakeTransport& transport) {
    std::vector<int> types;
    for (const auto& request : transport.requests<ConfigIF::RegisterClientCallbackReq>()) {
        types.push_back(request.type());
    }
    return types;
}

/// A field with a number that no enum of this definition has.
inline std::string unknownNumberIn(int field) {
    return std::string(1, static_cast<char>(field << 3)) + "\xE7\x07";
}

class Link : public ::testing::Test {
protected:
    Link() : link(0, "", ""), linkOf4(4, "node4", "self4") {
        link.setPbInterface(&transport);
        linkOf4.setPbInterface(&transport);
    }

    Support::FakeTransport transport;
    AppConfig::PlatformCfgService link;
    AppConfig::PlatformCfgService linkOf4;
    AppConfig::PlatformCfgService linkWithoutTransport{0, "", ""};
};

}  // namespace LinkTest
