#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "AppConfig/AppConfig.h"
#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/TestKit.h"

namespace AppConfigTest {

/// Each test has a node of its own, since the process-wide link registers for a variable only once: so the tests hold
/// in one process in any order.
class Semantics : public ::testing::Test {
protected:
    Semantics() : node(ownNode()), kit(definitions(node)) { kit.attach(); }

    AppConfig::AppCfgManager& manager() { return *AppConfig::AppCfgManager::getInstance(); }

    ConfigVar var(const std::string& attribute, int namespaceId = 0) const {
        ConfigVar result;
        result.init(namespaceId, node, 0, attribute, 0);
        return result;
    }
    std::string name(const std::string& attribute) const { return node + "." + attribute; }

    /// \return what was sent since the last call: plain message names, registrations with their kind, one-way messages
    /// with a '!'.
    std::string travelled() {
        std::string text;
        for (const SentRequest& request : kit.requests()) {
            if (!text.empty()) text += ' ';
            text += request.type;
            if (request.type == "RegisterClientCallbackReq") text += "(" + request.value.front() + ")";
            if (!request.awaited) text += '!';
        }
        kit.forgetRequests();
        return text;
    }

    /// \return the cached record; an empty record when there is none.
    AppConfig::ConfigValue cached(const std::string& attribute) {
        const auto record = manager().retrieveConfigVar(var(attribute));
        return record == manager().cacheEnd() ? AppConfig::ConfigValue() : record->second;
    }
    bool isCached(const std::string& attribute) {
        return manager().retrieveConfigVar(var(attribute)) != manager().cacheEnd();
    }

    /// Reads once, so that there is a record and a registration, and forgets that it travelled.
    void readOnce(const std::string& attribute) {
        manager().getConfigVar(var(attribute));
        kit.forgetRequests();
    }

    const std::string node;
    TestKit kit;

private:
    static std::string ownNode() {
        std::string result = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        for (char& letter : result) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        return result;
    }

    static std::string definitions(const std::string& node) {
        const std::string head = "variable { node: \"" + node + "\" attribute: ";
        return head + "\"level\" type: INT default_value: \"70\" minimum: 0 maximum: 100 }\n" + head +
               "\"on\" type: BOOL default_value: \"True\" }\n" + head +
               "\"mode\" type: TEXT default_value: \"day\" option: \"day\" option: \"night\" default_index: 0 }\n" +
               head + "\"servers\" type: LIST default_value: \"a\" default_value: \"b\" max_elements: 4 }\n" + head +
               "\"secret\" type: TEXT default_value: \"x\" read_level: 3 write_level: 4 }\n";
    }
};

using List = std::list<std::string>;

inline const std::string readAndRegister = "ReadReq RegisterClientCallbackReq(change)";

}  // namespace AppConfigTest
