#include "ProviderFixture.h"

using Support::inFreshProcess;

namespace {

using namespace ProviderTest;

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
        ProvidingApplication app;

        app.transport.deliver(request<ConfigIF::DynamicValidateReq>());

        EXPECT_EQ(app.log.size(), 1U);
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

}  // namespace
