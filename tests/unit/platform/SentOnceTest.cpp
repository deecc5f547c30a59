// A message is sent again when its connection broke before it was taken, and otherwise never.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <future>
#include <mutex>
#include <vector>

#include "FrameStream.h"
#include "InProcessTransport.h"
#include "TransportFixture.h"
#include "Waiter.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using namespace std::chrono_literals;

/// A peer that does nothing by itself: the test reads and writes at the far ends, in the order in which they were made.
class FarEnds final : public InProcessPeer {
public:
    int connect(const std::string&) override {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) return -1;
        const std::lock_guard lock(m_mutex);
        m_ends.push_back(std::make_unique<FrameStream>(FileDescriptor(ends[0]), defaultFrameLimit));
        m_changed.notify_all();
        return ends[1];
    }
    /// \return the \p count-th connection, greeted.
    FrameStream& shakeHands(std::size_t count) {
        std::unique_lock lock(m_mutex);
        EXPECT_TRUE(m_changed.wait_for(lock, ScriptedPeer::patience, [&] { return m_ends.size() >= count; }));
        FrameStream& end = *m_ends.at(count - 1);
        EXPECT_EQ(next(end).kind(), HELLO);
        Frame welcome;
        welcome.set_kind(WELCOME);
        welcome.mutable_welcome()->set_timeline(1);
        say(end, welcome);
        return end;
    }
    static Frame next(FrameStream& end) {
        PlainWaiter waiter(nullptr);
        return end.read(Deadline::after(ScriptedPeer::patience), waiter).value();
    }
    static void say(FrameStream& end, const Frame& frame) {
        PlainWaiter waiter(nullptr);
        EXPECT_TRUE(end.write(encodeFrame(frame), Deadline::after(ScriptedPeer::patience), waiter));
    }
    static void awaitBytes(const FrameStream& end) {
        pollfd state{end.fd(), POLLIN, 0};
        EXPECT_EQ(poll(&state, 1, 20'000), 1);
    }
    std::size_t count() {
        const std::lock_guard lock(m_mutex);
        return m_ends.size();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::unique_ptr<FrameStream>> m_ends;
};

class SentOnce : public TransportFixture {
protected:
    static TransportOptions lasting(std::chrono::milliseconds deadline = 20s) {
        TransportOptions result;
        result.deadline = deadline;
        return result;
    }
    static std::future<int> readLater(InProcessTransport& transport, const std::string& text) {
        return std::async(std::launch::async, [&transport, text] { return read(transport, text); });
    }
    /// Sends small messages and has nobody take them. \return how many there was room for.
    static std::size_t fill(InProcessTransport& transport, std::size_t most) {
        for (std::size_t sent = 0; sent < most; ++sent) {
            if (write(transport, "x") != TRANSPORT_OK) return sent;
        }
        return most;
    }

    FarEnds ends;
};

TEST_F(SentOnce, ARequestOfWhichSomethingWasTakenIsNotSentAgain) {
    InProcessTransport transport(ends, lasting());
    std::future<int> call = readLater(transport, "first");
    FrameStream& end = ends.shakeHands(1);
    FarEnds::say(end, ScriptedPeer::replyTo(FarEnds::next(end), "first"));
    ASSERT_EQ(call.get(), TRANSPORT_OK);
    call = readLater(transport, std::string(std::size_t{8} << 20U, 'x'));
    FarEnds::awaitBytes(end);
    end.shutDown();
    EXPECT_EQ(call.get(), TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(ends.count(), 1U) << "the service may have acted on it";
}

TEST_F(SentOnce, ARequestOverANewConnectionIsNotSentAgain) {
    InProcessTransport transport(ends, lasting());
    std::future<int> call = readLater(transport, std::string(std::size_t{8} << 20U, 'x'));
    FrameStream& end = ends.shakeHands(1);
    FarEnds::awaitBytes(end);
    end.shutDown();
    EXPECT_EQ(call.get(), TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(ends.count(), 1U);
}

TEST_F(SentOnce, AMessageOfWhichNothingWasTakenIsSentOverANewConnection) {
    std::size_t room = 0;
    {
        FarEnds full;
        InProcessTransport transport(full, lasting(50ms));
        std::future<std::size_t> filled = std::async(std::launch::async, [&] { return fill(transport, 1'000'000); });
        full.shakeHands(1);
        room = filled.get();
    }
    // Several times, since the connection may be found broken before anything is written over it.
    for (int turn = 0; turn < 10; ++turn) {
        FarEnds fresh;
        InProcessTransport transport(fresh, lasting());
        std::promise<void> filled;
        auto caller = std::async(std::launch::async, [&] {
            EXPECT_EQ(fill(transport, room), room);
            filled.set_value();
            return write(transport, "y");
        });
        FrameStream& end = fresh.shakeHands(1);
        filled.get_future().wait();
        EXPECT_EQ(caller.wait_for(1ms), std::future_status::timeout);
        end.shutDown();
        FrameStream& next = fresh.shakeHands(2);
        EXPECT_EQ(caller.get(), TRANSPORT_OK);
        EXPECT_EQ(FarEnds::next(next).kind(), ONE_WAY);
    }
}

}  // namespace
