// What an application registered for over a transport reaches the service, whatever came of the request.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

#include "Handlers.h"
#include "RegistrationsFixture.h"
#include "wire/RegistrationDigest.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int limit = -16;

using Registrations = RegistrationsFixture;

TEST_F(Registrations, AreDescribedWhenTheConnectionIsMadeAnew) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_EQ(registerFor(transport, "Display"), TRANSPORT_OK);
    EXPECT_EQ(registerFor(transport, "audio", 5), TRANSPORT_OK);
    EXPECT_EQ(registerFor(transport, "display"), TRANSPORT_OK) << "the same once more";
    peer.hangUp();
    const std::vector<Hello> hellos = peer.awaitHellos(AppConfigWire::DELIVERY, 2);
    ASSERT_THAT(hellos, SizeIs(2));
    EXPECT_FALSE(hellos[0].has_joined());
    EXPECT_EQ(hellos[0].registrations(), 0U);
    EXPECT_EQ(hellos[1].registrations(), 2U);
    EXPECT_EQ(hellos[1].registrations_digest(),
              digestOf({"self", "display", 3, "link"}) + digestOf({"self", "audio", 5, "link"}));
    settle(2);
    EXPECT_THAT(peer.received(REGISTRATIONS), IsEmpty()) << "the service knows them";
    EXPECT_FALSE(peer.awaitHellos(REQUESTS, 1).at(0).has_registrations());
}

TEST_F(Registrations, AreToldToAServiceThatDoesNotHoldThem) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    registerFor(transport, "display");
    registerFor(transport, "audio");
    unregister(transport, "audio");
    peer.setRegistrationsKnown(false);
    peer.hangUp();
    EXPECT_THAT(told(1), ElementsAre("display"));
    const Frame frame = peer.received(REGISTRATIONS).at(0);
    EXPECT_TRUE(frame.complete());
    EXPECT_EQ(frame.registration(0).role(), CommonIF::SECURITY_ROLE_WIRE_20);
}

TEST_F(Registrations, MadeBeforeTheServiceIsThereAreToldWhenItComes) {
    peer.stop();
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_EQ(registerFor(transport, "display"), TRANSPORT_NO_SUCH_ENDPOINT);
    peer.start();
    EXPECT_THAT(told(1), ElementsAre("display"));
    const Hello hello = peer.awaitHellos(AppConfigWire::DELIVERY, 1).at(0);
    EXPECT_TRUE(hello.has_joined()) << "it waits for whatever changed before the service was reached";
}

TEST_F(Registrations, ThatWereNotAnsweredAreSent) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame&) { connection.close(); });
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    EXPECT_EQ(registerFor(transport, "display"), TRANSPORT_BROKEN_OFF);
    EXPECT_THAT(told(1), ElementsAre("display"));
}

TEST_F(Registrations, ThatAreRefusedAreReportedAndTriedAgainUntilTheyAreTaken) {
    UnixTransport transport(observed());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    answerWith(limit);
    EXPECT_EQ(registerFor(transport, "display"), TRANSPORT_OK);
    EXPECT_THAT(journal.await(1), ElementsAre("ConfigSrvc display 3 -16"));
    EXPECT_THAT(told(1), ElementsAre("display"));
    const auto connection = peer.awaitDelivery();
    answerTold(*connection, peer.received(REGISTRATIONS).at(0), {0});
    EXPECT_THAT(told(2), ElementsAre("display"));
    answerTold(*connection, peer.received(REGISTRATIONS).at(1));
    EXPECT_THAT(journal.await(2), ElementsAre("ConfigSrvc display 3 -16", "ConfigSrvc display 3 0"));
}

TEST_F(Registrations, AnErrorThatNobodyKnowsIsARefusal) {
    UnixTransport transport(observed());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& request) {
        Frame reply;
        reply.set_kind(REPLY);
        reply.set_correlation(request.correlation());
        reply.set_status(OK);
        reply.set_message_id(request.message_id() + 1);
        reply.set_payload(std::string("\x08\x63", 2));  // error: 99
        connection.send(reply);
    });
    registerFor(transport, "display");
    EXPECT_THAT(journal.await(1), ElementsAre("ConfigSrvc display 3 99"));
}

