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

using Handover = RegistrationsFixture;

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
    Handler handler([](const MSG_Message*) {});
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
    std::size_t seen = 0;
    /// Whether one of the frames that come from here on says of \p name that it is registered, or withdrawn.
    const auto says = [&](const std::string& name, bool registered) {
        for (;; ++seen) {
            const std::vector<Frame> frames = peer.await(REGISTRATIONS, seen + 1);
            if (frames.size() <= seen) return false;
            for (const Registration& row : registered ? frames[seen].registration() : frames[seen].withdrawn()) {
                if (row.name() == name) return true;
            }
        }
    };
    ASSERT_TRUE(says("late", false)) << "with all that was ceded";
    a.addRemoteEndpoint("ConfigSrvc", -1);
    handler.addTo(a, changed);
    mayAnswer.set_value();
    registering.join();
    EXPECT_TRUE(says("late", true));
    a.end();
    b.end();
    peer.stop();
}

}  // namespace
