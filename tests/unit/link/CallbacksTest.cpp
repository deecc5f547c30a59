#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "LinkFixture.h"

namespace {

using namespace LinkTest;
using Types = std::vector<int>;

class LinkCallbacks : public Link {
protected:
    ConsumerConfigHandler a;
    ConsumerConfigHandler b;
    ProviderConfigHandler p;
    ProviderConfigHandler q;
};

template <typename Request>
void expectCallbackRequest(const Request& request, const std::string& self, int type) {
    EXPECT_EQ(request.client_name(), self);
    EXPECT_EQ(request.role(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(request.var_name(), "display.brightness");
    EXPECT_EQ(request.type(), type);
    EXPECT_EQ(request.callback_name().rfind("PlatCfgSvc4-", 0), 0U);
}

TEST_F(LinkCallbacks, RegisterCallbackAsksTheServiceAndWaits) {
    EXPECT_TRUE(linkOf4.registerCallback(ConfigVar(2, "Display", 3, "Brightness", 4), ConfigIF::CALLBACK_SUBMIT));

    ASSERT_EQ(transport.records().size(), 1U);
    EXPECT_EQ(transport.records()[0].endpoint, "node4/ConfigSrvc");
    EXPECT_TRUE(transport.records()[0].awaited);
    expectCallbackRequest(transport.requests<ConfigIF::RegisterClientCallbackReq>().at(0), linkOf4.getSelfFQName(), 6);
}

TEST_F(LinkCallbacks, UnregisterCallbackAsksTheServiceAndWaits) {
    EXPECT_TRUE(linkOf4.unregisterCallback(brightness, ConfigIF::CALLBACK_SUBMIT));

    ASSERT_EQ(transport.records().size(), 1U);
    EXPECT_TRUE(transport.records()[0].awaited);
    expectCallbackRequest(transport.requests<ConfigIF::UnregisterClientCallbackReq>().at(0), linkOf4.getSelfFQName(),
                          6);
}

TEST_F(LinkCallbacks, ARefusalIsFalse) {
    ConfigIF::RegisterClientCallbackRsp in;
    in.set_error(CommonIF::ERROR_LIMIT);
    transport.answerWith(in);
    ConfigIF::UnregisterClientCallbackRsp out;
    out.set_error(CommonIF::ERROR_LIMIT);
    transport.answerWith(out);

    EXPECT_FALSE(link.registerCallback(brightness, ConfigIF::CALLBACK_SUBMIT));
    EXPECT_FALSE(link.unregisterCallback(brightness, ConfigIF::CALLBACK_SUBMIT));
}

TEST_F(LinkCallbacks, AnErrorNumberThatNobodyKnowsIsFalse) {
    transport.answerWith("ConfigIF.RegisterClientCallbackRsp", unknownNumberIn(1));
    transport.answerWith("ConfigIF.UnregisterClientCallbackRsp", unknownNumberIn(1));

    EXPECT_FALSE(link.registerCallback(brightness, ConfigIF::CALLBACK_SUBMIT));
    EXPECT_FALSE(link.unregisterCallback(brightness, ConfigIF::CALLBACK_SUBMIT));
}

TEST_F(LinkCallbacks, AnUnreachableServiceIsFalse) {
    transport.failRequests("", 3);

    EXPECT_FALSE(link.registerCallback(brightness, ConfigIF::CALLBACK_SUBMIT));
    EXPECT_FALSE(link.unregisterCallback(brightness, ConfigIF::CALLBACK_SUBMIT));
}

TEST_F(LinkCallbacks, WithoutATransportEverythingIsFalse) {
    EXPECT_FALSE(linkWithoutTransport.registerCallback(brightness, ConfigIF::CALLBACK_SUBMIT));
    EXPECT_FALSE(linkWithoutTransport.unregisterCallback(brightness, ConfigIF::CALLBACK_SUBMIT));
    linkWithoutTransport.unregisterAllCallbacks();
}

TEST_F(LinkCallbacks, TheFiveShorthandsHaveTheirTypes) {
    EXPECT_TRUE(link.unregisterChangeCallback(brightness));
    EXPECT_TRUE(link.unregisterAttributeCallback(brightness));
    EXPECT_TRUE(link.unregisterOptionsCallback(brightness));
    EXPECT_TRUE(link.unregisterSubmitCallback(brightness));
    EXPECT_TRUE(link.unregisterAccessLevelsCallback(brightness));

    Types types;
    for (const auto& request : transport.requests<ConfigIF::UnregisterClientCallbackReq>()) {
        EXPECT_EQ(request.var_name(), "display.brightness");
        types.push_back(request.type());
    }
    EXPECT_EQ(types, (Types{3, 4, 5, 6, 7}));
    transport.failRequests("", 3);
    EXPECT_FALSE(link.unregisterChangeCallback(brightness));
    EXPECT_FALSE(link.unregisterAttributeCallback(brightness));
    EXPECT_FALSE(link.unregisterOptionsCallback(brightness));
    EXPECT_FALSE(link.unregisterSubmitCallback(brightness));
    EXPECT_FALSE(link.unregisterAccessLevelsCallback(brightness));
}

TEST_F(LinkCallbacks, UnregisterAllIsHandedOverAndLeavesTheRegistryAlone) {
    a.m_wantsChange = true;
    link.registerHandler("display", "brightness", &a);
    transport.forget();

    link.unregisterAllCallbacks();
    link.registerHandler("display", "brightness", &b);
    link.registerHandler("display", "brightness", &a);

    ASSERT_EQ(transport.records().size(), 1U) << "what counts as registered is not registered again";
    EXPECT_FALSE(transport.records()[0].awaited);
    EXPECT_FALSE(transport.records()[0].hadReserved);
    EXPECT_EQ(transport.records()[0].endpoint, "ConfigSrvc");
    EXPECT_EQ(transport.requests<ConfigIF::UnregisterAllClientCallbacksReq>().at(0).client_name(),
              link.getSelfFQName());
}

TEST_F(LinkCallbacks, TwoConsumersOfOnePairCauseOneRequest) {
    a.m_wantsChange = true;
    b.m_wantsChange = true;

    link.registerHandler("display", "brightness", &a);
    link.registerHandler("Display", "Brightness", &b);

    EXPECT_EQ(registeredTypes(transport), Types{3});
}

TEST_F(LinkCallbacks, WishesAreRegisteredInTheirOrder) {
    a.m_wantsSubmit = true;
    a.m_wantsOptions = true;
    b.m_wantsChange = b.m_wantsSubmit = b.m_wantsAttribute = b.m_wantsOptions = b.m_wantsAccessLevels = true;

    link.registerHandler("display", "brightness", &a);
    EXPECT_EQ(registeredTypes(transport), (Types{6, 5}));
    transport.forget();
    link.registerHandler("audio", "volume", &b);

    EXPECT_EQ(registeredTypes(transport), (Types{3, 6, 4, 5, 7}));
}

TEST_F(LinkCallbacks, AConsumerThatWantsNothingIsEnteredNowhere) {
    link.registerHandler("display", "brightness", &a);

    EXPECT_TRUE(transport.records().empty());
}

TEST_F(LinkCallbacks, AProviderCausesTwoRequestsOnce) {
    link.registerHandler("display", "brightness", &p);
    EXPECT_EQ(registeredTypes(transport), (Types{2, 1}));

    link.registerHandler("display", "brightness", &q);
    link.registerHandler("display", "brightness", &p);

    EXPECT_EQ(registeredTypes(transport), (Types{2, 1}));
}

TEST_F(LinkCallbacks, ANodeThatIsRegisteredCoversItsAttributes) {
    a.m_wantsChange = true;
    link.registerHandler("display", "", &a);
    transport.forget();

    link.registerHandler("display", "brightness", &a);
    link.registerHandler("display.panel", "mode", &a);

    EXPECT_TRUE(transport.records().empty());
}

TEST_F(LinkCallbacks, RegisterHandlerRequestedIgnoresTheWantFlags) {
    link.registerHandlerRequested(brightness, &a, ConfigRegistrar::ACCESS_LEVELS_CHANGED);
    link.registerHandlerRequested(brightness, &a, ConfigRegistrar::ACCESS_LEVELS_CHANGED);

    EXPECT_EQ(registeredTypes(transport), Types{7});
}

TEST_F(LinkCallbacks, RegisterHandlerRequestedWithAnotherNumberRegistersSubmit) {
    link.registerHandlerRequested(brightness, &a, static_cast<ConfigRegistrar::ConsumerCallbackType>(9));

    EXPECT_EQ(registeredTypes(transport), Types{6});
}

TEST_F(LinkCallbacks, RegisterHandlerProactivelySendsOnceAndStandsForLaterHandlers) {
    link.registerHandlerProactively(brightness, ConfigRegistrar::OPTIONS_CHANGED);
    link.registerHandlerProactively(brightness, ConfigRegistrar::OPTIONS_CHANGED);
    link.registerHandlerRequested(brightness, &a, ConfigRegistrar::OPTIONS_CHANGED);

    EXPECT_EQ(registeredTypes(transport), Types{5});
}

TEST_F(LinkCallbacks, UnregisteringTheLastHandlerSendsNothing) {
    a.m_wantsChange = true;
    link.registerHandler("display", "brightness", &a);
    link.registerHandler("display", "brightness", &p);
    transport.forget();

    link.unregisterHandler("display", "brightness", &a);
    link.unregisterHandler("display", "brightness", &p);

    EXPECT_TRUE(transport.records().empty());
}

TEST_F(LinkCallbacks, UnregisteringRemovesAConsumerFromEveryKindWhateverItWantsNow) {
    a.m_wantsChange = a.m_wantsSubmit = a.m_wantsAttribute = a.m_wantsOptions = a.m_wantsAccessLevels = true;
    link.registerHandler("display", "brightness", &a);
    transport.forget();
    a.m_wantsChange = a.m_wantsSubmit = a.m_wantsAttribute = a.m_wantsOptions = a.m_wantsAccessLevels = false;

    link.unregisterHandler("Display", "Brightness", &a);

    // Only a pair without a handler asks the service again.
    b.m_wantsChange = b.m_wantsSubmit = b.m_wantsAttribute = b.m_wantsOptions = b.m_wantsAccessLevels = true;
    link.registerHandler("display", "brightness", &b);
    EXPECT_EQ(registeredTypes(transport), (Types{3, 6, 4, 5, 7}));
}

TEST_F(LinkCallbacks, AHandlerIsEnteredAlsoWhenTheServiceCannotBeReached) {
    transport.failRequests("", 3);
    a.m_wantsChange = true;

    link.registerHandler("display", "brightness", &a);
    link.registerHandler("display", "brightness", &p);
    transport.failRequests("", 0);
    transport.forget();
    link.registerHandler("display", "brightness", &a);
    link.registerHandler("display", "brightness", &p);

    EXPECT_TRUE(transport.records().empty()) << "the pairs count as registered";
}

}  // namespace
