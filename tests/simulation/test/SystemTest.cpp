#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "os/System.h"

namespace Simulation {
namespace {

using std::chrono::milliseconds;

/// A system with one process, and a peer that its threads may connect to.
class SystemTest : public ::testing::Test, public Listener {
protected:
    SystemTest() : m_scheduler(Random(5), {}, m_trace), system(m_scheduler, Random(6)) {
        m_process.name = "p1";
        m_process.pid = 4711;
        system.network().listen("/sim/peer", *this);
    }

    std::shared_ptr<Connection> admit(Process& client, int& error) override {
        error = refusal;
        if (refusal == 0) peer = std::make_shared<Connection>(m_scheduler, m_random, weather, client);
        return refusal == 0 ? peer : nullptr;
    }

    /// Runs \p thread and whatever it starts in the process until nothing is left to be done.
    void inProcess(std::function<void()> thread) {
        m_scheduler.start(m_process, std::move(thread));
        m_scheduler.run(std::chrono::hours(1));
        for (const auto& fibre : m_scheduler.fibres()) EXPECT_TRUE(fibre->isFinished()) << fibre->waitsFor();
    }

    static int connected() {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/sim/peer");
        return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? fd : -1;
    }

    Trace m_trace;
    Scheduler m_scheduler;
    Process m_process;
    Random m_random{7};

public:
    System system;
    Weather weather;
    int refusal = 0;
    std::shared_ptr<Connection> peer;
};

TEST_F(SystemTest, TimePassesOnlyWhenNobodyCanGoOn) {
    inProcess([] {
        const auto begun = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::minutes(5));
        const auto slept = std::chrono::steady_clock::now() - begun;
        EXPECT_GE(slept, std::chrono::minutes(5));
        EXPECT_LT(slept, std::chrono::minutes(5) + milliseconds(1));
    });
}

TEST_F(SystemTest, AMutexLetsOneThreadInAtATime) {
    inProcess([] {
        std::mutex mutex;
        int inside = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (int j = 0; j < 50; ++j) {
                    const std::lock_guard<std::mutex> lock(mutex);
                    EXPECT_EQ(++inside, 1);
                    std::this_thread::sleep_for(milliseconds(1));
                    --inside;
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
    });
}

TEST_F(SystemTest, AConditionWakesWhoWaitsAndTimesOutWhoIsNotWoken) {
    inProcess([] {
        std::mutex mutex;
        std::condition_variable changed;
        bool ready = false;
        std::thread waker([&] {
            std::this_thread::sleep_for(milliseconds(30));
            const std::lock_guard<std::mutex> lock(mutex);
            ready = true;
            changed.notify_all();
        });
        std::unique_lock<std::mutex> lock(mutex);
        EXPECT_FALSE(changed.wait_for(lock, milliseconds(10), [&] { return ready; }));
        EXPECT_TRUE(changed.wait_for(lock, milliseconds(100), [&] { return ready; }));
        lock.unlock();
        waker.join();
    });
}

TEST_F(SystemTest, ThreadsHaveIdsOfTheirOwnAndOneProcessId) {
    inProcess([] {
        std::thread::id other;
        std::thread thread([&] { other = std::this_thread::get_id(); });
        thread.join();
        EXPECT_NE(other, std::this_thread::get_id());
        EXPECT_EQ(getpid(), 4711);
    });
    EXPECT_NE(getpid(), 4711);
}

TEST_F(SystemTest, AnExceptionUnderWayStaysWithItsThread) {
    inProcess([] {
        std::thread other;
        try {
            throw 1;
        } catch (int first) {
            other = std::thread([] {
                try {
                    throw 2;
                } catch (int second) {
                    std::this_thread::sleep_for(milliseconds(5));
                    EXPECT_EQ(second, 2);
                }
            });
            std::this_thread::sleep_for(milliseconds(2));
            EXPECT_EQ(first, 1);
        }
        EXPECT_EQ(std::current_exception(), nullptr);
        other.join();
    });
}

TEST_F(SystemTest, BytesArriveInOrderAfterTheirTime) {
    weather.shortest = milliseconds(20);
    inProcess([this] {
        const int fd = connected();
        ASSERT_GE(fd, 0);
        peer->down.send("one");
        peer->down.send("two");
        char buffer[16];
        EXPECT_EQ(recv(fd, buffer, sizeof buffer, MSG_DONTWAIT), -1);
        EXPECT_EQ(errno, EAGAIN);
        pollfd state{fd, POLLIN, 0};
        EXPECT_EQ(poll(&state, 1, 10), 0);
        EXPECT_EQ(poll(&state, 1, 1000), 1);
        EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(recv(fd, buffer, sizeof buffer, 0))), "onetwo");
        close(fd);
    });
}

