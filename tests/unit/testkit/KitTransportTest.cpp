// What passes through the kit's transport, and how a test waits for it.
#include <gmock/gmock.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "KitTransport.h"
#include "Loop.h"
#include "RequestText.h"
#include "configservice.pb.h"

namespace AppConfigTest {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using namespace std::chrono_literals;

TEST(KitTransport, RefusesANullTable) {
    Loop loop;
    KitTransport kit(loop);
    EXPECT_EQ(kit.addHandlers(nullptr), PbUtility::TRANSPORT_BAD_ARGUMENT);
}

TEST(KitTransport, CallsARowOnceHoweverOftenItIsAdded) {
    std::vector<std::string> reached;
    Mark one{reached, "one"};
    Mark two{reached, "two"};
    Loop loop;
    KitTransport kit(loop);

    one.addTo(kit);
    two.addTo(kit);
    one.addTo(kit);
    loop.deliver("ConfigSrvc");

    EXPECT_THAT(reached, ElementsAre("one", "two"));
}

TEST(KitTransport, PassesOverRowsWithoutAnEntry) {
    std::vector<std::string> reached;
    Mark one{reached, "one"};
    Loop loop;
    KitTransport kit(loop);
    const MSG_Callback rows[] = {
        {nullptr, &one, loopMessage, loopMessage, 0}, {&Mark::note, &one, loopMessage, loopMessage, 0}, {}};

    EXPECT_EQ(kit.addHandlers(rows), 0);
    loop.deliver("ConfigSrvc");

    EXPECT_THAT(reached, ElementsAre("one"));
}

TEST(KitTransport, ListsARequestThatIsNotAnsweredYet) {
    Loop loop;
    KitTransport kit(loop);
    loop.meanwhile = [&] {
        ASSERT_THAT(kit.requests(), SizeIs(1));
        EXPECT_EQ(kit.requests()[0].type, "ReadReq");
    };

    kit.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc");

    EXPECT_THAT(kit.requests(), SizeIs(1));
}

TEST(KitTransport, KnowsNoMoreThanTheTypeOfAMessageThatIsNotTheServices) {
    PbUtility::Exchange exchange;
    exchange.kind = PbUtility::Exchange::Kind::oneWay;
    exchange.type = "Elsewhere.Inner.Req";
    exchange.request = "\xFF";

    const SentRequest request = describe(exchange);

    EXPECT_EQ(request.type, "Req");
    EXPECT_EQ(request.variable, "");
    EXPECT_THAT(request.value, SizeIs(0));
    EXPECT_FALSE(request.awaited);
}

/// Waits on a thread of its own until the test says that the condition holds.
class Waiting {
public:
    explicit Waiting(KitTransport& kit)
        : m_outcome(std::async(std::launch::async,
                               [this, &kit] { return kit.waitUntil([this] { return isAsked(); }, 40s); })) {
        awaitAsked(1);
    }

    /// Waits until the condition has been asked \p times times in all.
    void awaitAsked(int times) {
        std::unique_lock<std::mutex> lock(m_mutex);
        EXPECT_TRUE(m_more.wait_for(lock, 20s, [&] { return m_asked >= times; })) << m_asked;
    }
    void holdsNow() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_holds = true;
    }
    /// \return whether the wait is over long before its deadline, because the condition holds.
    bool isOver() { return m_outcome.wait_for(20s) == std::future_status::ready && m_outcome.get(); }

private:
    bool isAsked() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_asked;
        m_more.notify_all();
        return m_holds;
    }

    std::mutex m_mutex;
    std::condition_variable m_more;
    int m_asked = 0;       // guarded by m_mutex
    bool m_holds = false;  // guarded by m_mutex
    std::future<bool> m_outcome;
};

/// With a patience that does not end: only what passes lets the condition be asked again.
class WaitUntil : public ::testing::Test {
protected:
    Loop loop;
    KitTransport kit{loop, 1h};
};

TEST_F(WaitUntil, AsksAgainWhenAHandlerHasReturned) {
    std::vector<std::string> reached;
    Mark one{reached, "one"};
    one.addTo(kit);
    Waiting waiting(kit);
    waiting.holdsNow();

    loop.deliver("ConfigSrvc");

    EXPECT_TRUE(waiting.isOver());
}

TEST_F(WaitUntil, AsksAgainWhenARequestIsSent) {
    Waiting waiting(kit);
    waiting.holdsNow();
    loop.meanwhile = [&] { EXPECT_TRUE(waiting.isOver()); };

    kit.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc");
}

TEST_F(WaitUntil, AsksAgainWhenARequestIsAnswered) {
    Waiting waiting(kit);
    loop.meanwhile = [&] {
        waiting.awaitAsked(2);
        waiting.holdsNow();
    };

    kit.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc");

    EXPECT_TRUE(waiting.isOver());
}

TEST_F(WaitUntil, AsksAgainWhenAMessageIsSentThatNobodyAnswers) {
    Waiting waiting(kit);
    waiting.holdsNow();

    kit.send(ConfigIF::WriteReq(), "ConfigSrvc", nullptr);

    EXPECT_TRUE(waiting.isOver());
}

TEST_F(WaitUntil, MissesNothingThatPassesWhileItAsks) {
    bool passed = false;
    const auto condition = [&] {
        if (passed) return true;
        std::thread([&] { kit.send(ConfigIF::WriteReq(), "ConfigSrvc", nullptr); }).join();
        passed = true;
        return false;
    };
    std::future<bool> outcome = std::async(std::launch::async, [&] { return kit.waitUntil(condition, 40s); });

    EXPECT_EQ(outcome.wait_for(20s), std::future_status::ready);
    EXPECT_TRUE(outcome.get());
}

TEST_F(WaitUntil, AsksOnlyFirstAndLastWhenNothingPasses) {
    int asked = 0;

    EXPECT_FALSE(kit.waitUntil([&] { return ++asked > 2; }, 10ms));

    EXPECT_LE(asked, 2) << "at first, and once more if the deadline had not passed by then";
}

TEST_F(WaitUntil, DoesNotAskAgainForWhatTheConditionItselfSends) {
    int asked = 0;
    const auto condition = [&] {
        kit.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc");
        return ++asked > 2;
    };

    EXPECT_FALSE(kit.waitUntil(condition, 10ms));

    EXPECT_LE(asked, 2) << "at first, and once more if the deadline had not passed by then";
}

TEST(WaitUntilWithPatience, AsksAgainOnceItIsOverWithoutAnythingPassing) {
    Loop loop;
    KitTransport kit(loop, 1ms);
    int asked = 0;

    EXPECT_TRUE(kit.waitUntil([&] { return ++asked > 3; }, 40s));
}

}  // namespace
}  // namespace AppConfigTest
