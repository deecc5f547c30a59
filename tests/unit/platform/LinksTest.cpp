// Links that share a transport: each hears its own service.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "Handlers.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;

class Links : public TransportFixture {
protected:
    /// \p service takes every registration.
    static void takeRegistrations(ScriptedPeer& service) {
        service.setRegistrationsKnown(true);
        service.onRequest([](ScriptedPeer::Connection& connection, const Frame& request) {
            Frame reply;
            reply.set_kind(REPLY);
            reply.set_correlation(request.correlation());
            reply.set_status(OK);
            reply.set_message_id(request.message_id() + 1);
            connection.send(reply);
        });
        service.onRegistrations([](ScriptedPeer::Connection& connection, const Frame& told) {
            Frame answer;
            answer.set_kind(REGISTERED);
            answer.set_correlation(told.correlation());
            connection.send(answer);
        });
    }
    static int registerFor(PbUtils& transport, const std::string& name, const std::string& endpoint) {
        ConfigIF::RegisterClientCallbackReq request;
        request.set_client_name("self");
        request.set_var_name(name);
        request.set_type(ConfigIF::CALLBACK_CONFIG_CHANGED);
        request.set_callback_name("link");
        ConfigIF::RegisterClientCallbackRsp response;
        return transport.sendWaitResponse(request, &response, endpoint);
    }
    /// \return the name that \p service was told first of one that is withdrawn; empty when the patience is over.
    static std::string withdrawnFrom(ScriptedPeer& service) {
        for (std::size_t count = 1;; ++count) {
            const std::vector<Frame> frames = service.await(REGISTRATIONS, count);
            if (frames.size() < count) return {};
            if (frames[count - 1].withdrawn_size() > 0) return frames[count - 1].withdrawn(0).name();
        }
    }

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

TEST_F(Links, ThatMoveToAnotherTransportAreWithdrawnFromTheFormerAtEachEndpoint) {
    ScriptedPeer other(directory.path() + "/Other");
    takeRegistrations(peer);
    takeRegistrations(other);
    UnixTransport former(options());
    former.addRemoteEndpoint("ConfigSrvc", -1);
    former.addRemoteEndpoint("Other", -1);
    first.addTo(former, changed);
    ASSERT_EQ(registerFor(former, "a", "ConfigSrvc"), TRANSPORT_OK);
    ASSERT_EQ(registerFor(former, "b", "Other"), TRANSPORT_OK);
    UnixTransport next(options());
    next.addRemoteEndpoint("ConfigSrvc", -1);
    next.addRemoteEndpoint("Other", -1);
    first.addTo(next, changed);
    EXPECT_EQ(withdrawnFrom(peer), "a");
    EXPECT_EQ(withdrawnFrom(other), "b");
    next.end();
    former.end();
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
