#include <functional>

#include "DeliveryFixture.h"

using AppConfig::PlatformCfgService;
using AppConfig::SecurityRole;
using Support::inFreshProcess;

namespace {

using namespace LinkTest;

const Steps steps = {{"cfg", 3}, {"Display", 1}, {"Brightness", 2}};
const ConfigVar key(0, "display", 1, "brightness", 2);

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

void expectEchoed(const ConfigIF::ReturnMessage& result) {
    EXPECT_EQ(result.server_context(), "context 7");
    EXPECT_EQ(result.client_name(), "writer");
}

Names messagesOf(const ConfigIF::ReturnMessage& result) {
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

// ---- change

TEST(OnChange, EveryProviderIsCalledAlsoAfterAFailure) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider refusing(log, "a", false);
        Provider accepting(log, "b");
        Provider alsoRefusing(log, "c", false);
        for (Provider* provider : {&refusing, &accepting, &alsoRefusing}) {
            app.link->registerHandler("display", "brightness", provider);
        }

        app.transport.deliver(request<ConfigIF::OnChangeReq>());

        EXPECT_EQ(log, (Names{"a change display[1].brightness[2] 70,71 role 2",
                              "b change display[1].brightness[2] 70,71 role 2",
                              "c change display[1].brightness[2] 70,71 role 2"}));
        const auto result = lastAnswer<ConfigIF::OnChangeRsp>(app);
        EXPECT_EQ(result.error(), CommonIF::ERROR_REJECTED);
        EXPECT_TRUE(result.result_flag());
        EXPECT_EQ(messagesOf(result), (Names{"not with a", "not with c"}));
        expectEchoed(result);
    });
}

TEST(OnChange, TheCacheHoldsTheValueBeforeAnyProviderRuns) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider provider(log, "a");
        List seen;
        provider.action = [&] { seen = app.cached(key); };
        app.link->registerHandler("display", "", &provider);

        app.transport.deliver(request<ConfigIF::OnChangeReq>());

        EXPECT_EQ(seen, (List{"70", "71"}));
    });
}

TEST(OnChange, WithoutAProviderTheCacheIsUpdatedAndTheAnswerIsFine) {
    inFreshProcess([] {
        Application app;

        app.transport.deliver(request<ConfigIF::OnChangeReq>());

        EXPECT_EQ(app.cached(key), (List{"70", "71"}));
        const auto result = lastAnswer<ConfigIF::OnChangeRsp>(app);
        EXPECT_EQ(result.error(), CommonIF::ERROR_NONE);
        EXPECT_FALSE(result.result_flag());
        EXPECT_TRUE(messagesOf(result).empty());
        expectEchoed(result);
    });
}

TEST(OnChange, IsNotFilteredByClientName) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider provider(log, "a");
        app.link->registerHandler("display", "", &provider);
        auto req = request<ConfigIF::OnChangeReq>();
        req.clear_client_name();
        req.clear_server_context();

        app.transport.deliver(req);

        EXPECT_EQ(log.size(), 1U);
        EXPECT_FALSE(lastAnswer<ConfigIF::OnChangeRsp>(app).has_client_name());
    });
}

TEST(OnChange, OfANamespaceScopedVariableElsewhereIsNotInteresting) {
    inFreshProcess([] {
        Application app;
        auto req = request<ConfigIF::OnChangeReq>();
        req.mutable_inst_value()->mutable_inst()->set_scope(ConfigIF::SCOPE_NAMESPACE);

        app.transport.deliver(req);

        const auto result = lastAnswer<ConfigIF::OnChangeRsp>(app);
        EXPECT_EQ(result.error(), CommonIF::ERROR_NONE);
        EXPECT_EQ(messagesOf(result), Names{"Not interested"});
        expectEchoed(result);
        EXPECT_EQ(app.cached(key), List{"(not cached)"});
    });
}

TEST(OnChange, WithAVariableThatDoesNotReadSaysSo) {
    inFreshProcess([] {
        Application app;

        app.transport.deliver(request<ConfigIF::OnChangeReq>({{"cfg", 3}}));

        const auto result = lastAnswer<ConfigIF::OnChangeRsp>(app);
        EXPECT_EQ(result.error(), CommonIF::ERROR_NONE);
        EXPECT_EQ(messagesOf(result), Names{"unable to parse variable name"});
        expectEchoed(result);
        EXPECT_EQ(app.manager->removeVars(""), 0U);
    });
}

// ---- validation

