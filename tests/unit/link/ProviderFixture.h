#pragma once

#include <functional>
#include <string>
#include <utility>

#include "DeliveryFixture.h"

/// What the tests of requests to providers share: a request about one variable, and a provider that writes down what it
/// is asked.
namespace ProviderTest {

using namespace LinkTest;
using AppConfig::SecurityRole;

inline const Steps steps = {{"cfg", 3}, {"Display", 1}, {"Brightness", 2}};
inline const ConfigVar key(0, "display", 1, "brightness", 2);

template <typename Request>
Request request(const Steps& path = steps) {
    Request req;
    req.set_client_name("writer");
    req.set_server_context("context 7");
    req.set_role(CommonIF::SECURITY_ROLE_WIRE_40);
    fill(req.mutable_inst_value()->mutable_inst(), path);
    req.mutable_inst_value()->add_value("70");
    req.mutable_inst_value()->add_value("71");
    return req;
}

/// The result in the last answer.
template <typename Answer>
ConfigIF::ReturnMessage lastAnswer(const Application& app) {
    Answer answer;
    EXPECT_TRUE(answer.ParseFromString(app.transport.answers().back().bytes));
    EXPECT_TRUE(answer.has_result());
    return answer.result();
}

inline void expectEchoed(const ConfigIF::ReturnMessage& result) {
    EXPECT_EQ(result.server_context(), "context 7");
    EXPECT_EQ(result.client_name(), "writer");
}

inline Names messagesOf(const ConfigIF::ReturnMessage& result) {
    return Names(result.message().begin(), result.message().end());
}

class Provider : public ProviderConfigHandler {
public:
    explicit Provider(Names& log, std::string name, bool accept = true)
        : m_log(log), m_name(std::move(name)), m_accept(accept) {}

    bool onDynamicValidate(const std::string& node, int nodeInstance, const std::string& attribute,
                           int attributeInstance, const List& value, SecurityRole role, ConfigResult& result) override {
        return decide("validate", node, nodeInstance, attribute, attributeInstance, value, role, result);
    }
    bool onChange(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                  const List& value, SecurityRole role, ConfigResult& result) override {
        return decide("change", node, nodeInstance, attribute, attributeInstance, value, role, result);
    }
    std::function<void()> action;

private:
    bool decide(const std::string& what, const std::string& node, int nodeInstance, const std::string& attribute,
                int attributeInstance, const List& value, SecurityRole role, ConfigResult& result) {
        m_log.push_back(m_name + " " + what + " " + node + "[" + std::to_string(nodeInstance) + "]." + attribute + "[" +
                        std::to_string(attributeInstance) + "] " + value.front() + "," + value.back() + " role " +
                        std::to_string(role));
        if (action) action();
        if (!m_accept) {
            result.fillConfigResult(false, CFG_ERROR_REJECTED, true);
            result.addResultMessage("not with " + m_name);
        }
        return m_accept;
    }

    Names& m_log;
    const std::string m_name;
    const bool m_accept;
};

/// An application with a provider of everything below "display", which is called "a" and accepts.
struct ProvidingApplication : Application {
    ProvidingApplication() { link->registerHandler("display", "", &provider); }

    Names log;  ///< what the provider was asked
    Provider provider{log, "a"};
};

}  // namespace ProviderTest
