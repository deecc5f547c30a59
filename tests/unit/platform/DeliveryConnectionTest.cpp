// When a transport connects for deliveries, how long it waits in between, and what it says of failures.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "Deadline.h"
#include "Handlers.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using namespace std::chrono_literals;
using testing::Each;
using testing::Ge;
using testing::SizeIs;

/// Nobody listens here, and it is noted when somebody tries.
class Absent final : public InProcessPeer {
public:
    int connect(const std::string&) override {
        const std::lock_guard lock(m_mutex);
        m_attempts.push_back(Deadline::Clock::now());
        m_changed.notify_all();
        errno = ENOENT;
        return -1;
    }
    /// \return the times between the first \p count attempts; fewer when the patience is over.
    std::vector<Deadline::Clock::duration> pauses(std::size_t count) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, ScriptedPeer::patience, [&] { return m_attempts.size() >= count; });
        std::vector<Deadline::Clock::duration> result;
        for (std::size_t i = 1; i < std::min(count, m_attempts.size()); ++i) {
            result.push_back(m_attempts[i] - m_attempts[i - 1]);
        }
        return result;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Deadline::Clock::time_point> m_attempts;
};

class DeliveryConnection : public TransportFixture {
protected:
    static TransportOptions pausing(std::chrono::milliseconds first, std::chrono::milliseconds longest) {
        TransportOptions result;
        result.firstPause = first;
        result.longestPause = longest;
        return result;
    }
    /// Whatever the delivery thread had to do at once is done.
    void settle(std::size_t delivery = 1) {
        const std::size_t before = peer.received(ANSWER).size();
        peer.awaitDelivery(delivery)->send(ask(1));
        peer.await(ANSWER, before + 1);
    }
};

TEST_F(DeliveryConnection, IsTriedAgainAfterPausesThatDouble) {
    Absent absent;
    InProcessTransport transport(absent, pausing(16ms, 64ms));
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto pauses = absent.pauses(5);
    ASSERT_THAT(pauses, SizeIs(4));
    EXPECT_GE(pauses[0], 8ms);
    EXPECT_GE(pauses[1], 16ms);
    EXPECT_GE(pauses[2], 32ms);
    EXPECT_GE(pauses[3], 32ms);
}

TEST_F(DeliveryConnection, IsTriedAgainAfterTheLongestPauseAtTheLatest) {
    Absent absent;
    InProcessTransport transport(absent, pausing(1ms, 4ms));
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_THAT(absent.pauses(30), SizeIs(29)) << "the pauses double without end";
}

TEST_F(DeliveryConnection, IsTriedAgainAfterAPauseThatIsShortenedByHalfAtMost) {
    Absent absent;
    InProcessTransport transport(absent, pausing(8ms, 8ms));
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto pauses = absent.pauses(40);
    ASSERT_THAT(pauses, SizeIs(39));
    EXPECT_THAT(pauses, Each(Ge(4ms)));
}

TEST_F(DeliveryConnection, IsTriedAgainAfterPausesOfWhichSomeAreShortened) {
    Absent absent;
    InProcessTransport transport(absent, pausing(40ms, 40ms));
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const Deadline patience = Deadline::after(ScriptedPeer::patience);
    Deadline::Clock::duration shortest = 1h;
    for (std::size_t attempts = 2; shortest >= 40ms && !patience.passed(); ++attempts) {
        for (const auto& pause : absent.pauses(attempts)) shortest = std::min(shortest, pause);
    }
    EXPECT_LT(shortest, 40ms) << "clients that lose a service together would come back together";
}

TEST_F(DeliveryConnection, IsGivenUpWhenNoHandshakeComesInTime) {
    peer.onHello(nullptr);
    UnixTransport transport(options(20ms));
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_THAT(peer.awaitHellos(DELIVERY, 3), SizeIs(3));
}

