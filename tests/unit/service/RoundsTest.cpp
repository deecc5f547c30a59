// Questions to providers, apart from what they are asked for.
#include <gmock/gmock.h>

#include <map>
#include <string>
#include <vector>

#include "MessageIds.h"
#include "configservice.pb.h"
#include "core/Rounds.h"

namespace AppConfigService {
namespace {

using ::testing::ElementsAre;

/// Keeps the last question that each connection was sent.
class Questions : public Upcalls {
public:
    void reply(const Call&, const google::protobuf::MessageLite&) override {}
    void fail(const Call&, AppConfigWire::Status) override {}
    void deliver(ConnectionId delivery, const AppConfigWire::Frame& frame) override { m_last[delivery] = frame; }
    void store() override {}

    std::uint64_t correlationOf(ConnectionId connection) { return m_last[connection].correlation(); }

private:
    std::map<ConnectionId, AppConfigWire::Frame> m_last;
};

struct ProviderRounds : ::testing::Test {
    ProviderRounds() {
        clock.set(Time(std::chrono::hours(1)));
        for (Client* client : {&one, &two}) {
            client->connections.open(client->key.uid, 4711);
            client->connections.deliverOver(client->key.uid, 0);
        }
    }

    RoundId ask(const std::string& about, const std::vector<const Client*>& clients, std::function<void()> then = {}) {
        AppConfigWire::Frame question;
        question.set_message_id(ConfigIF::messageId("ConfigIF.OnChangeReq"));
        return rounds.start(question, about, clients, 1, [this, about, then](const RoundOutcome& outcome) {
            ended.push_back(about + " " + CommonIF::eErrorType_Name(AppConfigService::errorOf(outcome.verdict)));
            if (then) then();
        });
    }

    /// All that was asked up to here is out of time.
    void expire() {
        clock.set(clock.now() + options.providerDeadline);
        rounds.expire();
    }

    ServiceOptions options;
    Questions questions;
    CoreClock clock;
    Rounds rounds{options, clock, questions};
    Client one{{1, "one"}};
    Client two{{2, "two"}};
    std::vector<std::string> ended;
};

TEST_F(ProviderRounds, EndOnceAlsoWhereTheEndOfAnotherEndsThem) {
    ask("first", {&one}, [this] { rounds.lost(two.key); });
    ask("second", {&two});
    ask("third", {&one, &two});
    expire();
    EXPECT_THAT(ended,
                ElementsAre("first ERROR_PROVIDER_TIMEOUT", "second ERROR_PROVIDER_GONE", "third ERROR_PROVIDER_GONE"));
    EXPECT_FALSE(rounds.nextDeadline());
}

TEST_F(ProviderRounds, OfALostClientEndOnceAlsoWhereTheEndOfOneEndsTheNext) {
    ask("first", {&one}, [this] { expire(); });
    ask("second", {&one});
    rounds.lost(one.key);
    EXPECT_THAT(ended, ElementsAre("first ERROR_PROVIDER_GONE", "second ERROR_PROVIDER_TIMEOUT"));
}

TEST_F(ProviderRounds, TakeAnAnswerOnlyFromWhomTheyAsked) {
    ask("first", {&one});
    const std::string fine = ConfigIF::OnChangeRsp().SerializePartialAsString();
    rounds.answer(two.key, questions.correlationOf(1), {fine});
    EXPECT_THAT(ended, ElementsAre());
    rounds.answer(one.key, questions.correlationOf(1), {fine});
    EXPECT_THAT(ended, ElementsAre("first ERROR_NONE"));
}

}  // namespace
}  // namespace AppConfigService