TEST_F(Registrations, WithoutAnObserverStandardErrorSaysOnceThatRefusalsBeganAndOnceThatTheyAreOver) {
    testing::internal::CaptureStderr();
    TransportOptions hasty = options();
    hasty.firstRegistrationPause = 5ms;
    hasty.longestRegistrationPause = 5ms;
    {
        UnixTransport transport(hasty);
        transport.addRemoteEndpoint("ConfigSrvc", -1);
        answerWith(limit);
        registerFor(transport, "display");
        registerFor(transport, "audio");
        const auto connection = peer.awaitDelivery();
        // The first frames may tell of one name only, depending on when the other one was refused.
        for (std::size_t i = 1, ofBoth = 0; ofBoth < 3; ++i) {
            const std::vector<std::string> names = told(i);
            ASSERT_THAT(names, testing::Not(IsEmpty()));
            if (names.size() == 2) ++ofBoth;
            std::vector<int> refused;
            for (std::size_t row = 0; ofBoth < 3 && row < names.size(); ++row) refused.push_back(static_cast<int>(row));
            answerTold(*connection, peer.received(REGISTRATIONS).at(i - 1), refused);
        }
        settle();
        settle();  // what came along with the first question was reported after it
        transport.end();
    }
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("appconfig: ConfigSrvc refused registrations"));
    EXPECT_THAT(said, HasSubstr("appconfig: ConfigSrvc has accepted all registrations that it had refused"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2) << said;
}

TEST_F(Registrations, AWithdrawalThatFailedIsTold) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    registerFor(transport, "display");
    answerWith(limit);
    EXPECT_EQ(unregister(transport, "display"), TRANSPORT_OK);
    EXPECT_THAT(told(1), ElementsAre("-display"));
}

TEST_F(Registrations, OfOneRequesterEndWithOneMessage) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    registerFor(transport, "display");
    registerFor(transport, "audio");
    ConfigIF::UnregisterAllClientCallbacksReq all;
    all.set_client_name("self");
    EXPECT_EQ(transport.send(all, "ConfigSrvc", nullptr), TRANSPORT_OK);
    peer.hangUp();
    const std::vector<Hello> hellos = peer.awaitHellos(AppConfigWire::DELIVERY, 2);
    ASSERT_THAT(hellos, SizeIs(2));
    EXPECT_EQ(hellos[1].registrations(), 0U);
}

TEST_F(Registrations, ThatCouldNotBeEndedWithOneMessageAreToldAnew) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    registerFor(transport, "display");
    peer.stop();
    ConfigIF::UnregisterAllClientCallbacksReq all;
    all.set_client_name("self");
    EXPECT_NE(transport.send(all, "ConfigSrvc", nullptr), TRANSPORT_OK);
    peer.setRegistrationsKnown(false);
    peer.start();
    ASSERT_THAT(peer.await(REGISTRATIONS, 1), SizeIs(1));
    EXPECT_EQ(peer.received(REGISTRATIONS).at(0).registration_size(), 0);
    EXPECT_TRUE(peer.received(REGISTRATIONS).at(0).complete());
}

TEST_F(Registrations, ThatAServiceDoesNotAnswerInTimeEndTheConnection) {
    UnixTransport transport(options(200ms));
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    registerFor(transport, "display");
    peer.setRegistrationsKnown(false);
    peer.hangUp();
    EXPECT_NE(peer.awaitDelivery(3), nullptr) << "it is given up and made anew";
    EXPECT_THAT(told(2), ElementsAre("display"));
}