TEST_F(DeliveryConnection, HasAllOfItsDeadlineToBeGreeted) {
    peer.onHello(nullptr);
    TransportOptions quick = options(100ms);
    quick.firstPause = 1ms;
    UnixTransport transport(quick);
    const auto start = Deadline::Clock::now();
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_THAT(peer.awaitHellos(DELIVERY, 3), SizeIs(3));
    EXPECT_GE(Deadline::Clock::now() - start, 200ms);
}

TEST_F(DeliveryConnection, ThatBreaksSoonCountsAsAFailedAttempt) {
    std::mutex mutex;
    std::vector<Deadline::Clock::time_point> greeted;
    peer.onHello([&](ScriptedPeer::Connection& connection, const Frame& hello) {
        peer.welcome(connection);
        if (hello.hello().purpose() != DELIVERY) return;
        const std::lock_guard lock(mutex);
        greeted.push_back(Deadline::Clock::now());
        connection.close();
    });
    TransportOptions growing = options();
    growing.firstPause = 4ms;
    growing.longestPause = 64ms;
    UnixTransport transport(growing);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_THAT(peer.awaitHellos(DELIVERY, 6), SizeIs(6));
    transport.end();
    peer.stop();
    // A connection that stood for the longest pause, since a thread was held up, counts as one that lasted.
    Deadline::Clock::duration longest{};
    for (std::size_t i = 1; i < greeted.size(); ++i) longest = std::max(longest, greeted[i] - greeted[i - 1]);
    EXPECT_GE(longest, 32ms);
}

TEST_F(DeliveryConnection, ThatLastedIsMadeAnewAfterTheFirstPause) {
    // The first pause is the longer one here, so that a connection that lasted is one that is not made anew.
    TransportOptions odd = options();
    odd.firstPause = 1h;
    odd.longestPause = 1ms;
    ScriptedPeer other(directory.path() + "/Other");
    UnixTransport transport(odd);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    transport.addRemoteEndpoint("Other", -1);
    for (std::size_t connection = 1; connection <= 3; ++connection) {
        ASSERT_EQ(read(transport), TRANSPORT_OK);
        ASSERT_NE(peer.awaitDelivery(connection), nullptr);
        const auto lasted = Deadline::after(2ms);
        while (!lasted.passed()) settle(connection);
        peer.hangUp();
    }
    for (std::size_t turn = 1; turn <= 50; ++turn) {
        other.awaitDelivery()->send(ask(turn));
        other.await(ANSWER, turn);
    }
    EXPECT_EQ(peer.connections(DELIVERY), 3U);
}

TEST_F(DeliveryConnection, ThatBeganBeforeTheClientGotAnotherPointIsMadeAnew) {
    std::promise<ScriptedPeer::Connection*> promised;
    std::atomic<int> hellos{0};
    peer.onHello([&](ScriptedPeer::Connection& connection, const Frame& frame) {
        if (frame.hello().purpose() == DELIVERY && ++hellos == 1) {
            promised.set_value(&connection);
        } else {
            peer.welcome(connection);
        }
    });
    // The read takes half of that, and the connection must last until after it.
    UnixTransport transport(options(5s));
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ScriptedPeer::Connection* const waiting = promised.get_future().get();
    peer.setPoint(7, 40);
    ASSERT_EQ(read(transport), TRANSPORT_OK) << "it waits for the deliveries for some time only";
    peer.setPoint(7, 41);
    peer.welcome(*waiting);
    const std::vector<Hello> said = peer.awaitHellos(DELIVERY, 2);
    ASSERT_THAT(said, SizeIs(2)) << "the service began at a place that is not the client's";
    EXPECT_FALSE(said[0].has_timeline());
    EXPECT_EQ(said[1].timeline(), 7U);
    EXPECT_EQ(said[1].delivered(), 40U);
    // What a HELLO sets off may still be running.
    transport.end();
    peer.stop();
}

