#include <gmock/gmock.h>

#include "Handlers.h"
#include "InProcessTransport.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;

class InProcess : public TransportFixture {
protected:
    TransportOptions quick() const {
        TransportOptions result = options();
        result.runtimeDirectory.clear();
        return result;
    }
    ScriptedPeer service;
};

TEST_F(InProcess, CarriesRequests) {
    InProcessTransport transport(service, quick());
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

TEST_F(InProcess, CarriesDeliveriesAndAsks) {
    Journal journal;
    Handler consumer([&](const MSG_Message* message) { journal.add(valueOf(message)); });
    Handler provider([&](const MSG_Message* message) { answerAsk(message, "fine"); });
    InProcessTransport transport(service, quick());
    consumer.addTo(transport, changed);
    provider.addTo(transport, validate);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    const auto connection = service.awaitDelivery();
    connection->send(notification("x", 1));
    EXPECT_THAT(journal.await(1), ElementsAre("x"));
    connection->send(ask(1));
    EXPECT_EQ(service.await(ANSWER, 1).size(), 1U);
}

TEST_F(InProcess, FailsAsBetweenProcessesWhenNobodyIsThere) {
    InProcessTransport transport(service, quick());
    EXPECT_EQ(read(transport, "x", "Nobody"), TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_EQ(read(transport, "x", "../x"), TRANSPORT_BAD_ENDPOINT);
    service.stop();
    EXPECT_EQ(read(transport), TRANSPORT_NO_SUCH_ENDPOINT);
}

TEST_F(InProcess, ResumesWhenTheServiceIsBack) {
    InProcessTransport transport(service, quick());
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    ASSERT_EQ(read(transport), TRANSPORT_OK);
    service.stop();
    service.start();
    EXPECT_NE(service.awaitDelivery(2), nullptr);
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

}  // namespace
