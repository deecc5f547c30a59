// The transports that remember and that fail on purpose.
#include <gmock/gmock.h>

#include <functional>
#include <utility>

#include "FaultTransport.h"
#include "MessageIds.h"
#include "RecordingTransport.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class Recording : public TransportFixture {
protected:
    Exchange last() const { return recording.exchanges().back(); }

    UnixTransport transport{options()};
    RecordingTransport recording{transport};
};

TEST_F(Recording, RemembersWhatWentAndWhatCame) {
    ASSERT_EQ(read(recording, "hello"), TRANSPORT_OK);
    ASSERT_EQ(write(recording, "bye"), TRANSPORT_OK);
    const auto exchanges = recording.exchanges();
    ASSERT_THAT(exchanges, SizeIs(2));
    EXPECT_EQ(exchanges[0].kind, Exchange::Kind::request);
    EXPECT_EQ(exchanges[0].endpoint, "ConfigSrvc");
    EXPECT_EQ(exchanges[0].type, "ConfigIF.ReadReq");
    EXPECT_EQ(exchanges[0].status, TRANSPORT_OK);
    EXPECT_TRUE(exchanges[0].ended);
    EXPECT_EQ(exchanges[0].error, 0);
    ConfigIF::ReadReq request;
    ASSERT_TRUE(request.ParseFromString(exchanges[0].request));
    EXPECT_EQ(request.client_name(), "hello");
    EXPECT_EQ(exchanges[0].failure, "");
    EXPECT_EQ(exchanges[1].kind, Exchange::Kind::oneWay);
    EXPECT_EQ(exchanges[1].endpoint, "ConfigSrvc");
    EXPECT_EQ(exchanges[1].type, "ConfigIF.WriteReq");
    EXPECT_EQ(exchanges[1].status, TRANSPORT_OK);
    EXPECT_EQ(exchanges[1].failure, "");
    EXPECT_TRUE(exchanges[1].ended);
    EXPECT_EQ(recording.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc"), TRANSPORT_OK);
    EXPECT_EQ(last().status, TRANSPORT_OK) << "nobody wanted the reply";
}

TEST_F(Recording, RemembersTheTransportsFailure) {
    peer.stop();
    EXPECT_EQ(read(recording), TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_EQ(last().status, TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_THAT(last().failure, HasSubstr("ConfigSrvc"));
    EXPECT_EQ(write(recording, "x"), TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_EQ(last().status, TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_THAT(last().failure, HasSubstr("ConfigSrvc"));
}

TEST_F(Recording, RemembersTheErrorOfAReply) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply = ScriptedPeer::replyTo(frame, "hello");
        ConfigIF::ReadRsp response;
        response.add_value("hello");
        response.set_error(CommonIF::ERROR_ACCESS_DENIED);
        reply.set_payload(response.SerializeAsString());
        connection.send(reply);
    });
    ASSERT_EQ(read(recording), TRANSPORT_OK);
    EXPECT_EQ(last().error, CommonIF::ERROR_ACCESS_DENIED);
}

TEST_F(Recording, RemembersTheTextsOfAReply) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply = ScriptedPeer::replyTo(frame, "");
        ConfigIF::WriteRsp response;
        response.mutable_result()->set_error(CommonIF::ERROR_REJECTED);
        response.mutable_result()->add_message("not now");
        response.mutable_result()->add_message("nor later");
        reply.set_message_id(ConfigIF::messageId("ConfigIF.WriteRsp"));
        reply.set_payload(response.SerializeAsString());
        connection.send(reply);
    });
    ConfigIF::WriteRsp response;
    ASSERT_EQ(recording.sendWaitResponse(ConfigIF::WriteReq(), &response, "ConfigSrvc"), TRANSPORT_OK);
    EXPECT_EQ(last().error, CommonIF::ERROR_REJECTED);
    EXPECT_THAT(last().messages, ElementsAre("not now", "nor later"));
}

/// Runs an action while a request is under way.
class Interrupted : public ForwardingTransport {
public:
    using ForwardingTransport::ForwardingTransport;

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override {
        if (meanwhile) std::exchange(meanwhile, {})();
        return ForwardingTransport::sendWaitResponse(request, response, endpoint);
    }

    std::function<void()> meanwhile;
};

class RecordingUnderWay : public TransportFixture {
protected:
    UnixTransport socket{options()};
    Interrupted transport{socket};
    RecordingTransport recording{transport, 2};
};

TEST_F(RecordingUnderWay, ListsARequestBeforeItIsAnswered) {
    transport.meanwhile = [this] {
        ASSERT_THAT(recording.exchanges(), SizeIs(1));
        EXPECT_EQ(recording.exchanges()[0].type, "ConfigIF.ReadReq");
        EXPECT_FALSE(recording.exchanges()[0].ended);
    };
    ASSERT_EQ(read(recording), TRANSPORT_OK);
    EXPECT_TRUE(recording.exchanges()[0].ended);
}

