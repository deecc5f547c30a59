#include "ProviderFixture.h"

using AppConfig::PlatformCfgService;
using Support::inFreshProcess;

namespace {

using namespace ProviderTest;

TEST(Questions, UnderAnUnknownContextAreAnsweredAsNotInteresting) {
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

TEST(Questions, ToALinkThatIsNeitherPrimaryNorLocalAreAnsweredToTheirSenderAsNotInteresting) {
    inFreshProcess([] {
        Support::FakeTransport transport;
        Names log;
        Provider provider(log, "a");
        PlatformCfgService stranger(0, "", "");
        stranger.setPbInterface(&transport);
        stranger.registerHandler("display", "brightness", &provider);

        transport.deliver(request<ConfigIF::OnChangeReq>());
        transport.deliver(request<ConfigIF::DynamicValidateReq>());

        EXPECT_TRUE(log.empty());
        ASSERT_EQ(transport.answers().size(), 2U);
        ConfigIF::OnChangeRsp change;
        ConfigIF::DynamicValidateRsp validation;
        ASSERT_TRUE(change.ParseFromString(transport.answers()[0].bytes));
        ASSERT_TRUE(validation.ParseFromString(transport.answers()[1].bytes));
        EXPECT_EQ(messagesOf(change.result()), Names{"Not interested"});
        EXPECT_EQ(messagesOf(validation.result()), Names{"Not intersted"});
        for (const ConfigIF::ReturnMessage& result : {change.result(), validation.result()}) {
            EXPECT_EQ(result.error(), CommonIF::ERROR_NONE);
            EXPECT_FALSE(result.result_flag());
            expectEchoed(result);
        }
    });
}

TEST(Questions, OfANamespaceScopedVariableAreForThePrimaryLinksOwnNamespaceOnly) {
    inFreshProcess([] {
        Support::FakeTransport transport;
        Names log;
        Provider provider(log, "a");
        ASSERT_TRUE(AppConfig::AppCfgManager::changePrimaryConfigService(3, "", "", &transport));
        PlatformCfgService::getInstance()->registerHandler("display", "brightness", &provider);
        const auto scoped = [](auto req, int ns) {
            req.mutable_inst_value()->mutable_inst()->set_scope(ConfigIF::SCOPE_NAMESPACE);
            req.mutable_inst_value()->mutable_inst()->mutable_node(0)->set_instance(ns);
            return req;
        };

        transport.deliver(scoped(request<ConfigIF::OnChangeReq>(), 0));
        transport.deliver(scoped(request<ConfigIF::DynamicValidateReq>(), 0));
        EXPECT_TRUE(log.empty());
        transport.deliver(scoped(request<ConfigIF::OnChangeReq>(), 3));
        transport.deliver(scoped(request<ConfigIF::DynamicValidateReq>(), 3));

        EXPECT_EQ(log, (Names{"a change display[1].brightness[2] 70,71 role 2",
                              "a validate display[1].brightness[2] 70,71 role 2"}));
        ASSERT_EQ(transport.answers().size(), 4U);
        ConfigIF::OnChangeRsp refused;
        ConfigIF::DynamicValidateRsp accepted;
        ASSERT_TRUE(refused.ParseFromString(transport.answers()[0].bytes));
        ASSERT_TRUE(accepted.ParseFromString(transport.answers()[3].bytes));
        EXPECT_EQ(messagesOf(refused.result()), Names{"Not interested"});
        EXPECT_TRUE(messagesOf(accepted.result()).empty());
    });
}

TEST(Questions, WithoutAnyValueReachTheProviderWithAnEmptyOne) {
    inFreshProcess([] {
        struct Sized : ProviderConfigHandler {
            bool onDynamicValidate(const std::string&, int, const std::string&, int, const List& value, SecurityRole,
                                   ConfigResult&) override {
                sizes.push_back(value.size());
                return true;
            }
            bool onChange(const std::string&, int, const std::string&, int, const List& value, SecurityRole,
                          ConfigResult&) override {
                sizes.push_back(value.size());
                return true;
            }
            std::vector<std::size_t> sizes;
        } provider;
        Application app;
        app.link->registerHandler("display", "", &provider);
        auto change = request<ConfigIF::OnChangeReq>();
        auto validation = request<ConfigIF::DynamicValidateReq>();
        change.mutable_inst_value()->clear_value();
        validation.mutable_inst_value()->clear_value();

        app.transport.deliver(change);
        app.transport.deliver(validation);

        EXPECT_EQ(provider.sizes, (std::vector<std::size_t>{0, 0}));
        EXPECT_TRUE(messagesOf(lastAnswer<ConfigIF::DynamicValidateRsp>(app)).empty());
    });
}

TEST(Questions, TheRequestersRoleIsTranslated) {
    inFreshProcess([] {
        ProvidingApplication app;
        const std::pair<CommonIF::eSecurityRole, int> rows[] = {{CommonIF::SECURITY_ROLE_WIRE_10, 0},
                                                                {CommonIF::SECURITY_ROLE_WIRE_20, 1},
                                                                {CommonIF::SECURITY_ROLE_WIRE_30, 3},
                                                                {CommonIF::SECURITY_ROLE_WIRE_40, 2},
                                                                {CommonIF::SECURITY_ROLE_WIRE_50, 4}};
        for (const auto& [wire, role] : rows) {
            app.log.clear();
            auto change = request<ConfigIF::OnChangeReq>();
            change.set_role(wire);
            auto validation = request<ConfigIF::DynamicValidateReq>();
            validation.set_role(wire);

            app.transport.deliver(change);
            app.transport.deliver(validation);

            ASSERT_EQ(app.log.size(), 2U);
            for (const std::string& line : app.log) EXPECT_EQ(line.back(), '0' + role);
        }
    });
}

TEST(Questions, ARoleThatNobodyKnowsOrNoneIsRoleNone) {
    inFreshProcess([] {
        ProvidingApplication app;
        auto req = request<ConfigIF::OnChangeReq>();
        req.clear_role();

        app.transport.deliver(req);
        app.transport.deliver(0x1A0100, req.SerializeAsString() + unknownNumberIn(4));

        ASSERT_EQ(app.log.size(), 2U);
        for (const std::string& line : app.log) EXPECT_EQ(line.back(), '0');
    });
}

TEST(Questions, AProviderMayCallBack) {
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
        EXPECT_EQ(log.size(), 1U) << "the second one was gone when its turn came";
        app.transport.deliver(request<ConfigIF::OnChangeReq>());

        EXPECT_EQ(log.size(), 1U) << "both are gone";
    });
}