TEST(DynamicValidate, StopsAtTheFirstProviderThatRejects) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider accepting(log, "a");
        Provider rejecting(log, "b", false);
        Provider never(log, "c", false);
        for (Provider* provider : {&accepting, &rejecting, &never}) {
            app.link->registerHandler("display", "brightness", provider);
        }

        app.transport.deliver(request<ConfigIF::DynamicValidateReq>());

        EXPECT_EQ(log, (Names{"a validate display[1].brightness[2] 70,71 role 2",
                              "b validate display[1].brightness[2] 70,71 role 2"}));
        const auto result = lastAnswer<ConfigIF::DynamicValidateRsp>(app);
        EXPECT_EQ(result.error(), CommonIF::ERROR_REJECTED);
        EXPECT_EQ(messagesOf(result), Names{"not with b"});
        expectEchoed(result);
    });
}

TEST(DynamicValidate, DoesNotTouchTheCache) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider accepting(log, "a");
        app.link->registerHandler("display", "", &accepting);

        app.transport.deliver(request<ConfigIF::DynamicValidateReq>());

        EXPECT_EQ(log.size(), 1U);
        EXPECT_EQ(app.manager->removeVars(""), 0U);
    });
}

TEST(DynamicValidate, WithoutAProviderTheAnswerIsFine) {
    inFreshProcess([] {
        Application app;

        app.transport.deliver(request<ConfigIF::DynamicValidateReq>());

        const auto result = lastAnswer<ConfigIF::DynamicValidateRsp>(app);
        EXPECT_EQ(result.error(), CommonIF::ERROR_NONE);
        EXPECT_TRUE(messagesOf(result).empty());
        expectEchoed(result);
    });
}

TEST(DynamicValidate, OfANamespaceScopedVariableElsewhereIsNotInteresting) {
    inFreshProcess([] {
        Application app;
        auto req = request<ConfigIF::DynamicValidateReq>();
        req.mutable_inst_value()->mutable_inst()->set_scope(ConfigIF::SCOPE_NAMESPACE);

        app.transport.deliver(req);

        const auto result = lastAnswer<ConfigIF::DynamicValidateRsp>(app);
        EXPECT_EQ(result.error(), CommonIF::ERROR_NONE);
        EXPECT_EQ(messagesOf(result), Names{"Not intersted"});
        expectEchoed(result);
    });
}

TEST(DynamicValidate, WithAVariableThatDoesNotReadSaysSo) {
    inFreshProcess([] {
        Application app;

        app.transport.deliver(request<ConfigIF::DynamicValidateReq>({}));

        const auto result = lastAnswer<ConfigIF::DynamicValidateRsp>(app);
        EXPECT_EQ(result.error(), CommonIF::ERROR_NONE);
        EXPECT_EQ(messagesOf(result), Names{"unable to parse variable name"});
        expectEchoed(result);
    });
}

// ---- both

TEST(ProviderRequests, UnderAnUnknownContextAreAnsweredAsNotInteresting) {
    inFreshProcess([] {
        Application app;
        PlatformCfgService stranger(0, "", "");
        MSG_Message* const incoming = MSG_Create(0x1A0100, nullptr, 0, "owner", 1);

        MSG_Message* const change =
            PlatformCfgService::onChangeHandler(request<ConfigIF::OnChangeReq>(), incoming, &stranger);
        MSG_Message* const validation =
            PlatformCfgService::dynamicValidateHandler(request<ConfigIF::DynamicValidateReq>(), incoming, nullptr);

        ConfigIF::OnChangeRsp changeAnswer;
        ConfigIF::DynamicValidateRsp validationAnswer;
        changeAnswer.ParseFromArray(MSG_GetPayload(change), static_cast<int>(MSG_GetPayloadBytes(change)));
        validationAnswer.ParseFromArray(MSG_GetPayload(validation), static_cast<int>(MSG_GetPayloadBytes(validation)));
        EXPECT_EQ(messagesOf(changeAnswer.result()), Names{"Not interested"});
        EXPECT_EQ(changeAnswer.result().error(), CommonIF::ERROR_NONE);
        EXPECT_EQ(messagesOf(validationAnswer.result()), Names{"Not intersted"});
        EXPECT_EQ(validationAnswer.result().error(), CommonIF::ERROR_NONE);
        EXPECT_EQ(app.cached(key), List{"(not cached)"});
        for (MSG_Message* message : {incoming, change, validation}) MSG_Destroy(message);
    });
}

