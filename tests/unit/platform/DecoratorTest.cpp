// The transports that remember and that fail on purpose.
#include <gmock/gmock.h>

#include "FaultTransport.h"
#include "RecordingTransport.h"
#include "ReplyError.h"
#include "TransportFixture.h"
#include "configadmin.pb.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class Recording : public TransportFixture {
protected:
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
    EXPECT_EQ(exchanges[0].replyType, "ConfigIF.ReadRsp");
    EXPECT_EQ(exchanges[0].error, 0);
    ConfigIF::ReadReq request;
    ASSERT_TRUE(request.ParseFromString(exchanges[0].request));
    EXPECT_EQ(request.client_name(), "hello");
    ConfigIF::ReadRsp reply;
    ASSERT_TRUE(reply.ParseFromString(exchanges[0].reply));
    EXPECT_EQ(reply.value(0), "hello");
    EXPECT_EQ(exchanges[1].kind, Exchange::Kind::oneWay);
    EXPECT_EQ(exchanges[1].type, "ConfigIF.WriteReq");
}

TEST_F(Recording, RemembersTheTransportsFailure) {
    peer.stop();
    EXPECT_EQ(read(recording), TRANSPORT_NO_SUCH_ENDPOINT);
    const auto outcome = recording.lastOutcome();
    ASSERT_TRUE(outcome.has_value());
    EXPECT_EQ(outcome->status, TRANSPORT_NO_SUCH_ENDPOINT);
    EXPECT_THAT(outcome->failure, HasSubstr("ConfigSrvc"));
    EXPECT_EQ(outcome->replyType, "");
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
    EXPECT_EQ(recording.lastOutcome()->error, CommonIF::ERROR_ACCESS_DENIED);
}

TEST_F(Recording, KeepsTheLastOutcomeOfEachThreadApart) {
    ASSERT_EQ(read(recording, "mine"), TRANSPORT_OK);
    std::thread([&] {
        EXPECT_FALSE(recording.lastOutcome().has_value());
        EXPECT_EQ(write(recording, "other"), TRANSPORT_OK);
        EXPECT_EQ(recording.lastOutcome()->type, "ConfigIF.WriteReq");
    }).join();
    EXPECT_EQ(recording.lastOutcome()->type, "ConfigIF.ReadReq");
    recording.clear();
    EXPECT_FALSE(recording.lastOutcome().has_value());
    EXPECT_THAT(recording.exchanges(), SizeIs(0));
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

TEST_F(Fault, StrikesOnlyTheNamedTypeAndSoManyTimes) {
    fault.failWith(TRANSPORT_BROKEN_OFF, "ConfigIF.ReadReq", 2);
    EXPECT_EQ(write(fault, "x"), TRANSPORT_OK);
    EXPECT_EQ(read(fault), TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(read(fault), TRANSPORT_BROKEN_OFF);
    EXPECT_EQ(read(fault), TRANSPORT_OK);
}

TEST_F(Fault, RefusesInTheServicesName) {
    fault.refuseWith(CommonIF::ERROR_REJECTED, {"not now"}, "ConfigIF.WriteReq");
    ConfigIF::WriteRsp response;
    EXPECT_EQ(fault.sendWaitResponse(ConfigIF::WriteReq(), &response, "ConfigSrvc"), TRANSPORT_OK);
    EXPECT_EQ(response.result().error(), CommonIF::ERROR_REJECTED);
    EXPECT_EQ(response.result().message(0), "not now");
    EXPECT_EQ(write(fault, "x"), TRANSPORT_OK) << "nobody answers a one-way message";
    EXPECT_EQ(read(fault), TRANSPORT_OK);
}

TEST(ReplyErrorView, ReadsWhatWasWritten) {
    ConfigIF::ReadRsp read;
    ConfigIF::WriteRsp write;
    ConfigIF::SetAccessLevelsRsp levels;
    ConfigAdmin::SubmitRsp submit;
    for (google::protobuf::MessageLite* reply :
         std::initializer_list<google::protobuf::MessageLite*>{&read, &write, &levels, &submit}) {
        EXPECT_EQ(readReplyError(*reply).error, 0) << reply->GetTypeName();
        EXPECT_TRUE(writeReplyError(*reply, {-3, {"why"}}));
        EXPECT_EQ(readReplyError(*reply).error, -3) << reply->GetTypeName();
    }
    EXPECT_EQ(read.error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_THAT(readReplyError(write).messages, ElementsAre("why"));
    EXPECT_EQ(levels.access_error(0).error(), CommonIF::ERROR_ACCESS_DENIED);
}

TEST(ReplyErrorView, SeesANumberThatTheEnumDrops) {
    ConfigIF::ReadRsp read;
    ASSERT_TRUE(writeReplyError(read, {-4711, {}}));
    EXPECT_FALSE(read.has_error());
    EXPECT_EQ(readReplyError(read).error, -4711);
    ConfigIF::WriteRsp write;
    ASSERT_TRUE(writeReplyError(write, {4711, {}}));
    EXPECT_EQ(readReplyError(write).error, 4711);
}

TEST(ReplyErrorView, TakesNoOptionForAText) {
    ConfigIF::GetAttributeOptionsRsp options;
    options.add_option("an option");
    EXPECT_THAT(readReplyError(options).messages, SizeIs(0));
}

TEST(ReplyErrorView, FindsNothingInAMessageThatIsNoReply) {
    ConfigIF::ReadReq request;
    request.set_client_name("x");
    EXPECT_EQ(readReplyError(request).error, 0);
    EXPECT_FALSE(writeReplyError(request, {-3, {}}));
    EXPECT_EQ(request.client_name(), "x");
}

}  // namespace