TEST_F(RecordingUnderWay, ListsExchangesInTheOrderInWhichTheyBegan) {
    transport.meanwhile = [this] { EXPECT_EQ(write(recording, "meanwhile"), TRANSPORT_OK); };
    ASSERT_EQ(read(recording), TRANSPORT_OK);
    ASSERT_THAT(recording.exchanges(), SizeIs(2));
    EXPECT_EQ(recording.exchanges()[0].type, "ConfigIF.ReadReq");
    EXPECT_EQ(recording.exchanges()[1].type, "ConfigIF.WriteReq");
}

TEST_F(RecordingUnderWay, ForgetsARequestWhoseAnswerIsYetToCome) {
    transport.meanwhile = [this] {
        recording.clear();
        EXPECT_EQ(write(recording, "meanwhile"), TRANSPORT_OK);
        peer.stop();
    };
    EXPECT_NE(read(recording), TRANSPORT_OK);
    ASSERT_THAT(recording.exchanges(), SizeIs(1));
    EXPECT_EQ(recording.exchanges()[0].type, "ConfigIF.WriteReq");
    EXPECT_EQ(recording.exchanges()[0].status, TRANSPORT_OK) << "the outcome is another request's";
}

TEST_F(RecordingUnderWay, DropsARequestForYoungerOnes) {
    transport.meanwhile = [this] {
        EXPECT_EQ(write(recording, "1"), TRANSPORT_OK);
        EXPECT_EQ(write(recording, "2"), TRANSPORT_OK);
        peer.stop();
    };
    EXPECT_NE(read(recording), TRANSPORT_OK);
    ASSERT_THAT(recording.exchanges(), SizeIs(2));
    for (const Exchange& exchange : recording.exchanges()) {
        EXPECT_EQ(exchange.type, "ConfigIF.WriteReq");
        EXPECT_EQ(exchange.status, TRANSPORT_OK);
    }
}

TEST_F(Recording, DropsTheOldestBeyondItsCapacity) {
    RecordingTransport small(transport, 2);
    ASSERT_EQ(read(small, "1"), TRANSPORT_OK);
    ASSERT_EQ(write(small, "2"), TRANSPORT_OK);
    ASSERT_EQ(read(small, "3"), TRANSPORT_OK);
    ASSERT_THAT(small.exchanges(), SizeIs(2));
    EXPECT_EQ(small.exchanges()[0].type, "ConfigIF.WriteReq");
}

TEST_F(Recording, PassesTheRestOn) {
    EXPECT_EQ(recording.localEndpoint(), transport.localEndpoint());
    EXPECT_EQ(recording.addHandlers(nullptr), TRANSPORT_BAD_ARGUMENT);
    EXPECT_EQ(recording.addRemoteEndpoint("ConfigSrvc", -1), TRANSPORT_OK);
    EXPECT_NE(peer.awaitDelivery(), nullptr);
}

class Fault : public TransportFixture {
protected:
    UnixTransport transport{options()};
    FaultTransport fault{transport};
};

TEST_F(Fault, LetsEverythingPassAtFirst) {
    EXPECT_EQ(read(fault), TRANSPORT_OK);
    EXPECT_EQ(write(fault, "x"), TRANSPORT_OK);
    EXPECT_EQ(fault.localEndpoint(), transport.localEndpoint());
}

TEST_F(Fault, FailsAtOnceWithoutSending) {
    fault.failWith(TRANSPORT_TIMED_OUT);
    EXPECT_EQ(read(fault), TRANSPORT_TIMED_OUT);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("deadline"));
    EXPECT_EQ(write(fault, "x"), TRANSPORT_TIMED_OUT);
    EXPECT_EQ(peer.connections(REQUESTS), 0U);
    fault.heal();
    EXPECT_EQ(read(fault), TRANSPORT_OK);
}

TEST_F(Fault, LeavesNothingInTheResponseAndASentence) {
    fault.failWith(TRANSPORT_TIMED_OUT);
    ConfigIF::ReadRsp response;
    response.add_value("old");
    EXPECT_EQ(fault.sendWaitResponse(ConfigIF::ReadReq(), &response, "ConfigSrvc"), TRANSPORT_TIMED_OUT);
    EXPECT_EQ(response.value_size(), 0);
    EXPECT_EQ(lastTransportFailure(), "ConfigSrvc: the deadline passed (injected)");
    EXPECT_EQ(fault.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc"), TRANSPORT_TIMED_OUT);
}

TEST_F(Fault, FailsWithWhatItWasToldLast) {
    fault.failWith(TRANSPORT_TIMED_OUT);
    fault.failWith(TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(read(fault), TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(write(fault, "x"), TRANSPORT_BROKEN_OFF);
}

TEST_F(Fault, PassesTheRestOn) {
    EXPECT_EQ(fault.addHandlers(nullptr), TRANSPORT_BAD_ARGUMENT);
    EXPECT_EQ(lastTransportFailure(), "addHandlers: an argument is missing (the table is null)");
    EXPECT_EQ(fault.addRemoteEndpoint("../x", -1), TRANSPORT_BAD_ENDPOINT);
    EXPECT_EQ(fault.addRemoteEndpoint("ConfigSrvc", -1), TRANSPORT_OK);
    EXPECT_NE(peer.awaitDelivery(), nullptr);
}

}  // namespace
