// Which connection a request goes over, and what its far end may do.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "RequestConnections.h"
#include "TransportFixture.h"
#include "Waiter.h"
#include "delivery/ResumePoints.h"
#include "wire/FileDescriptor.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::SizeIs;

/// Connections to a peer that greets, and answers nothing.
class ConnectionsForRequests : public TransportFixture, public Connector {
protected:
    Result<> check(const std::string&) const override { return {}; }
    Result<FileDescriptor> connect(const std::string& endpoint, Deadline, Waiter&) override {
        return FileDescriptor(inside.connect(endpoint));
    }
    RequestConnection* open() {
        opened.push_back(connections.open("ConfigSrvc", Deadline::after(20s), waiter).value());
        return opened.back().get();
    }
    /// Hands back what open() has made, in the order of the indices.
    void giveBack(std::initializer_list<std::size_t> indices) {
        for (const std::size_t index : indices) connections.giveBack("ConfigSrvc", std::move(opened[index]));
    }
    RequestConnection* borrow(bool mayOvertake = false) {
        opened.push_back(connections.borrow("ConfigSrvc", mayOvertake));
        return opened.back().get();
    }

    TransportOptions settings = options();
    ScriptedPeer inside;
    ResumePoints points;
    const std::string self = "self-1";
    RequestConnections connections{*this, points, settings, self};
    PlainWaiter waiter{nullptr};
    std::vector<std::unique_ptr<RequestConnection>> opened;
};

TEST_F(ConnectionsForRequests, AreTakenTheOneUsedLastFirst) {
    RequestConnection* const one = open();
    RequestConnection* const two = open();
    EXPECT_EQ(borrow(), nullptr) << "neither has been given back";
    giveBack({1, 0});
    EXPECT_EQ(borrow(), one);
    EXPECT_EQ(borrow(), two);
    EXPECT_EQ(borrow(), nullptr);
    EXPECT_EQ(connections.borrow("Other"), nullptr);
}

TEST_F(ConnectionsForRequests, AreTakenByTheThreadTheyAreReservedForBeforeAllOthers) {
    RequestConnection* const mine = open();
    RequestConnection* const anybodys = open();
    RequestConnection* const theirs = open();
    mine->reservedFor = std::this_thread::get_id();
    std::promise<void> done;
    std::thread other([&] { done.get_future().wait(); });
    theirs->reservedFor = other.get_id();
    giveBack({0, 1, 2});
    EXPECT_EQ(borrow(), mine);
    EXPECT_EQ(borrow(), anybodys);
    EXPECT_EQ(borrow(), nullptr);
    done.set_value();
    other.join();
}

TEST_F(ConnectionsForRequests, AreLeftOutWhereWhatWasSentOverThemMayBeOvertaken) {
    RequestConnection* const anybodys = open();
    RequestConnection* const mine = open();
    mine->reserve(false);
    giveBack({0, 1});
    EXPECT_EQ(borrow(true), mine);
    mine->reservedFor = {};
    mine->reserve(true);
    giveBack({2});
    EXPECT_EQ(borrow(true), anybodys);
    EXPECT_EQ(borrow(true), nullptr);
    EXPECT_EQ(borrow(), mine);
}

TEST_F(ConnectionsForRequests, MayBeOvertakenAsLongAsTheyBringNothingButWrites) {
    RequestConnection* const connection = open();
    EXPECT_FALSE(connection->mayBeOvertaken);
    connection->reserve(true);
    connection->reserve(true);
    EXPECT_TRUE(connection->mayBeOvertaken);
    connection->reserve(false);
    EXPECT_FALSE(connection->mayBeOvertaken);
    connection->reserve(true);
    EXPECT_FALSE(connection->mayBeOvertaken) << "what is no write goes before this one";
    EXPECT_EQ(connection->reservedFor, std::this_thread::get_id());
}

TEST_F(ConnectionsForRequests, AreClosedWhenTooManyAreIdleTheLongestIdleFirst) {
    settings.idleConnections = 2;
    open();
    RequestConnection* const two = open();
    RequestConnection* const three = open();
    giveBack({0, 1, 2});
    EXPECT_EQ(borrow(), three);
    EXPECT_EQ(borrow(), two);
    EXPECT_EQ(borrow(), nullptr);
}

