#include "AppConfig/HandlerRegistration.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "DeliveryFixture.h"

using Support::inFreshProcess;

// Handlers that were entered while there was no transport: the first one makes up for them.

namespace {

using namespace LinkTest;
using AppConfig::PlatformCfgService;
using Support::FakeTransport;

std::vector<std::string> registered(const FakeTransport& transport) {
    std::vector<std::string> names;
    for (const auto& request : transport.requests<ConfigIF::RegisterClientCallbackReq>()) {
        names.push_back(request.var_name() + " " + std::to_string(request.type()) + " " +
                        std::to_string(request.role()));
    }
    return names;
}

class Wanting : public ConsumerConfigHandler {
public:
    Wanting() { m_wantsChange = m_wantsOptions = true; }
};

class HandlersWithoutTransport : public ::testing::Test {
protected:
    FakeTransport transport;
    PlatformCfgService link{4, "node4", "self4"};
    Wanting consumer;
    ProviderConfigHandler provider;
};

TEST_F(HandlersWithoutTransport, AreRegisteredByTheFirstOneInTheirOrder) {
    link.registerHandler("room.heating", "target", &provider);
    link.registerHandler("room", "", &consumer);
    link.registerHandlerRequested(ConfigVar(2, "audio", 3, "volume", 5), &consumer, ConfigRegistrar::SUBMIT);
    link.registerHandlerProactively(ConfigVar(0, "clock", 0, "zone", 0), ConfigRegistrar::ACCESS_LEVELS_CHANGED);
    link.setSecurityRole(AppConfig::SECURITY_ROLE_3);

    link.setPbInterface(&transport);

    EXPECT_EQ(registered(transport), (Names{"room.heating.target 2 30", "room.heating.target 1 30", "room 3 30",
                                            "room 5 30", "audio.volume 6 30", "clock.zone 7 30"}));
    EXPECT_EQ(transport.handlerTables(), 1) << "after the four steps";
    EXPECT_EQ(transport.requests<ConfigIF::RegisterClientCallbackReq>()[0].client_name(),
              "self4/" + transport.localEndpoint());
}

TEST_F(HandlersWithoutTransport, AreRegisteredOncePerPair) {
    Wanting second;
    link.registerHandler("room", "", &consumer);
    link.registerHandler("room", "", &second);

    link.setPbInterface(&transport);
    link.registerHandler("room", "", &second);

    EXPECT_EQ(registered(transport).size(), 2U);
}

TEST_F(HandlersWithoutTransport, AreNotRegisteredAgainByTheNextTransport) {
    link.registerHandler("room", "", &consumer);
    link.setPbInterface(&transport);
    FakeTransport next;

    link.setPbInterface(&next);

    EXPECT_TRUE(next.records().empty());
}

TEST_F(HandlersWithoutTransport, AreNotRegisteredOnceTheyWereUnregisteredAtTheService) {
    link.registerHandler("room", "", &consumer);
    EXPECT_FALSE(link.unregisterOptionsCallback(ConfigVar(7, "Room", 1, "", 0)));

    link.setPbInterface(&transport);

    EXPECT_EQ(registered(transport), Names{"room 3 20"});
}

TEST_F(HandlersWithoutTransport, AreNotRegisteredAfterAllWereUnregistered) {
    link.registerHandler("room", "", &consumer);
    link.unregisterAllCallbacks();

    link.setPbInterface(&transport);

    EXPECT_TRUE(transport.records().empty());
}

TEST_F(HandlersWithoutTransport, AreAllThatTheFirstTransportAsksFor) {
    link.setPbInterface(&transport);

    EXPECT_TRUE(transport.records().empty()) << "nobody had entered anything";
}

TEST_F(HandlersWithoutTransport, MayRefuseToRegisterAndStay) {
    ConfigIF::RegisterClientCallbackRsp refusal;
    refusal.set_error(CommonIF::ERROR_LIMIT);
    transport.answerWith(refusal);
    link.registerHandler("room", "", &consumer);

    link.setPbInterface(&transport);

    EXPECT_EQ(registered(transport).size(), 2U);
}

TEST(HandlersWithoutATransport, AreCalledOnceThereIsOne) {
    inFreshProcess([] {
        Names log;
        LoggingConsumer consumer(log);
        registerHandler("display", "brightness", &consumer);
        Application app;

        app.transport.deliver(changed({{"display", 1}, {"brightness", 2}}, {"70"}));

        EXPECT_EQ(log, Names{"changed display[1].brightness[2] 70"});
    });
}

}  // namespace
