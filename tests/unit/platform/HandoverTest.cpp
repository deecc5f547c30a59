// Transports that take each other's place.
#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "Handlers.h"
#include "RegistrationsFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;

class Handover : public RegistrationsFixture {
protected:
    /// \return whether one of the frames that come from here on says of \p name that it is registered, or withdrawn.
    bool says(const std::string& name, bool registered) {
        for (;; ++m_seen) {
            const std::vector<Frame> frames = peer.await(REGISTRATIONS, m_seen + 1);
            if (frames.size() <= m_seen) return false;
            for (const Registration& row : registered ? frames[m_seen].registration() : frames[m_seen].withdrawn()) {
                if (row.name() == name) return true;
            }
        }
    }

    Handler handler{[](const MSG_Message*) {}};

private:
    std::size_t m_seen = 0;
};

TEST_F(Handover, KeepsWhatWasRegisteredOverATransportThatHasLostItsPlaceAndHasItAgain) {
    std::promise<void> arrived;
    std::promise<void> mayAnswer;
    // The other one has taken over what was there before only then, and this one withdraws whatever it has.
    peer.onRegistrations(
        [late = arrived.get_future().share()](ScriptedPeer::Connection& connection, const Frame& frame) {
            late.wait();
            answerTold(connection, frame);
        });
    UnixTransport a(options());
    UnixTransport b(options());
    a.addRemoteEndpoint("ConfigSrvc", -1);
    b.addRemoteEndpoint("ConfigSrvc", -1);
    handler.addTo(a, changed);
    ASSERT_EQ(registerFor(a, "first"), TRANSPORT_OK);
    handler.addTo(b, changed);

    peer.onRequest([&](ScriptedPeer::Connection& connection, const Frame& request) {
        arrived.set_value();
        mayAnswer.get_future().wait();
        answerRegistration(connection, request, 0);
    });
    std::thread registering([&] { EXPECT_EQ(registerFor(a, "late"), TRANSPORT_OK); });
    ASSERT_TRUE(says("late", false)) << "with all that was handed over";
    a.addRemoteEndpoint("ConfigSrvc", -1);
    handler.addTo(a, changed);
    mayAnswer.set_value();
    registering.join();
    EXPECT_TRUE(says("late", true));
    a.end();
    b.end();
    peer.stop();
}

TEST_F(Handover, BringsTheFormersPointAlsoWhereNothingIsRegisteredYet) {
    peer.setPoint(7, 5);
    UnixTransport a(options());
    UnixTransport b(options());
    a.addRemoteEndpoint("ConfigSrvc", -1);
    handler.addTo(a, changed);
    ASSERT_EQ(registerFor(a, "read"), TRANSPORT_OK);
    ASSERT_EQ(unregister(a, "read"), TRANSPORT_OK);
    peer.setPoint(7, 9);
    b.addRemoteEndpoint("ConfigSrvc", -1);
    handler.addTo(b, changed);
    bool told = false;
    for (std::size_t count = 1; !told; ++count) {
        const std::vector<Hello> hellos = peer.awaitHellos(DELIVERY, count);
        ASSERT_THAT(hellos, testing::SizeIs(testing::Ge(count)));
        const Hello& hello = hellos[count - 1];
        told = hello.endpoint() == b.localEndpoint() && hello.has_joined() && hello.joined() == 5;
    }
    a.end();
    b.end();
    peer.stop();
}

TEST_F(Handover, BeginsWithItsOwnHandshakeWhereTheFormerHasNeverReachedTheService) {
    peer.setPoint(7, 9);
    UnixTransport a(options());
    UnixTransport b(options());
    a.addRemoteEndpoint("ConfigSrvc", -1);
    handler.addTo(a, changed);
    b.addRemoteEndpoint("ConfigSrvc", -1);
    handler.addTo(b, changed);
    ASSERT_EQ(registerFor(b, "first"), TRANSPORT_OK);
    ASSERT_EQ(unregister(b, "first"), TRANSPORT_OK);
    for (const auto connection : {REQUESTS, DELIVERY}) {
        const std::vector<Hello> hellos = peer.awaitHellos(connection, 1);
        ASSERT_FALSE(hellos.empty());
        for (const Hello& hello : hellos) {
            EXPECT_FALSE(hello.has_joined() && hello.joined() == 0) << "it would be told whatever has ever changed";
        }
    }
    a.end();
    b.end();
    peer.stop();
}

TEST_F(Handover, LetsTheNewTransportSayWhatTheFormerIsStillAsked) {
    UnixTransport a(options());
    UnixTransport b(options());
    Handler provider([](const MSG_Message* message) { answerAsk(message, "fine"); });
    a.addRemoteEndpoint("ConfigSrvc", -1);
    provider.addTo(a, validate);
    ASSERT_EQ(registerFor(a, "asked"), TRANSPORT_OK);
    const auto former = peer.awaitDelivery();
    b.addRemoteEndpoint("ConfigSrvc", -1);
    provider.addTo(b, validate);
    ASSERT_EQ(registerFor(b, "connected"), TRANSPORT_OK);
    Frame question = ask(1);
    question.set_timeline(9);
    question.set_as_of(50);
    former->send(question);
    ASSERT_THAT(peer.await(ANSWER, 1), testing::SizeIs(1));
    peer.hangUp();
    bool told = false;
    for (std::size_t count = 1; !told; ++count) {
        const std::vector<Hello> hellos = peer.awaitHellos(DELIVERY, count);
        ASSERT_THAT(hellos, testing::SizeIs(testing::Ge(count)));
        const Hello& hello = hellos[count - 1];
        for (const auto& point : hello.seen()) {
            if (hello.endpoint() != b.localEndpoint()) continue;
            told = told || (point.timeline() == 9 && point.number() == 50);
        }
    }
    a.end();
    b.end();
    peer.stop();
}

TEST_F(Handover, PassesOnWhatAThreadRegistersOverATransportThatHasLostItsPlaceAndHasEnded) {
    peer.onRegistrations(
        [](ScriptedPeer::Connection& connection, const Frame& frame) { answerTold(connection, frame); });
    UnixTransport a(options());
    UnixTransport b(options());
    a.addRemoteEndpoint("ConfigSrvc", -1);
    b.addRemoteEndpoint("ConfigSrvc", -1);
    handler.addTo(a, changed);
    handler.addTo(b, changed);
    a.end();
    EXPECT_EQ(registerFor(a, "late"), TRANSPORT_ENDED);
    EXPECT_TRUE(says("late", true));
    EXPECT_EQ(unregister(a, "late"), TRANSPORT_ENDED);
    EXPECT_TRUE(says("late", false));
    b.end();
    EXPECT_EQ(registerFor(b, "later"), TRANSPORT_ENDED) << "nobody has its place";
    peer.stop();
}

}  // namespace
