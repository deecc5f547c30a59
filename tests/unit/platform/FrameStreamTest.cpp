// Frames over one connected socket, whatever its other end does.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "EventFlag.h"
#include "FrameStream.h"

namespace {

using namespace AppConfigHost;
using namespace PbUtility;
using namespace std::chrono_literals;

struct FrameStreamTest : testing::Test {
    FrameStreamTest() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        stream = std::make_unique<FrameStream>(FileDescriptor(ends[0]), 1000);
        peer = FileDescriptor(ends[1]);
    }
    static Frame frame(std::uint64_t correlation) {
        Frame result;
        result.set_kind(REQUEST);
        result.set_correlation(correlation);
        return result;
    }
    void say(const std::string& bytes) {
        ASSERT_EQ(::send(peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }

    EventFlag ended;
    PlainWaiter waiter{&ended};
    std::unique_ptr<FrameStream> stream;
    FileDescriptor peer;
    Frame came;
};

TEST_F(FrameStreamTest, TakesFramesOneByOneHoweverTheyArrive) {
    say(encodeFrame(frame(1)) + encodeFrame(frame(2)) + encodeFrame(frame(3)).substr(0, 2));
    came = stream->read(Deadline::after(0ms), waiter).value();
    EXPECT_EQ(came.correlation(), 1U);
    came = stream->read(Deadline::after(0ms), waiter).value();
    EXPECT_EQ(came.correlation(), 2U);
    EXPECT_EQ(statusOf(stream->read(Deadline::after(0ms), waiter)), TRANSPORT_TIMED_OUT);
    say(encodeFrame(frame(3)).substr(2));
    came = stream->read(Deadline::after(20s), waiter).value();
    EXPECT_EQ(came.correlation(), 3U);
}

TEST_F(FrameStreamTest, SaysHowFarWritingWent) {
    std::size_t taken = 77;
    EXPECT_TRUE(stream->write("abc", Deadline::after(0ms), waiter, &taken));
    EXPECT_EQ(taken, 3U);
    const std::string tooMuch(std::size_t{8} << 20U, 'x');
    EXPECT_EQ(statusOf(stream->write(tooMuch, Deadline::after(10ms), waiter, &taken)), TRANSPORT_TIMED_OUT);
    EXPECT_GT(taken, 0U);
    EXPECT_LT(taken, tooMuch.size());
    ended.set();
    EXPECT_EQ(statusOf(stream->write(tooMuch, Deadline::after(20s), waiter, &taken)), TRANSPORT_ENDED);
    EXPECT_EQ(taken, 0U);
    peer.reset();
    const Failure broken = stream->write("x", Deadline::after(20s), waiter, &taken).error();
    EXPECT_EQ(broken.code, TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(broken.reason, std::strerror(EPIPE));
    EXPECT_EQ(taken, 0U);
}

TEST_F(FrameStreamTest, WritesTheRestOnceThereIsRoom) {
    const std::string much(std::size_t{4} << 20U, 'x');
    std::size_t got = 0;
    std::thread reader([&] {
        std::string bytes(std::size_t{64} << 10U, '\0');
        while (got < much.size()) {
            pollfd state{peer.get(), POLLIN, 0};
            if (poll(&state, 1, 20'000) != 1) return;
            const ssize_t count = ::recv(peer.get(), bytes.data(), bytes.size(), 0);
            if (count <= 0) return;
            got += static_cast<std::size_t>(count);
        }
    });
    EXPECT_TRUE(stream->write(much, Deadline::after(20s), waiter));
    reader.join();
    EXPECT_EQ(got, much.size());
}

TEST_F(FrameStreamTest, ReadsWhatThePeerLeftBehindAndThenSaysThatItHasGone) {
    say(encodeFrame(frame(1)));
    peer.reset();
    EXPECT_TRUE(stream->read(Deadline::after(20s), waiter));
    const Failure gone = stream->read(Deadline::after(20s), waiter).error();
    EXPECT_EQ(gone.code, TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(gone.reason, "the peer closed the connection");
    EXPECT_EQ(stream->fill(), FrameStream::Fill::closed);
}

TEST_F(FrameStreamTest, KeepsTheSystemsReasonWhenItIsReset) {
    // What the peer has not read when it goes makes the system reset the connection.
    ASSERT_TRUE(stream->write("unread", Deadline::after(0ms), waiter));
    peer.reset();
    const Failure reset = stream->read(Deadline::after(20s), waiter).error();
    EXPECT_EQ(reset.code, TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(reset.reason, std::strerror(ECONNRESET));
}

TEST_F(FrameStreamTest, EndsReadingWithTheTransport) {
    ended.set();
    EXPECT_EQ(statusOf(stream->read(Deadline::after(20s), waiter)), TRANSPORT_ENDED);
}

TEST_F(FrameStreamTest, SaysWhatWasNoFrame) {
    say(std::string(1, '\x03') + std::string(3, '\xFF'));
    const Failure invalid = stream->read(Deadline::after(20s), waiter).error();
    EXPECT_EQ(invalid.code, TRANSPORT_PROTOCOL_ERROR);
    EXPECT_EQ(invalid.reason, "the frame does not parse");
}

TEST_F(FrameStreamTest, FillsInWhatIsThereAndNothingElse) {
    EXPECT_EQ(stream->fill(), FrameStream::Fill::nothing);
    say(encodeFrame(frame(1)));
    EXPECT_EQ(stream->fill(), FrameStream::Fill::some);
    EXPECT_TRUE(stream->next(came).value());
    EXPECT_EQ(stream->fill(), FrameStream::Fill::nothing);
}

TEST_F(FrameStreamTest, IsQuietWhileThePeerStandsAndHasSaidNothing) {
    EXPECT_TRUE(stream->isQuiet());
    say("\x05");
    EXPECT_FALSE(stream->isQuiet()) << "something has arrived";
    EXPECT_EQ(stream->fill(), FrameStream::Fill::some);
    EXPECT_FALSE(stream->isQuiet()) << "something was filled in and not taken out";
}

TEST_F(FrameStreamTest, IsNotQuietWhenThePeerHasGone) {
    EXPECT_FALSE(peerHasClosed(stream->fd()));
    peer.reset();
    EXPECT_FALSE(stream->isQuiet());
    EXPECT_TRUE(peerHasClosed(stream->fd()));
}

TEST_F(FrameStreamTest, StandsAlsoWhenThePeerHasSaidSomething) {
    say("x");
    EXPECT_FALSE(peerHasClosed(stream->fd()));
}

TEST_F(FrameStreamTest, IsShutDownForEverybodyWhoHoldsIt) {
    const FileDescriptor held(dup(stream->fd()));
    stream->shutDown();
    EXPECT_EQ(::send(held.get(), "x", 1, MSG_NOSIGNAL), -1);
    char byte = 0;
    EXPECT_EQ(::recv(held.get(), &byte, 1, 0), 0);
    EXPECT_EQ(::recv(peer.get(), &byte, 1, 0), 0);
}

TEST(PlainWaiter, EndsWithWhateverComesFirst) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const FileDescriptor mine(ends[0]);
    const FileDescriptor peers(ends[1]);
    EventFlag ended;
    PlainWaiter waiter(&ended);
    const auto deadline = Deadline::after(20ms);
    EXPECT_EQ(waiter.wait(mine.get(), POLLIN, deadline), Waiter::Event::timedOut);
    EXPECT_TRUE(deadline.passed());
    EXPECT_EQ(waiter.wait(mine.get(), POLLOUT, Deadline::after(20s)), Waiter::Event::ready);
    EXPECT_EQ(waiter.wait(-1, POLLOUT, Deadline::after(0ms)), Waiter::Event::timedOut);
    PlainWaiter nobody(nullptr);
    EXPECT_EQ(nobody.wait(mine.get(), POLLOUT, Deadline::after(20s)), Waiter::Event::ready);
    EXPECT_EQ(nobody.wait(mine.get(), POLLIN, Deadline::after(0ms)), Waiter::Event::timedOut);
    ended.set();
    EXPECT_EQ(waiter.wait(mine.get(), POLLOUT, Deadline::after(20s)), Waiter::Event::ended);
    ended.clear();
    EXPECT_EQ(waiter.wait(mine.get(), POLLOUT, Deadline::after(20s)), Waiter::Event::ready);
}

TEST(EventFlag, CanBePolledForAsLongAsItIsSet) {
    EventFlag flag;
    pollfd state{flag.fd(), POLLIN, 0};
    EXPECT_FALSE(flag.isSet());
    EXPECT_EQ(poll(&state, 1, 0), 0);
    flag.clear();
    flag.set();
    flag.set();
    EXPECT_TRUE(flag.isSet());
    EXPECT_EQ(poll(&state, 1, 0), 1);
    flag.clear();
    EXPECT_FALSE(flag.isSet());
    EXPECT_EQ(poll(&state, 1, 0), 0) << "however often it was set";
    EXPECT_EQ(fcntl(flag.fd(), F_GETFD), FD_CLOEXEC);
}

}  // namespace