TEST_F(Registrations, AreAnsweredInTimeWhereAHandlerTakesLongerToReadTheAnswer) {
    ScriptedPeer another{directory.path() + "/Another"};
    for (const bool ofTheSame : {true, false}) {
        constexpr auto deadline = 500ms;
        std::promise<void> entered;
        std::promise<void> answered;
        Handler slow([&](const MSG_Message*) {
            entered.set_value();
            answered.get_future().wait();
            std::this_thread::sleep_for(deadline);  // it is the time that a slow handler takes
        });
        peer.setRegistrationsKnown(true);
        const std::size_t before = peer.connections(DELIVERY);
        UnixTransport transport(options(deadline));
        slow.addTo(transport, changed);
        transport.addRemoteEndpoint("Another", -1);  // first, so that it is read first
        transport.addRemoteEndpoint("ConfigSrvc", -1);
        registerFor(transport, "display");
        const auto other = another.awaitDelivery(ofTheSame ? 1 : 2);
        std::promise<void> done;
        peer.onRegistrations([&](ScriptedPeer::Connection& connection, const Frame& told) {
            (ofTheSame ? connection : *other).send(notification("x", 1));
            entered.get_future().wait();
            answerTold(connection, told);
            answered.set_value();
            done.set_value();
        });
        peer.setRegistrationsKnown(false);
        peer.hangUp();
        done.get_future().wait();
        settle(before + 2);
        EXPECT_EQ(peer.connections(DELIVERY), before + 2) << "it was not given up";
        peer.onRegistrations({});
        transport.end();
    }
}

TEST_F(Registrations, AreNotAnsweredByAServiceThatWasNotTold) {
    testing::internal::CaptureStderr();
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    Frame answer;
    answer.set_kind(REGISTERED);
    answer.set_correlation(1);
    peer.awaitDelivery()->send(answer);
    EXPECT_NE(peer.awaitDelivery(2), nullptr);
    transport.end();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("unexpected REGISTERED frame"));
}

TEST_F(Registrations, AreToldWhileAHandlerWaitsForItsOwnRequest) {
    std::atomic<bool> inside{false};
    UnixTransport transport(options());
    Handler handler([&](const MSG_Message*) {
        inside = true;
        registerFor(transport, "from.within");
    });
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    registerFor(transport, "display");
    peer.onRequest([this](ScriptedPeer::Connection& connection, const Frame& request) {
        // The handler's request is answered only once the delivery thread has told what it was asked to tell.
        peer.setRegistrationsKnown(false);
        peer.awaitDelivery()->close();
        peer.await(REGISTRATIONS, 1);
        ScriptedPeer::answer(connection, request);
    });
    peer.awaitDelivery()->send(notification("x", 1));
    EXPECT_THAT(told(1), ElementsAre("display", "from.within"));
    EXPECT_TRUE(inside);
    transport.end();
}

TEST_F(Registrations, MayBeMadeByTheObserver) {
    UnixTransport* self = nullptr;
    TransportOptions curious = options();
    curious.onRegistration = [&](const RegistrationReport& report) {
        if (report.name == "display") registerFor(*self, "another");
        journal.add(report.name);
    };
    UnixTransport transport(curious);
    self = &transport;
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    answerWith(limit);
    registerFor(transport, "display");
    EXPECT_THAT(journal.await(2), ElementsAre("display", "another"));
    transport.end();
}

TEST_F(Registrations, OfManyThreadsEndUpAsTheyWereLeft) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                registerFor(transport, "n" + std::to_string(t));
                unregister(transport, "n" + std::to_string(t));
                registerFor(transport, "shared");
                unregister(transport, "shared");
            }
            registerFor(transport, "n" + std::to_string(t));
        });
    }
    for (int i = 0; i < 10; ++i) peer.awaitDelivery()->send(ask(static_cast<std::uint64_t>(i) + 100));
    for (std::thread& thread : threads) thread.join();
    registerFor(transport, "shared");
    peer.setRegistrationsKnown(false);
    const std::size_t before = peer.received(REGISTRATIONS).size();
    peer.hangUp();
    std::vector<std::string> names = told(before + 1);
    names.erase(std::remove_if(names.begin(), names.end(), [](const auto& name) { return name[0] == '-'; }),
                names.end());
    EXPECT_THAT(names, testing::UnorderedElementsAre("n0", "n1", "n2", "n3", "shared"));
}

}  // namespace
