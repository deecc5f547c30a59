#include "LinkFixture.h"

namespace {

using namespace LinkTest;
using namespace AppConfig;
using Types = std::vector<int>;

class LinkOptions : public Link {
protected:
    template <typename Reply>
    void answerOptions(CommonIF::eErrorType error) {
        Reply reply;
        reply.set_error(error);
        reply.set_default_index(1);
        reply.add_option("a");
        reply.add_option("b");
        transport.answerWith(reply);
    }

    const ConfigVar volume{2, "audio", 1, "volume", 3};
};

TEST_F(LinkOptions, GetConfigOptionsSpeaksUnderTheEndpointAndKeepsTheNamespace) {
    answerOptions<ConfigIF::GetAttributeOptionsRsp>(CommonIF::ERROR_NONE);
    List options{"old"};
    unsigned int index = 9;

    linkOf4.getConfigOptions(brightness, options, index);

    EXPECT_EQ(options, (List{"a", "b"}));
    EXPECT_EQ(index, 1U);
    const auto request = transport.requests<ConfigIF::GetAttributeOptionsReq>().at(0);
    EXPECT_EQ(request.client_name(), transport.localEndpoint());
    EXPECT_NE(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(stepsOf(request.inst()), brightnessSteps);
    EXPECT_EQ(transport.records()[0].endpoint, "node4/ConfigSrvc");
}

TEST_F(LinkOptions, GetConfigOptionsRegistersOnce) {
    List options;
    unsigned int index = 0;

    link.getConfigOptions(brightness, options, index);
    link.getConfigOptions(brightness, options, index);

    EXPECT_EQ(registeredTypes(transport), Types{5});
}

TEST_F(LinkOptions, FailedGetConfigOptionsClearsOptionsAndKeepsTheIndex) {
    const auto expectFailure = [](PlatformCfgService& from) {
        List options{"old"};
        unsigned int index = 9;
        from.getConfigOptions(brightness, options, index);
        EXPECT_TRUE(options.empty());
        EXPECT_EQ(index, 9U);
    };
    expectFailure(linkWithoutTransport);
    answerOptions<ConfigIF::GetAttributeOptionsRsp>(CommonIF::ERROR_ACCESS_DENIED);
    expectFailure(link);
    transport.answerWith("ConfigIF.GetAttributeOptionsRsp", unknownNumberIn(1));
    expectFailure(link);
    transport.failRequests("", 3);
    expectFailure(link);
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkOptions, GetConfigDefaultOptionsSendsTheFullyQualifiedName) {
    answerOptions<ConfigIF::GetDefaultOptionsRsp>(CommonIF::ERROR_NONE);
    List options{"old"};
    unsigned int index = 9;

    linkOf4.getConfigDefaultOptions(volume, options, index);

    EXPECT_EQ(options, (List{"a", "b"}));
    EXPECT_EQ(index, 1U);
    const auto request = transport.requests<ConfigIF::GetDefaultOptionsReq>().at(0);
    EXPECT_EQ(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(request.name(), "audio.volume");
    EXPECT_EQ(transport.types(), Names{"GetDefaultOptionsReq"}) << "nothing is registered";
}

TEST_F(LinkOptions, FailedGetConfigDefaultOptionsClearsOptionsAndKeepsTheIndex) {
    const auto expectFailure = [](PlatformCfgService& from) {
        List options{"old"};
        unsigned int index = 9;
        from.getConfigDefaultOptions(brightness, options, index);
        EXPECT_TRUE(options.empty());
        EXPECT_EQ(index, 9U);
    };
    expectFailure(linkWithoutTransport);
    answerOptions<ConfigIF::GetDefaultOptionsRsp>(CommonIF::ERROR_ACCESS_DENIED);
    expectFailure(link);
    transport.answerWith("ConfigIF.GetDefaultOptionsRsp", unknownNumberIn(1));
    expectFailure(link);
    transport.failRequests("", 3);
    expectFailure(link);
}

TEST_F(LinkOptions, SetConfigOptionsKeepsTheNamespaceAndTheIndexIsOptional) {
    unsigned int index = 1;

    EXPECT_TRUE(linkOf4.setConfigOptions(brightness, {"a", "b"}, &index));
    EXPECT_TRUE(linkOf4.setConfigOptions(volume, {"a"}, nullptr));

    const auto requests = transport.requests<ConfigIF::SetAttributeOptionsReq>();
    EXPECT_EQ(requests.at(0).client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(stepsOf(requests.at(0).inst()), brightnessSteps);
    EXPECT_EQ(requests.at(0).default_index(), 1U);
    EXPECT_EQ(requests.at(0).option_size(), 2);
    EXPECT_EQ(stepsOf(requests.at(1).inst()), (Steps{{"cfg", 2}, {"audio", 1}, {"volume", 3}}));
    EXPECT_FALSE(requests.at(1).has_default_index());
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkOptions, FailedSetConfigOptionsIsFalse) {
    EXPECT_FALSE(linkWithoutTransport.setConfigOptions(brightness, {"a"}, nullptr));

    ConfigIF::SetAttributeOptionsRsp reply;
    reply.set_error(CommonIF::ERROR_LIMIT);
    transport.answerWith(reply);
    EXPECT_FALSE(link.setConfigOptions(brightness, {"a"}, nullptr));

    transport.answerWith("ConfigIF.SetAttributeOptionsRsp", unknownNumberIn(1));
    EXPECT_FALSE(link.setConfigOptions(brightness, {"a"}, nullptr));

    transport.failRequests("", 3);
    EXPECT_FALSE(link.setConfigOptions(brightness, {"a"}, nullptr));
}

}  // namespace