TEST_F(SystemTest, ASocketTakesNoMoreThanThereIsRoomFor) {
    weather.room = 4;
    inProcess([this] {
        const int fd = connected();
        EXPECT_EQ(send(fd, "abcdef", 6, 0), 4);
        EXPECT_EQ(send(fd, "ef", 2, 0), -1);
        EXPECT_EQ(errno, EAGAIN);
        pollfd state{fd, POLLOUT, 0};
        EXPECT_EQ(poll(&state, 1, 0), 0);
        char buffer[3];
        EXPECT_EQ(peer->up.receive(buffer, sizeof buffer), 3U);
        EXPECT_EQ(poll(&state, 1, 0), 1);
        close(fd);
    });
}

TEST_F(SystemTest, TheEndOfAPeerIsSeenBehindWhatItSent) {
    inProcess([this] {
        const int fd = connected();
        peer->down.send("last");
        peer->closeServer();
        char buffer[8];
        EXPECT_EQ(recv(fd, buffer, sizeof buffer, 0), 4);
        EXPECT_EQ(recv(fd, buffer, sizeof buffer, 0), 0);
        EXPECT_EQ(send(fd, "x", 1, MSG_NOSIGNAL), -1);
        EXPECT_EQ(errno, EPIPE);
        pollfd state{fd, POLLRDHUP, 0};
        EXPECT_EQ(poll(&state, 1, 0), 1);
        close(fd);
    });
}

TEST_F(SystemTest, ARefusedConnectSaysWhy) {
    refusal = ECONNREFUSED;
    inProcess([] {
        EXPECT_EQ(connected(), -1);
        EXPECT_EQ(errno, ECONNREFUSED);
    });
}

TEST_F(SystemTest, AnEventIsReadableWhileItIsRaised) {
    inProcess([] {
        const int fd = eventfd(0, EFD_NONBLOCK);
        std::thread raiser([fd] {
            std::this_thread::sleep_for(milliseconds(5));
            eventfd_write(fd, 1);
        });
        pollfd state{fd, POLLIN, 0};
        EXPECT_EQ(poll(&state, 1, 1000), 1);
        eventfd_t count = 0;
        EXPECT_EQ(eventfd_read(fd, &count), 0);
        EXPECT_EQ(poll(&state, 1, 0), 0);
        raiser.join();
        close(fd);
    });
}

TEST_F(SystemTest, AStoppedProcessGoesOnWhereItWas) {
    Time reached{};
    m_scheduler.at(milliseconds(5), [this] { m_scheduler.stop(m_process); });
    m_scheduler.at(milliseconds(500), [this] { m_scheduler.resume(m_process); });
    inProcess([&] {
        std::this_thread::sleep_for(milliseconds(10));
        reached = m_scheduler.now();
    });
    EXPECT_GE(reached, milliseconds(500));
    EXPECT_EQ(m_process.stoppedUntil(m_scheduler.now()), milliseconds(495));
}

TEST_F(SystemTest, AKilledProcessNeverGoesOnAndItsPeersSeeItsEnd) {
    bool reached = false;
    m_scheduler.start(m_process, [&] {
        ASSERT_GE(connected(), 0);
        std::this_thread::sleep_for(milliseconds(10));
        reached = true;
    });
    m_scheduler.at(milliseconds(5), [this] {
        m_scheduler.kill(m_process);
        system.closeAll(m_process);
    });
    m_scheduler.run(std::chrono::seconds(1));
    EXPECT_FALSE(reached);
    EXPECT_TRUE(peer->up.atEnd());
}

TEST_F(SystemTest, RandomnessComesFromTheSeed) {
    unsigned first = 0;
    inProcess([&] { first = std::random_device()(); });
    Random expected(6);
    EXPECT_EQ(first, static_cast<unsigned>(expected.next()));
}

}  // namespace
}  // namespace Simulation
