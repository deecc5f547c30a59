// A connection for deliveries that is given up for another, because its client stands elsewhere now.
#include <fcntl.h>
#include <gmock/gmock.h>

#include <chrono>
#include <memory>

#include "Connector.h"
#include "Handlers.h"
#include "RegistrationBook.h"
#include "TransportFixture.h"
#include "delivery/Delivery.h"
#include "delivery/HandlerTable.h"
#include "delivery/ResumePoints.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using testing::ElementsAre;
using testing::SizeIs;

class PeerConnector final : public Connector {
public:
    explicit PeerConnector(ScriptedPeer& peer) : m_peer(peer) {}
    Result<> check(const std::string&) const override { return {}; }
    Result<FileDescriptor> connect(const std::string& endpoint, Deadline, Waiter&) override {
        FileDescriptor socket(m_peer.connect(endpoint));
        fcntl(socket.get(), F_SETFL, O_NONBLOCK);
        return socket;
    }

private:
    ScriptedPeer& m_peer;
};

TEST(Renewal, DoesNotWaitForWhatWaitsItselfForAHandlerOfAnotherTransport) {
    Journal heard;
    const std::uint32_t id = ConfigIF::messageId(changed);
    const MSG_Entry hear = [](void* context, const MSG_Message* message) {
        static_cast<Journal*>(context)->add(valueOf(message));
    };
    const MSG_Callback table[] = {{hear, &heard, id, id, 0}, {nullptr, nullptr, 0, 0, 0}};
    ScriptedPeer peer;
    PeerConnector connector(peer);
    PbUtility::TransportOptions options;
    options.firstPause = options.longestPause = std::chrono::hours(1);  // a renewal waits for no pause
    const std::string name = "client";
    ResumePoints resume;
    RegistrationBook book(options);
    HandlerTable handlers;
    EventFlag ended;
    Delivery delivery(connector, resume, book, handlers, options, name, ended, [](const std::string&) {});
    handlers.nameEndpoint("ConfigSrvc");
    handlers.add(table);
    const auto elsewhere = std::make_shared<HandlerActivity>();
    elsewhere->began();
    delivery.deliverAfter(elsewhere);

    ASSERT_TRUE(delivery.add("ConfigSrvc"));
    const auto first = peer.awaitDelivery(1);
    ASSERT_NE(first, nullptr);
    first->send(notification("one", 1));
    first->send(ask(7));
    ASSERT_THAT(peer.await(ANSWER, 1), SizeIs(1)) << "the notification before it has been read and waits";
    delivery.renew("ConfigSrvc");

    const auto second = peer.awaitDelivery(2);
    ASSERT_NE(second, nullptr) << "the handler there may wait for what is asked for here";
    second->send(notification("two", 2));
    second->send(ask(8));
    ASSERT_THAT(peer.await(ANSWER, 2), SizeIs(2));
    EXPECT_THAT(heard.await(0), testing::IsEmpty());
    elsewhere->ended();
    EXPECT_THAT(heard.await(2), ElementsAre("one", "two"));
    ended.set();
    delivery.end();
    peer.stop();
}

}  // namespace