TEST_F(DeliveryConnection, IsGivenUpWhenAnAnswerCannotBeWrittenInTime) {
    std::promise<void> done;
    peer.onHello([&, mayGoOn = done.get_future().share()](ScriptedPeer::Connection& connection, const Frame& frame) {
        peer.welcome(connection);
        if (frame.hello().purpose() != DELIVERY || peer.connections(DELIVERY) > 1) return;
        connection.send(ask(1));
        mayGoOn.wait();  // and reads nothing
    });
    Handler wordy([](const MSG_Message* message) { answerAsk(message, std::string(std::size_t{8} << 20U, 'x')); });
    UnixTransport transport(options(100ms));
    wordy.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_THAT(peer.awaitHellos(DELIVERY, 2), SizeIs(2));
    done.set_value();
    transport.end();
}

TEST_F(DeliveryConnection, IsServedByAThreadThatTakesNoSignals) {
    sigset_t before;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &before), 0);
    ASSERT_EQ(sigismember(&before, SIGUSR1), 0);
    std::promise<std::pair<int, int>> blocked;
    Handler handler([&](const MSG_Message*) {
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        blocked.set_value({sigismember(&mask, SIGUSR1), sigismember(&mask, SIGTERM)});
    });
    UnixTransport transport(options());
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_EQ(blocked.get_future().get(), std::make_pair(1, 1));
    sigset_t after;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &after), 0);
    EXPECT_EQ(sigismember(&after, SIGUSR1), 0) << "the application's own threads take them";
    transport.end();
}

/// \return how often a thread of this process has gone to sleep.
long sleepsOf(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    for (std::string word; status >> word;) {
        long count = 0;
        if (word == "voluntary_ctxt_switches:" && status >> count) return count;
    }
    ADD_FAILURE() << "nothing is known of the thread";
    return 0;
}

TEST_F(DeliveryConnection, IsServedByAThreadThatSleepsOnceItHasDoneWhatItWasWokenFor) {
    std::promise<pid_t> promised;
    Handler handler([&](const MSG_Message*) { promised.set_value(gettid()); });
    UnixTransport transport(options());
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery()->send(notification("x", 1));
    const pid_t thread = promised.get_future().get();
    const long before = sleepsOf(thread);
    for (int turn = 0; turn < 200; ++turn) settle();
    EXPECT_GT(sleepsOf(thread), before + 20) << "it is busy all the time";
    transport.end();
}

TEST_F(DeliveryConnection, SaysOncePerReasonWhyItIsClosed) {
    std::atomic<int> handshakes{0};
    peer.onHello([&](ScriptedPeer::Connection& connection, const Frame& frame) {
        if (frame.hello().purpose() != DELIVERY) return peer.welcome(connection);
        const int handshake = ++handshakes;
        if (handshake == 6) return peer.welcome(connection);
        Frame refused;
        refused.set_kind(REFUSED);
        refused.set_reason(handshake <= 3 ? "too many" : "too few");
        connection.send(refused);
        connection.close();
    });
    testing::internal::CaptureStderr();
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_THAT(peer.awaitHellos(DELIVERY, 6), SizeIs(6));
    settle(6);
    transport.end();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "appconfig: closed the delivery connection to ConfigSrvc: the endpoint refused the connection: "
              "too many\n"
              "appconfig: closed the delivery connection to ConfigSrvc: the endpoint refused the connection: "
              "too few\n");
}

TEST_F(DeliveryConnection, ThatIsNotThereOrBreaksIsNoReasonToSaySomething) {
    testing::internal::CaptureStderr();
    peer.stop();
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_EQ(read(transport), TRANSPORT_NO_SUCH_ENDPOINT);
    peer.start();
    ASSERT_NE(peer.awaitDelivery(1), nullptr);
    peer.hangUp();
    ASSERT_NE(peer.awaitDelivery(2), nullptr);
    settle(2);
    transport.end();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