TEST_F(ConnectionsForRequests, ThatBrokeOrSaidSomethingUnaskedAreLeftOut) {
    RequestConnection* const one = open();
    RequestConnection* const two = open();
    giveBack({0, 1});
    two->stream.shutDown();
    EXPECT_EQ(borrow(), one);
    EXPECT_EQ(borrow(), nullptr);
}

TEST_F(ConnectionsForRequests, BeginWithTheClientsNameAndPoints) {
    inside.setPoint(7, 40);
    RequestConnection* const first = open();
    EXPECT_EQ(first->lastCorrelation, 0U);
    open();
    const std::vector<Hello> hellos = inside.awaitHellos(REQUESTS, 2);
    ASSERT_THAT(hellos, SizeIs(2));
    EXPECT_EQ(hellos[0].version(), 2U);
    EXPECT_EQ(hellos[0].endpoint(), "self-1");
    EXPECT_FALSE(hellos[0].has_timeline());
    EXPECT_EQ(hellos[1].timeline(), 7U);
    EXPECT_EQ(hellos[1].delivered(), 40U);
}

TEST_F(ConnectionsForRequests, NoteTheNewestStateThatCameOverThem) {
    RequestConnection* const connection = open();
    const auto note = [&](std::uint64_t timeline, std::uint64_t number) {
        Frame reply;
        reply.set_timeline(timeline);
        reply.set_as_of(number);
        connections.noteSeen("ConfigSrvc", *connection, reply);
    };
    const auto seen = [&] {
        Hello hello;
        points.describe("ConfigSrvc", hello);
        std::vector<std::string> result;
        for (const auto& point : hello.seen()) {
            result.push_back(std::to_string(point.timeline()) + ":" + std::to_string(point.number()));
        }
        return result;
    };
    connections.noteSeen("ConfigSrvc", *connection, Frame());
    EXPECT_THAT(seen(), SizeIs(0));
    note(3, 5);
    note(3, 4);
    note(3, 6);
    EXPECT_THAT(seen(), ElementsAre("3:6"));
    note(4, 2);
    note(3, 7);
    EXPECT_THAT(seen(), ElementsAre("3:7", "4:2"));
    // A state that stands still costs nothing, so the points are not asked again.
    ResumePoints others;
    others.welcomedForRequests("ConfigSrvc", Welcome());
    RequestConnections elsewhere{*this, others, settings, self};
    Frame same;
    same.set_timeline(3);
    same.set_as_of(7);
    elsewhere.noteSeen("ConfigSrvc", *connection, same);
    Hello hello;
    others.describe("ConfigSrvc", hello);
    EXPECT_EQ(hello.seen_size(), 0);
}

/// A socket whose queue of callers is full: nobody accepts.
class BusyEndpoint : public TransportFixture {
protected:
    BusyEndpoint() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (directory.path() + "/Busy").copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener.get(), 0), 0);
        for (;;) {
            FileDescriptor caller(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            if (::connect(caller.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) break;
            callers.push_back(std::move(caller));
        }
        EXPECT_EQ(errno, EAGAIN);
    }

    FileDescriptor listener{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::vector<FileDescriptor> callers;
};

TEST_F(BusyEndpoint, IsWaitedForUntilTheDeadline) {
    UnixTransport transport(options(30ms));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(read(transport, "x", "Busy"), TRANSPORT_TIMED_OUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
    EXPECT_THAT(lastTransportFailure(), EndsWith("(" + directory.path() + "/Busy accepts no more connections)"));
}

TEST_F(BusyEndpoint, IsLeftWhenTheTransportEnds) {
    UnixTransport transport(options());
    auto call = std::async(std::launch::async, [&] { return read(transport, "x", "Busy"); });
    transport.end();
    EXPECT_EQ(call.get(), TRANSPORT_ENDED);
}

TEST_F(BusyEndpoint, IsReachedOnceThereIsRoom) {
    UnixTransport transport(options());
    auto call = std::async(std::launch::async, [&] { return read(transport, "x", "Busy"); });
    for (std::size_t i = 0; i <= callers.size(); ++i) {
        const FileDescriptor dropped(::accept(listener.get(), nullptr, nullptr));
        EXPECT_TRUE(dropped.isOpen());
    }
    EXPECT_EQ(call.get(), TRANSPORT_BROKEN_OFF) << "it was taken and dropped";
}

TEST_F(BusyEndpoint, HoldsUpNoDeliveries) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("Busy", -1);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_NE(peer.awaitDelivery(), nullptr);
}

}  // namespace