TEST(Questions, WhatAProviderLeavesInTheResultTheNextOneSees) {
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

TEST(Questions, AChangeThatCameWithinTheCallForAnOlderOneIsNotUndoneByIt) {
    inFreshProcess([] {
        Application app;
        Names log;
        Provider first(log, "a");
        Provider second(log, "b");
        app.link->registerHandler("display", "", &first);
        app.link->registerHandler("display", "", &second);
        auto newer = request<ConfigIF::OnChangeReq>();
        newer.mutable_inst_value()->set_value(0, "80");
        auto other = request<ConfigIF::OnChangeReq>({{"Display", 1}, {"Contrast", 0}});
        bool done = false;
        bool overtakes = true;
        first.action = [&] {
            if (std::exchange(done, true)) return;
            app.transport.deliver(other);
            if (overtakes) app.transport.deliver(newer);
        };

        app.transport.deliver(request<ConfigIF::OnChangeReq>());

        EXPECT_EQ(
            log,
            (Names{"a change display[1].brightness[2] 70,71 role 2", "a change display[1].contrast[0] 70,71 role 2",
                   "b change display[1].contrast[0] 70,71 role 2", "a change display[1].brightness[2] 80,71 role 2",
                   "b change display[1].brightness[2] 80,71 role 2"}));
        done = overtakes = false;
        log.clear();
        app.transport.deliver(request<ConfigIF::OnChangeReq>());
        EXPECT_EQ(log.back(), "b change display[1].brightness[2] 70,71 role 2") << "another variable overtakes nothing";
    });
}

TEST(QuestionsDeathTest, AnErrorOutsideItsEnumAborts) {
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
