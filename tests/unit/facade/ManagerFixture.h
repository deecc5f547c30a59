#pragma once

#include <gtest/gtest.h>

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "FakeTransport.h"
#include "configservice.pb.h"

/// What the tests of the managers share: managers of their own over links of their own, so that nothing process-wide is
/// needed, and a fake transport that knows one variable.
namespace ManagerTest {

using List = std::list<std::string>;
using Vector = std::vector<std::string>;
using Names = std::vector<std::string>;
using Steps = std::vector<std::pair<std::string, int>>;

inline const ConfigVar brightness(0, "display", 0, "brightness", 0);
inline const ConfigVar brightnessOf4(4, "display", 0, "brightness", 0);
inline const ConfigVar brightnessOf7(7, "display", 0, "brightness", 0);

inline Steps stepsOf(const ConfigIF::Inst& inst) {
    Steps steps;
    for (const ConfigIF::Node& node : inst.node()) steps.emplace_back(node.name(), node.instance());
    return steps;
}

/// A field with a number that no enum of this definition has.
inline std::string unknownNumberIn(int field) {
    return std::string(1, static_cast<char>(field << 3)) + "\xE7\x07";
}

class Manager : public ::testing::Test {
protected:
    Manager() : link(0, "", ""), linkOf4(4, "", ""), manager(&link), managerOf4(&linkOf4) {
        link.setPbInterface(&transport);
        linkOf4.setPbInterface(&transport);
    }

    void answerRead(const List& value, bool isDefault = false) {
        ConfigIF::ReadRsp reply;
        for (const std::string& text : value) reply.add_value(text);
        reply.set_is_default(isDefault);
        transport.answerWith(reply);
    }

    void refuseReads() {
        ConfigIF::ReadRsp reply;
        reply.set_error(CommonIF::ERROR_UNKNOWN_VARIABLE);
        transport.answerWith(reply);
    }

    void answerOptions(const List& options, unsigned int index) {
        ConfigIF::GetAttributeOptionsRsp reply;
        for (const std::string& option : options) reply.add_option(option);
        reply.set_default_index(index);
        transport.answerWith(reply);
    }

    void answerLevels(CommonIF::eSecurityRole read, CommonIF::eSecurityRole write) {
        ConfigIF::GetAccessLevelsRsp reply;
        reply.set_read_level(read);
        reply.set_write_level(write);
        transport.answerWith(reply);
    }

    /// How often the service was asked for something, registrations aside.
    template <typename Request>
    std::size_t asked() const {
        return transport.requests<Request>().size();
    }

    bool isCached(AppConfig::AppCfgManager& in, const ConfigVar& var) const {
        return in.retrieveConfigVar(var) != in.cacheEnd();
    }

    Support::FakeTransport transport;
    AppConfig::PlatformCfgService link;
    AppConfig::PlatformCfgService linkOf4;
    AppConfig::AppCfgManager manager;
    AppConfig::AppCfgManager managerOf4;
};

}  // namespace ManagerTest
