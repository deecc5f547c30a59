// What the library set up with the transport of the process-wide managers is set up with every later kit, too.
#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "AttachedTransport.h"
#include "FreshProcess.h"
#include "HandlerTable.h"
#include "KitTransport.h"
#include "TransportStatus.h"

namespace AppConfigTest {
namespace {

using Support::inFreshProcess;
using testing::ElementsAre;

constexpr std::uint32_t id = 0x1A0143;

/// A transport without connections, whose messages the test hands to the tables.
class Loop : public PbUtility::PbUtils {
public:
    int sendWaitResponse(const google::protobuf::MessageLite&, google::protobuf::MessageLite*,
                         const std::string&) override {
        return PbUtility::TRANSPORT_NO_SUCH_ENDPOINT;
    }
    int send(const google::protobuf::MessageLite&, const std::string&, void*) override {
        return PbUtility::TRANSPORT_NO_SUCH_ENDPOINT;
    }
    int addRemoteEndpoint(const std::string& endpoint, int channel) override {
        table.nameEndpoint(endpoint);
        endpoints.push_back(endpoint + "/" + std::to_string(channel));
        return 0;
    }
    int addHandlers(const MSG_Callback* rows) override {
        if (rows == nullptr) return PbUtility::TRANSPORT_BAD_ARGUMENT;
        table.add(rows);
        if (!AppConfigHost::isTerminator(*rows)) ++tables;
        return 0;
    }
    std::string localEndpoint() const override { return "loop"; }

    void deliver(const std::string& endpoint) const {
        const std::unique_ptr<MSG_Message, void (*)(MSG_Message*)> message(MSG_Create(id, "", 0, "loop", 0),
                                                                           MSG_Destroy);
        table.dispatch(endpoint, message.get());
    }

    AppConfigHost::HandlerTable table;
    std::vector<std::string> endpoints;
    int tables = 0;
};

/// A row that writes down its name.
struct Mark {
    std::vector<std::string>& reached;
    std::string name;

    void addTo(PbUtility::PbUtils& transport) {
        const MSG_Callback rows[] = {{&Mark::note, this, id, id, 0}, {}};
        EXPECT_EQ(transport.addHandlers(rows), 0);
    }
    static void note(void* context, const MSG_Message*) {
        const auto* self = static_cast<const Mark*>(context);
        self->reached.push_back(self->name);
    }
};

struct Bench {
    AttachedTransport& attached = AttachedTransport::instance();
    std::vector<std::string> reached;
    Mark zero{reached, "zero"};
    Mark five{reached, "five"};
    Mark all{reached, "all"};
    Loop loop;
    std::shared_ptr<KitTransport> kit = std::make_shared<KitTransport>(loop);

    /// \return what a message from \p endpoint reaches.
    std::vector<std::string> from(const std::string& endpoint) {
        reached.clear();
        loop.deliver(endpoint);
        return reached;
    }

    void setUp() {
        attached.addRemoteEndpoint("ConfigSrvc", 7);
        zero.addTo(attached);
        attached.addRemoteEndpoint("five/ConfigSrvc", -1);
        five.addTo(attached);
    }
};

TEST(AttachedTransport, TellsALaterKitWhichTableBelongsToWhichEndpoint) {
    inFreshProcess([] {
        Bench bench;
        bench.setUp();
        bench.all.addTo(bench.attached);

        bench.attached.attach(bench.kit);

        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero", "all"));
        EXPECT_THAT(bench.from("five/ConfigSrvc"), ElementsAre("five", "all"));
        EXPECT_THAT(bench.loop.endpoints, testing::Contains("ConfigSrvc/7"));
    });
}

TEST(AttachedTransport, TellsTheAttachedKitAtOnce) {
    inFreshProcess([] {
        Bench bench;
        bench.attached.attach(bench.kit);

        bench.setUp();

        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero"));
        EXPECT_THAT(bench.from("five/ConfigSrvc"), ElementsAre("five"));
    });
}

TEST(AttachedTransport, GivesATableThatFollowedNoEndpointEverything) {
    inFreshProcess([] {
        Bench bench;
        bench.all.addTo(bench.attached);
        bench.attached.addRemoteEndpoint("ConfigSrvc", -1);

        bench.attached.attach(bench.kit);
        bench.five.addTo(*bench.kit);

        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("all", "five"));
    });
}

TEST(AttachedTransport, KeepsATableOnceHoweverOftenItIsAdded) {
    inFreshProcess([] {
        Bench bench;
        for (int turn = 0; turn < 3; ++turn) bench.setUp();

        bench.attached.attach(bench.kit);

        EXPECT_EQ(bench.loop.tables, 2);
        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero"));
        bench.attached.attach(bench.kit);
        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero"));
    });
}

TEST(AttachedTransport, RefusesANullTableAndKeepsWhatWasNamed) {
    inFreshProcess([] {
        Bench bench;
        EXPECT_EQ(bench.attached.addHandlers(nullptr), PbUtility::TRANSPORT_BAD_ARGUMENT);
        bench.attached.attach(bench.kit);
        EXPECT_EQ(bench.attached.addHandlers(nullptr), PbUtility::TRANSPORT_BAD_ARGUMENT);

        bench.attached.addRemoteEndpoint("ConfigSrvc", -1);
        EXPECT_EQ(bench.attached.addHandlers(nullptr), PbUtility::TRANSPORT_BAD_ARGUMENT);
        bench.zero.addTo(bench.attached);
        bench.attached.addRemoteEndpoint("five/ConfigSrvc", -1);
        bench.five.addTo(bench.attached);

        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero"));
    });
}

TEST(KitTransport, RefusesANullTable) {
    Loop loop;
    KitTransport kit(loop);
    EXPECT_EQ(kit.addHandlers(nullptr), PbUtility::TRANSPORT_BAD_ARGUMENT);
}

TEST(KitTransport, CallsARowOnceHoweverOftenItIsAdded) {
    std::vector<std::string> reached;
    Mark one{reached, "one"};
    Mark two{reached, "two"};
    Loop loop;
    KitTransport kit(loop);

    one.addTo(kit);
    two.addTo(kit);
    one.addTo(kit);
    loop.deliver("ConfigSrvc");

    EXPECT_THAT(reached, ElementsAre("one", "two"));
}

TEST(KitTransport, PassesOverRowsWithoutAnEntry) {
    std::vector<std::string> reached;
    Mark one{reached, "one"};
    Loop loop;
    KitTransport kit(loop);
    const MSG_Callback rows[] = {{nullptr, &one, id, id, 0}, {&Mark::note, &one, id, id, 0}, {}};

    EXPECT_EQ(kit.addHandlers(rows), 0);
    loop.deliver("ConfigSrvc");

    EXPECT_THAT(reached, ElementsAre("one"));
}

}  // namespace
}  // namespace AppConfigTest
