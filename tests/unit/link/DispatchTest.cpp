#include <stdexcept>

#include "DeliveryFixture.h"
#include "MessageIds.h"

using Support::inFreshProcess;

namespace {

using namespace LinkTest;

const Steps steps = {{"display", 1}, {"brightness", 2}};
constexpr char unparsable[] = "\xFF\xFF\xFF\xFF\xFF";

TEST(Dispatch, AMessageThatDoesNotParseIsReportedAndCallsNobody) {
    inFreshProcess([] {
        ListeningApplication app;
        ProviderConfigHandler provider;
        app.link->registerHandler("display", "", &provider);

        for (const MSG_Callback& row : app.transport.handlerRows()) {
            ::testing::internal::CaptureStdout();
            EXPECT_EQ(app.transport.deliver(row.firstId, unparsable), 1);
            std::fflush(stdout);
            EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Parse Error\n") << std::hex << row.firstId;
        }

        EXPECT_TRUE(app.log.empty());
        EXPECT_TRUE(app.transport.answers().empty()) << "a provider request that does not parse has no answer";
    });
}

TEST(Dispatch, TheTableEndsWithARowOfZeros) {
    inFreshProcess([] {
        Application app;

        ASSERT_EQ(app.transport.handlerTables(), 1);
        const MSG_Callback last = app.transport.terminator();
        EXPECT_EQ(last.entry, nullptr);
        EXPECT_EQ(last.context, nullptr);
        EXPECT_EQ(last.firstId, 0U);
        EXPECT_EQ(last.lastId, 0U);
        EXPECT_EQ(last.reserved, 0U);
    });
}

TEST(Dispatch, AnEmptyMessageParsesAndIsDropped) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("", "", &consumer);

        ::testing::internal::CaptureStdout();
        for (const char* type : {"ConfigChangedNtfy", "AttributeChangedNtfy", "OptionsChangedNtfy", "SubmitNtfy",
                                 "AccessLevelChangedNtfy"}) {
            EXPECT_EQ(app.transport.deliver(ConfigIF::messageId(std::string("ConfigIF.") + type), ""), 1);
        }
        std::fflush(stdout);

        EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
        EXPECT_TRUE(log.empty());
        EXPECT_TRUE(app.transport.answers().empty());
    });
}

TEST(Dispatch, QuestionsAreAnsweredToTheirSender) {
    inFreshProcess([] {
        Application app;
        ConfigIF::OnChangeReq change;
        fill(change.mutable_inst_value()->mutable_inst(), steps);
        ConfigIF::DynamicValidateReq validation;
        fill(validation.mutable_inst_value()->mutable_inst(), steps);

        app.transport.deliver(change);
        app.transport.deliver(validation);

        const auto answers = app.transport.answers();
        ASSERT_EQ(answers.size(), 2U);
        EXPECT_EQ(answers[0].id, ConfigIF::messageId("ConfigIF.OnChangeRsp"));
        EXPECT_EQ(answers[1].id, ConfigIF::messageId("ConfigIF.DynamicValidateRsp"));
        EXPECT_EQ(answers[0].receiver, Support::FakeTransport::sender);
        EXPECT_EQ(answers[1].receiver, Support::FakeTransport::sender);
    });
}

TEST(Dispatch, NotificationsAreNeverAnswered) {
    inFreshProcess([] {
        ListeningApplication app;

        app.transport.deliver(changed(steps, {"1"}));
        app.transport.deliver(about<ConfigIF::AttributeChangedNtfy>(steps));
        app.transport.deliver(about<ConfigIF::OptionsChangedNtfy>(steps));
        app.transport.deliver(about<ConfigIF::SubmitNtfy>(steps));
        app.transport.deliver(about<ConfigIF::AccessLevelChangedNtfy>(steps));

        EXPECT_EQ(app.log, (Names{"changed display[1].brightness[2] 1", "options display[1].brightness[2] ",
                                  "submit display[1].brightness[2] 0", "levels display[1].brightness[2] 0,0"}));
        EXPECT_TRUE(app.transport.answers().empty());
    });
}

TEST(Dispatch, HandlersReturnNoReplyForNotifications) {
    inFreshProcess([] {
        Application app;
        using AppConfig::PlatformCfgService;

        EXPECT_EQ(PlatformCfgService::configChangedHandler(changed(steps, {"1"}), nullptr, app.link), nullptr);
        EXPECT_EQ(PlatformCfgService::attributeChangedHandler(ConfigIF::AttributeChangedNtfy(), nullptr, app.link),
                  nullptr);
        EXPECT_EQ(
            PlatformCfgService::optionsChangedHandler(about<ConfigIF::OptionsChangedNtfy>(steps), nullptr, app.link),
            nullptr);
        EXPECT_EQ(PlatformCfgService::submitHandler(about<ConfigIF::SubmitNtfy>(steps), nullptr, app.link), nullptr);
        EXPECT_EQ(PlatformCfgService::accessLevelsChangedHandler(about<ConfigIF::AccessLevelChangedNtfy>(steps),
                                                                 nullptr, app.link),
                  nullptr);
    });
}

TEST(Dispatch, AnExceptionOfAHandlerLeavesTheEntryAndTheLibraryGoesOn) {
    inFreshProcess([] {
        struct Throwing : ConsumerConfigHandler {
            void onConfigChanged(const std::string&, int, const std::string&, int, const List&,
                                 const std::string&) override {
                throw std::runtime_error("from the application");
            }
        } throwing;
        Application app;
        Names log;
        LoggingConsumer after(log);
        throwing.m_wantsChange = true;
        app.link->registerHandler("display", "", &throwing);
        app.link->registerHandler("display", "", &after);

        EXPECT_THROW(AppConfig::PlatformCfgService::configChangedHandler(changed(steps, {"1"}), nullptr, app.link),
                     std::runtime_error);
        EXPECT_TRUE(log.empty()) << "handlers after it do not hear of that message";
        app.link->unregisterHandler("display", "", &throwing);
        app.transport.deliver(changed(steps, {"2"}));

        EXPECT_EQ(log, Names{"changed display[1].brightness[2] 2"}) << "no lock was left behind";
    });
}

}  // namespace
