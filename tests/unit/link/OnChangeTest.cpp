#include <thread>

#include "ProviderFixture.h"

using Support::inFreshProcess;

namespace {

using namespace ProviderTest;

ConfigIF::OnChangeReq numbered(const Steps& path, std::uint64_t timeline, std::uint64_t change) {
    auto req = request<ConfigIF::OnChangeReq>(path);
    req.mutable_revision()->set_timeline(timeline);
    req.mutable_revision()->set_change(change);
    return req;
}

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
        ProvidingApplication app;
        List seen;
        app.provider.action = [&] { seen = app.cached(key); };

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

TEST(OnChange, ThatIsOlderThanOneThatWasHandedOnReachesNoProvider) {
    inFreshProcess([] {
        ProvidingApplication app;
        app.transport.deliver(numbered(steps, 11, 5));
        ASSERT_EQ(app.log.size(), 1U);
        app.transport.deliver(numbered(steps, 11, 4));
        EXPECT_EQ(app.log.size(), 1U);
        EXPECT_EQ(lastAnswer<ConfigIF::OnChangeRsp>(app).error(), CommonIF::ERROR_NONE);
        app.transport.deliver(numbered(steps, 11, 5));
        EXPECT_EQ(app.log.size(), 2U) << "the same one, asked for again after a break";
        app.transport.deliver(numbered({{"cfg", 3}, {"Display", 1}, {"Brightness", 3}}, 11, 4));
        EXPECT_EQ(app.log.size(), 3U) << "another variable";
        app.transport.deliver(numbered(steps, 12, 1));
        EXPECT_EQ(app.log.size(), 4U) << "the service numbers anew";
        app.transport.deliver(request<ConfigIF::OnChangeReq>());
        EXPECT_EQ(app.log.size(), 5U) << "without a number nothing is known";
        app.transport.deliver(numbered(steps, 12, 1));
        EXPECT_EQ(app.log.size(), 6U);
    });
}

TEST(OnChange, ThatIsOvertakenByANewerOneIsOverForTheOtherProviders) {
    // What another start of the service numbers cannot be compared: the one that began later is the newer one.
    for (const auto& newer : {numbered(steps, 11, 6), numbered(steps, 12, 1)}) {
        inFreshProcess([&] {
            Application app;
            Names log;
            Provider first(log, "a");
            Provider second(log, "b");
            app.link->registerHandler("display", "", &first);
            app.link->registerHandler("display", "", &second);
            bool begun = false;
            const auto another = [&] {
                if (std::exchange(begun, true)) return;
                // On another thread, as over a transport that took the place of this one.
                std::thread([&] { app.transport.deliver(newer); }).join();
            };
            first.action = another;
            second.action = another;

            app.transport.deliver(numbered(steps, 11, 5));

            EXPECT_EQ(log.size(), 3U) << "the older one reached one provider, the newer one both";
        });
    }
}

TEST(OnChange, IsNotFilteredByClientName) {
    inFreshProcess([] {
        ProvidingApplication app;
        auto req = request<ConfigIF::OnChangeReq>();
        req.clear_client_name();
        req.clear_server_context();

        app.transport.deliver(req);

        EXPECT_EQ(app.log.size(), 1U);
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

}  // namespace