TEST(ProviderRequests, TheRequestersRoleIsTranslated) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider provider(log, "a");
        app.link->registerHandler("display", "", &provider);
        const std::pair<CommonIF::eSecurityRole, int> rows[] = {{CommonIF::SECURITY_ROLE_WIRE_10, 0},
                                                                {CommonIF::SECURITY_ROLE_WIRE_20, 1},
                                                                {CommonIF::SECURITY_ROLE_WIRE_30, 3},
                                                                {CommonIF::SECURITY_ROLE_WIRE_40, 2},
                                                                {CommonIF::SECURITY_ROLE_WIRE_50, 4}};
        for (const auto& [wire, role] : rows) {
            log.clear();
            auto change = request<ConfigIF::OnChangeReq>();
            change.set_role(wire);
            auto validation = request<ConfigIF::DynamicValidateReq>();
            validation.set_role(wire);

            app.transport.deliver(change);
            app.transport.deliver(validation);

            ASSERT_EQ(log.size(), 2U);
            for (const std::string& line : log) EXPECT_EQ(line.back(), '0' + role);
        }
    });
}

TEST(ProviderRequests, ARoleThatNobodyKnowsOrNoneIsRoleNone) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider provider(log, "a");
        app.link->registerHandler("display", "", &provider);
        auto req = request<ConfigIF::OnChangeReq>();
        req.clear_role();

        app.transport.deliver(req);
        app.transport.deliver(0x1A0100, req.SerializeAsString() + unknownNumberIn(4));

        ASSERT_EQ(log.size(), 2U);
        for (const std::string& line : log) EXPECT_EQ(line.back(), '0');
    });
}

TEST(ProviderRequests, AProviderMayCallBack) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider first(log, "first");
        Provider second(log, "second");
        LoggingConsumer consumer(log);
        ConfigIF::ReadRsp reply;
        reply.add_value("7");
        app.transport.answerWith(reply);
        app.link->registerHandler("display", "", &first);
        app.link->registerHandler("display", "", &second);
        first.action = [&] {
            eErrorT error = CFG_ERROR_NONE;
            EXPECT_EQ(app.manager->getConfigVarInt("audio", 0, "volume", 0), 7);
            EXPECT_TRUE(app.manager->setConfigVar("audio", 0, "volume", 0, 8));
            EXPECT_TRUE(app.manager->setConfigOptions("audio", 0, "volume", 0, {"1"}));
            EXPECT_TRUE(app.manager->setAccessReadOnly("audio", 0, "volume", 0, error));
            app.link->registerHandler("audio", "", &consumer);
            app.link->unregisterHandler("display", "", &second);
            app.link->unregisterHandler("display", "", &first);
        };

        app.transport.deliver(request<ConfigIF::DynamicValidateReq>());
        EXPECT_EQ(log.size(), 2U) << "both were asked: the list was taken before";
        app.transport.deliver(request<ConfigIF::OnChangeReq>());

        EXPECT_EQ(log.size(), 2U) << "both are gone";
    });
}

TEST(ProviderRequests, WhatAProviderLeavesInTheResultTheNextOneSees) {
    inFreshProcess([] {
        struct Seeing : ProviderConfigHandler {
            bool onChange(const std::string&, int, const std::string&, int, const List&, SecurityRole,
                          ConfigResult& result) override {
                seen = result.m_error;
                EXPECT_EQ(result.m_serverContext, "context 7");
                EXPECT_EQ(result.m_clientName, "writer");
                return false;
            }
            eErrorT seen = CFG_ERROR_NONE;
        } seeing;
        Application app;
        Names log;
        Provider refusing(log, "a", false);
        app.link->registerHandler("display", "", &refusing);
        app.link->registerHandler("display", "", &seeing);

        app.transport.deliver(request<ConfigIF::OnChangeReq>());

        EXPECT_EQ(seeing.seen, CFG_ERROR_REJECTED);
    });
}

TEST(ProviderRequestsDeathTest, AnErrorOutsideItsEnumAborts) {
    struct Wrong : ProviderConfigHandler {
        bool onChange(const std::string&, int, const std::string&, int, const List&, SecurityRole,
                      ConfigResult& result) override {
            result.m_error = static_cast<eErrorT>(12345);
            return false;
        }
    };
    EXPECT_DEATH(
        {
            Application app;
            Wrong wrong;
            app.link->registerHandler("display", "", &wrong);
            app.transport.deliver(request<ConfigIF::OnChangeReq>());
        },
        "eErrorType_IsValid");
}

}  // namespace
