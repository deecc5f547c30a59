// Links that share a transport: each hears its own service.
#include <gmock/gmock.h>

#include "Handlers.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;

class Links : public TransportFixture {
protected:
    Journal journal;
    Handler first{[this](const MSG_Message* message) { journal.add("first " + valueOf(message)); }};
    Handler second{[this](const MSG_Message* message) { journal.add("second " + valueOf(message)); }};
};

TEST_F(Links, HearTheirOwnEndpoint) {
    ScriptedPeer other(directory.path() + "/Other");
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    first.addTo(transport, changed);
    transport.addRemoteEndpoint("Other", -1);
    second.addTo(transport, changed);
    peer.awaitDelivery()->send(notification("x", 1));
    ASSERT_THAT(journal.await(1), ElementsAre("first x"));
    other.awaitDelivery()->send(notification("y", 1));
    EXPECT_THAT(journal.await(2), ElementsAre("first x", "second y"));
    transport.end();
}

TEST_F(Links, HearNothingOfAnotherEndpointWhenTheirOwnCannotBe) {
    UnixTransport transport(options());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    first.addTo(transport, changed);
    EXPECT_EQ(transport.addRemoteEndpoint("../Other", -1), TRANSPORT_BAD_ENDPOINT);
    second.addTo(transport, changed);
    peer.awaitDelivery()->send(notification("x", 1));
    peer.awaitDelivery()->send(ask(1));
    ASSERT_EQ(peer.await(ANSWER, 1).size(), 1U);
    EXPECT_THAT(journal.await(1), ElementsAre("first x"));
    transport.end();
}

}  // namespace
