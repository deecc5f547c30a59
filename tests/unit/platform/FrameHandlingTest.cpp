// What a peer may not send over the delivery connection ends that connection, and hurts nobody else.
#include <gmock/gmock.h>

#include <ostream>

#include "Handlers.h"
#include "TransportFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace PbUtility;
using testing::ElementsAre;
using testing::HasSubstr;

struct HostileCase {
    const char* name;
    std::string bytes;
    const char* reason;
};

void PrintTo(const HostileCase& row, std::ostream* out) {
    *out << row.name;
}

std::string encoded(Kind kind, std::uint32_t id = 0) {
    Frame frame;
    frame.set_kind(kind);
    if (id != 0) frame.set_message_id(id);
    return encodeFrame(frame);
}

class HostileDelivery : public TransportFixture, public testing::WithParamInterface<HostileCase> {};

TEST_P(HostileDelivery, IsCutWithAReasonAndResumed) {
    ScriptedPeer other(directory.path() + "/Other");
    Journal journal;
    Handler handler([&](const MSG_Message* message) { journal.add(valueOf(message)); });
    testing::internal::CaptureStderr();
    UnixTransport transport(options());
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    transport.addRemoteEndpoint("Other", -1);
    peer.awaitDelivery()->sendBytes(GetParam().bytes);

    peer.awaitDelivery(2)->send(notification("resumed", 1));
    EXPECT_THAT(journal.await(1), ElementsAre("resumed"));
    other.awaitDelivery()->send(notification("unhurt", 1));
    EXPECT_THAT(journal.await(2), ElementsAre("resumed", "unhurt"));
    EXPECT_EQ(other.connections(DELIVERY), 1U);
    transport.end();
    const std::string complaint = testing::internal::GetCapturedStderr();
    EXPECT_THAT(complaint, HasSubstr("ConfigSrvc"));
    EXPECT_THAT(complaint, HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostileDelivery,
    testing::Values(HostileCase{"Garbage", std::string(300, 'G'), "does not parse"},
                    HostileCase{"LengthWithoutEnd", std::string(10, '\xFF'), "not a 32-bit number"},
                    HostileCase{"Oversize", std::string("\xFF\xFF\xFF\x7F", 4), "the limit is"},
                    HostileCase{"SecondWelcome", encoded(WELCOME), "unexpected WELCOME frame"},
                    HostileCase{"UnsolicitedReply", encoded(REPLY, 0x1A0405), "unexpected REPLY frame"},
                    HostileCase{"Request", encoded(REQUEST, 0x1A0404), "unexpected REQUEST frame"},
                    HostileCase{"UnknownNotification", encoded(NOTIFICATION, 0x7F), "unknown message id 127"},
                    HostileCase{"NotificationWithoutId", encoded(NOTIFICATION), "unknown message id 0"},
                    HostileCase{"UnknownAsk", encoded(ASK, 0x7F), "unknown message id 127"},
                    HostileCase{"UnknownKind", std::string("\x02\x08\x63"), "does not parse"},
                    HostileCase{"Refusal", encoded(REFUSED), "refused"}),
    [](const auto& row) { return std::string(row.param.name); });

class HostileHandshake : public TransportFixture {};

TEST_F(HostileHandshake, IsNoReasonToFailLaterOnes) {
    int handshakes = 0;
    peer.onHello([&](ScriptedPeer::Connection& connection, const Frame& frame) {
        if (frame.hello().purpose() == DELIVERY && ++handshakes == 1) {
            connection.sendBytes(encoded(NOTIFICATION, 0x1A0143));
        } else {
            peer.welcome(connection);
        }
    });
    Journal journal;
    Handler handler([&](const MSG_Message* message) { journal.add(valueOf(message)); });
    testing::internal::CaptureStderr();
    UnixTransport transport(options());
    handler.addTo(transport, changed);
    transport.addRemoteEndpoint("ConfigSrvc", -1);
    peer.awaitDelivery(2)->send(notification("x", 1));
    EXPECT_THAT(journal.await(1), ElementsAre("x"));
    transport.end();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("unexpected NOTIFICATION frame"));
}

}  // namespace
