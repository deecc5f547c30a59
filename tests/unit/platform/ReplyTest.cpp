// What a service answers, and what it may not.
#include <gmock/gmock.h>

#include "TransportFixture.h"
#include "frame.pb.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::EndsWith;
using testing::HasSubstr;

class Reply : public TransportFixture {};

TEST_F(Reply, OverTheLimitFailsTheRequestWithTheSizes) {
    TransportOptions small = options();
    small.frameLimit = 1000;
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        connection.send(ScriptedPeer::replyTo(frame, std::string(5000, 'x')));
    });
    UnixTransport transport(small);
    EXPECT_EQ(read(transport), TRANSPORT_PROTOCOL_ERROR);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("the limit is 1000"));
    peer.onRequest(&ScriptedPeer::answer);
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

TEST_F(Reply, ThatIsGarbageIsMetWithAReasonAndANewConnection) {
    peer.onRequest(
        [](ScriptedPeer::Connection& connection, const Frame&) { connection.sendBytes(std::string(300, 'G')); });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_PROTOCOL_ERROR);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("violated the protocol"));
    peer.onRequest(&ScriptedPeer::answer);
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

TEST_F(Reply, ToAnotherRequestIsNotTaken) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply = ScriptedPeer::replyTo(frame, "hello");
        reply.set_correlation(frame.correlation() + 1);
        connection.send(reply);
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_PROTOCOL_ERROR);
    EXPECT_THAT(lastTransportFailure(), EndsWith("(unexpected reply)"));
}

TEST_F(Reply, UnaskedDropsItsConnection) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        // In one piece, so that the second one is there when the first has been read.
        connection.sendBytes(encodeFrame(ScriptedPeer::replyTo(frame, "hello")) +
                             encodeFrame(ScriptedPeer::replyTo(frame, "unasked")));
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(peer.connections(REQUESTS), 2U);
}

TEST_F(Reply, RefusesTheClientWithAReason) {
    peer.onHello([](ScriptedPeer::Connection& connection, const Frame&) {
        Frame frame;
        frame.set_kind(REFUSED);
        frame.set_reason("too many clients");
        connection.send(frame);
        connection.close();
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_REFUSED);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("too many clients"));
}

TEST_F(Reply, SaysThatTheRequestIsNotSupported) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply;
        reply.set_kind(REPLY);
        reply.set_correlation(frame.correlation());
        reply.set_status(UNSUPPORTED);
        reply.set_reason("not by me");
        connection.send(reply);
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_UNSUPPORTED);
    EXPECT_EQ(lastTransportFailure(), "ConfigSrvc: the endpoint does not support this message (not by me)");
    EXPECT_EQ(read(transport), TRANSPORT_UNSUPPORTED);
    EXPECT_EQ(peer.connections(REQUESTS), 1U) << "the connection was in step and could have been kept";
}

TEST_F(Reply, SaysThatTheRequestDidNotParse) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply;
        reply.set_kind(REPLY);
        reply.set_correlation(frame.correlation());
        reply.set_status(UNREADABLE);
        reply.set_reason("no role");
        connection.send(reply);
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_UNREADABLE_REQUEST);
    EXPECT_EQ(lastTransportFailure(), "ConfigSrvc: the endpoint could not read the message (no role)");
    EXPECT_EQ(read(transport), TRANSPORT_UNREADABLE_REQUEST);
    EXPECT_EQ(peer.connections(REQUESTS), 1U) << "the connection was in step and could have been kept";
}

TEST_F(Reply, WithAnUnknownStatusIsNeverTakenForSuccess) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply = ScriptedPeer::replyTo(frame, "hello");
        reply.clear_status();
        std::string bytes = reply.SerializeAsString() + std::string("\x28\x63");  // status 99
        connection.sendBytes(std::string(1, static_cast<char>(bytes.size())) + bytes);
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_PROTOCOL_ERROR);
    EXPECT_THAT(lastTransportFailure(), EndsWith("(the reply has an unknown status)"));
}

TEST_F(Reply, WithoutAStatusIsASuccess) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply = ScriptedPeer::replyTo(frame, "hello");
        reply.clear_status();
        connection.send(reply);
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

TEST_F(Reply, MayHaveFieldsOfALaterVersionBesideItsStatus) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        const std::string later("\xF8\x07\x01");  // field 127
        const std::string bytes = ScriptedPeer::replyTo(frame, "hello").SerializeAsString() + later;
        connection.sendBytes(std::string(1, static_cast<char>(bytes.size())) + bytes);
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

TEST_F(Reply, ThatDoesNotParseClearsTheResponse) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply = ScriptedPeer::replyTo(frame, "hello");
        reply.set_payload("\xFF\xFF\xFF");
        connection.send(reply);
    });
    UnixTransport transport(options());
    ConfigIF::ReadReq request;
    ConfigIF::ReadRsp response;
    response.add_value("old");
    EXPECT_EQ(transport.sendWaitResponse(request, &response, "ConfigSrvc"), TRANSPORT_UNREADABLE_REPLY);
    EXPECT_EQ(response.value_size(), 0);
    EXPECT_EQ(lastTransportFailure(),
              "ConfigSrvc: the reply cannot be read (the payload is not a valid ConfigIF.ReadRsp)");
    peer.onRequest(&ScriptedPeer::answer);
    EXPECT_EQ(read(transport), TRANSPORT_OK);
    EXPECT_EQ(peer.connections(REQUESTS), 1U) << "the connection was in step and could have been kept";
}

TEST_F(Reply, OfAnotherTypeIsNotTaken) {
    UnixTransport transport(options());
    const ConfigIF::ReadReq request;
    ConfigIF::WriteRsp response;
    EXPECT_EQ(transport.sendWaitResponse(request, &response, "ConfigSrvc"), TRANSPORT_UNREADABLE_REPLY);
    EXPECT_THAT(lastTransportFailure(), EndsWith("(received ConfigIF.ReadRsp instead of ConfigIF.WriteRsp)"));
}

TEST_F(Reply, OfATypeThatNobodyKnowsIsNotTaken) {
    peer.onRequest([](ScriptedPeer::Connection& connection, const Frame& frame) {
        Frame reply = ScriptedPeer::replyTo(frame, "hello");
        reply.set_message_id(127);
        connection.send(reply);
    });
    UnixTransport transport(options());
    EXPECT_EQ(read(transport), TRANSPORT_UNREADABLE_REPLY);
    EXPECT_THAT(lastTransportFailure(), EndsWith("(received message 127 instead of ConfigIF.ReadRsp)"));
}

TEST_F(Reply, MayBeDiscarded) {
    UnixTransport transport(options());
    EXPECT_EQ(transport.sendWaitResponse(ConfigIF::ReadReq(), nullptr, "ConfigSrvc"), TRANSPORT_OK);
}

}  // namespace
