// What a request says of registrations, and what its answer says.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "MessageIds.h"
#include "RegistrationBook.h"
#include "configservice.pb.h"
#include "wire/RegistrationDigest.h"

namespace {

using namespace AppConfigHost;
using namespace PbUtility;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string service = "ConfigSrvc";
constexpr bool reached = true;
constexpr bool lost = false;

template <typename Request>
Frame frameOf(const Request& request, Kind kind = REQUEST) {
    Frame frame;
    frame.set_kind(kind);
    frame.set_message_id(ConfigIF::messageId(request.GetTypeName()));
    frame.set_payload(request.SerializePartialAsString());
    return frame;
}

template <typename Request>
Request about(const std::string& name) {
    Request request;
    request.set_client_name("self");
    request.set_var_name(name);
    request.set_type(ConfigIF::CALLBACK_CONFIG_CHANGED);
    request.set_callback_name("link");
    return request;
}

Frame registering(const std::string& name, Kind kind = REQUEST) {
    auto request = about<ConfigIF::RegisterClientCallbackReq>(name);
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_20);
    return frameOf(request, kind);
}
Frame unregistering(const std::string& name, Kind kind = REQUEST) {
    return frameOf(about<ConfigIF::UnregisterClientCallbackReq>(name), kind);
}
Frame unregisteringAll(Kind kind = REQUEST) {
    ConfigIF::UnregisterAllClientCallbacksReq request;
    request.set_client_name("self");
    return frameOf(request, kind);
}

Frame saying(std::int64_t error) {
    Frame reply;
    if (error != 0) reply.set_payload(std::string("\x08") + static_cast<char>(error));
    return reply;
}

struct RegistrationBookTest : testing::Test {
    RegistrationBookTest() {
        options.firstRegistrationPause = 1h;
        options.onRegistration = [](const RegistrationReport&) {};
    }

    /// One call from its start to its end. \return what its end said.
    bool call(const Frame& request, bool outcome = reached, const Frame& reply = saying(0),
              const std::string& endpoint = service) {
        RegistrationBook::Call call(book, endpoint, request);
        call.leaves();
        return call.end(outcome, reply);
    }
    std::uint64_t held(const std::string& endpoint = service) {
        Hello hello;
        book.describe(endpoint, hello);
        return hello.registrations();
    }
    void shakeHands() {
        Welcome welcome;
        welcome.set_registrations_known(true);
        book.welcomed(service, welcome);
    }
    /// What there is to tell: "+name", "-name", and "." when that is all.
    std::vector<std::string> told() {
        const std::optional<Frame> frame = book.next(service);
        std::vector<std::string> rows;
        if (!frame) return rows;
        for (const Registration& row : frame->registration()) rows.push_back("+" + row.name());
        for (const Registration& row : frame->withdrawn()) rows.push_back("-" + row.name());
        if (frame->complete()) rows.push_back(".");
        return rows;
    }

    TransportOptions options;
    RegistrationBook book{options};
};

TEST_F(RegistrationBookTest, HoldsWhatWasAnsweredWithSuccess) {
    EXPECT_TRUE(call(registering("a")));
    EXPECT_TRUE(call(registering("b")));
    EXPECT_EQ(held(), 2U);
    EXPECT_EQ(held("Other"), 0U) << "each endpoint has a page of its own";
    EXPECT_TRUE(call(unregistering("a")));
    EXPECT_EQ(held(), 1U);
    shakeHands();
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(RegistrationBookTest, EntersEachPartOfARegistration) {
    ConfigIF::RegisterClientCallbackReq request = about<ConfigIF::RegisterClientCallbackReq>("@AZ[az");
    request.set_client_name("Self");
    request.set_callback_name("Link");
    request.set_type(ConfigIF::CALLBACK_OPTIONS_CHANGED);
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_20);
    shakeHands();
    call(frameOf(request, ONE_WAY));
    const std::optional<Frame> frame = book.next(service);
    ASSERT_TRUE(frame && frame->registration_size() == 1);
    const Registration& row = frame->registration(0);
    EXPECT_EQ(row.requester(), "Self");
    EXPECT_EQ(row.role(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(row.name(), "@az[az") << "only capitals of ASCII are made small";
    EXPECT_EQ(row.type(), ConfigIF::CALLBACK_OPTIONS_CHANGED);
    EXPECT_EQ(row.callback(), "Link");
}

TEST_F(RegistrationBookTest, TellsWhatNobodyAnswered) {
    shakeHands();
    EXPECT_TRUE(call(registering("a", ONE_WAY)));
    EXPECT_TRUE(call(registering("b"), lost));
    EXPECT_TRUE(call(unregistering("c", ONE_WAY)));
    EXPECT_THAT(told(), ElementsAre("+a", "+b", "-c"));
    EXPECT_EQ(held(), 0U);
}

TEST_F(RegistrationBookTest, ReportsARefusalWithItsErrorAndEndpoint) {
    EXPECT_TRUE(call(registering("a"), reached, saying(7)));
    EXPECT_EQ(held(), 0U);
    const RegistrationBook::Condition condition = book.condition(service);
    EXPECT_EQ(condition.refused, 1U);
    ASSERT_EQ(condition.reports.size(), 1U);
    EXPECT_EQ(condition.reports[0].endpoint, service);
    EXPECT_EQ(condition.reports[0].name, "a");
    EXPECT_EQ(condition.reports[0].type, ConfigIF::CALLBACK_CONFIG_CHANGED);
    EXPECT_EQ(condition.reports[0].error, 7);
    EXPECT_THAT(book.condition(service).reports, IsEmpty());
    EXPECT_EQ(book.condition("Other").refused, 0U);
}

TEST_F(RegistrationBookTest, TakesAnAnswerThatDoesNotParseForARefusal) {
    Frame garbage;
    garbage.set_payload("\xFF");
    EXPECT_TRUE(call(registering("a"), reached, garbage));
    const RegistrationBook::Condition condition = book.condition(service);
    ASSERT_EQ(condition.reports.size(), 1U);
    EXPECT_EQ(condition.reports[0].error, -1);
}

TEST_F(RegistrationBookTest, TellsAWithdrawalThatWasRefused) {
    call(registering("a"));
    shakeHands();
    EXPECT_TRUE(call(unregistering("a"), reached, saying(7)));
    EXPECT_THAT(told(), ElementsAre("-a"));
}

TEST_F(RegistrationBookTest, EndsAllOfARequesterWithOneMessage) {
    for (const Kind kind : {REQUEST, ONE_WAY}) {
        call(registering("a"));
        call(registering("b"));
        EXPECT_FALSE(call(unregisteringAll(kind))) << "there is nothing left to tell";
        EXPECT_EQ(held(), 0U);
        shakeHands();
        EXPECT_THAT(told(), IsEmpty());
    }
}

TEST_F(RegistrationBookTest, TellsEverythingWhenNobodyKnowsWhetherAllWereEnded) {
    shakeHands();
    EXPECT_TRUE(call(unregisteringAll(), lost));
    EXPECT_THAT(told(), ElementsAre("."));
    book.lost(service);
    shakeHands();
    EXPECT_TRUE(call(unregisteringAll(), reached, saying(7)));
    EXPECT_THAT(told(), ElementsAre("."));
}

TEST_F(RegistrationBookTest, TellsAgainWhatAFormerServiceAnswered) {
    const Frame request = registering("a");
    RegistrationBook::Call asking(book, service, request);
    EXPECT_EQ(held(), 0U) << "the HELLO before it";
    asking.leaves();
    EXPECT_EQ(held(), 0U) << "another HELLO, perhaps to a service that has never heard of it";
    const Frame second = registering("b");
    RegistrationBook::Call late(book, service, second);
    late.leaves();
    shakeHands();
    EXPECT_TRUE(asking.end(reached, saying(0)));
    EXPECT_TRUE(late.end(reached, saying(0)));
    EXPECT_EQ(held(), 1U);
    EXPECT_THAT(told(), ElementsAre("+a"));
}

TEST_F(RegistrationBookTest, HasNothingToDoWithOtherMessages) {
    for (Frame request : {registering("a"), unregistering("a"), unregisteringAll()}) {
        const std::uint32_t id = request.message_id();
        for (const std::uint32_t other : {id - 1, id + 1, 0U, 0xFFFFFFFFU}) {
            request.set_message_id(other);
            EXPECT_FALSE(call(request, lost)) << other;
        }
    }
    shakeHands();
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(RegistrationBookTest, HasNothingToDoWithWhatNamesNoTypeOrCannotBeRead) {
    auto typeless = about<ConfigIF::RegisterClientCallbackReq>("a");
    typeless.clear_type();
    auto alsoTypeless = about<ConfigIF::UnregisterClientCallbackReq>("a");
    alsoTypeless.clear_type();
    EXPECT_FALSE(call(frameOf(typeless)));
    EXPECT_FALSE(call(frameOf(alsoTypeless)));
    call(registering("a"));
    for (Frame garbled : {registering("b"), unregistering("a"), unregisteringAll()}) {
        garbled.set_payload(garbled.payload() + "\xFF");
        call(garbled);
    }
    EXPECT_EQ(held(), 1U);
    shakeHands();
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(RegistrationBookTest, SaysWhenRefusedOnesAreTriedAgain) {
    shakeHands();
    EXPECT_EQ(book.nextTry(service).time(), Deadline::never().time());
    call(registering("a"), reached, saying(7));
    EXPECT_NE(book.nextTry(service).time(), Deadline::never().time());
    EXPECT_EQ(book.nextTry("Other").time(), Deadline::never().time());
}

struct HandedOverRegistrations : RegistrationBookTest {
    /// Gives up what is registered here. \return the names.
    std::vector<std::string> handOver() {
        std::vector<std::string> names;
        for (const RegistrationPage::Held& row : book.handOver(service)) names.push_back(row.key.name);
        return names;
    }
    bool isLate(const Frame& request) { return RegistrationBook::Call(book, service, request).isLate(); }
    void answerAll() {
        Frame answer;
        answer.set_correlation(++m_frames);
        EXPECT_TRUE(book.answered(service, answer));
    }

private:
    std::uint64_t m_frames = 0;
};

TEST_F(HandedOverRegistrations, AreAllThatAreHeldWithTheirRoles) {
    call(registering("a"));
    call(registering("b"), lost);
    call(registering("c"), reached, saying(7));
    call(registering("d"));
    call(unregistering("d"), lost);
    EXPECT_EQ(book.held(service).size(), 3U);
    const std::vector<RegistrationPage::Held> rows = book.held(service);
    EXPECT_EQ(rows[0].key.name, "a");
    EXPECT_EQ(rows[0].role, CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_FALSE(isLate(registering("e"))) << "nothing has been handed over yet";
    EXPECT_THAT(handOver(), ElementsAre("a", "b", "c", "e"));
    EXPECT_TRUE(isLate(registering("f")));
    book.reopen(service);
    EXPECT_FALSE(isLate(registering("f")));
    EXPECT_FALSE(book.handOver("Other").size());
}

TEST_F(HandedOverRegistrations, AreWithdrawnUnlessTheEndpointWasReopened) {
    call(registering("a"));
    call(registering("b"), reached, saying(7));
    shakeHands();
    book.withdrawHandedOver(service);
    EXPECT_EQ(held(), 1U) << "nothing was handed over";
    handOver();
    book.reopen(service);
    book.withdrawHandedOver(service);
    EXPECT_EQ(held(), 1U);
    handOver();
    book.withdrawHandedOver(service);
    EXPECT_EQ(held(), 0U);
    EXPECT_EQ(book.condition(service).refused, 0U) << "nobody waits for it here any more";
    EXPECT_FALSE(book.isSettled(service));
    EXPECT_THAT(told(), ElementsAre("-a", "-b"));
    EXPECT_FALSE(book.isSettled(service));
    answerAll();
    EXPECT_TRUE(book.isSettled(service));
}

TEST_F(HandedOverRegistrations, AreToldByWhoAdoptsThemUnderItsOwnName) {
    call(registering("a"));
    RegistrationBook other{options};
    Welcome welcome;
    welcome.set_registrations_known(true);
    other.welcomed(service, welcome);
    other.adopt(service, book.held(service), "elf", "ender");
    const std::optional<Frame> frame = other.next(service);
    ASSERT_TRUE(frame && frame->registration_size() == 1);
    EXPECT_EQ(frame->registration(0).requester(), "sender");
    EXPECT_EQ(frame->registration(0).name(), "a");
    EXPECT_EQ(frame->registration(0).role(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(frame->registration(0).type(), ConfigIF::CALLBACK_CONFIG_CHANGED);
    EXPECT_EQ(frame->registration(0).callback(), "link");
}

TEST_F(HandedOverRegistrations, KeepARequesterThatIsNotNamedAfterTheFormer) {
    call(registering("a"));
    for (const char* from : {"lf-", "sel", "a longer name than self"}) {
        RegistrationBook other{options};
        Welcome welcome;
        welcome.set_registrations_known(true);
        other.welcomed(service, welcome);
        other.adopt(service, book.held(service), from, "new");
        EXPECT_EQ(other.next(service)->registration(0).requester(), "self") << from;
    }
}

TEST_F(HandedOverRegistrations, AreJoinedByALateOneAlthoughAllWereWithdrawnMeanwhile) {
    handOver();
    const Frame late = registering("a");
    RegistrationBook::Call call(book, service, late);
    EXPECT_TRUE(call.isLate());
    book.withdrawHandedOver(service);
    call.end(reached, saying(0));
    RegistrationBook other{options};
    call.repeat(other, "elf", "ender");
    const std::vector<RegistrationPage::Held> rows = other.held(service);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].key.name, "a");
    EXPECT_EQ(*rows[0].key.requester, "sender");
    EXPECT_EQ(rows[0].role, CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_THAT(book.held(service), IsEmpty());
}

TEST_F(HandedOverRegistrations, AreWithdrawnThereWhenALateCallEndsThem) {
    call(registering("a"));
    call(registering("b"));
    RegistrationBook other{options};
    other.adopt(service, book.held(service), "lf", "nder");
    const auto names = [&] {
        std::vector<std::string> result;
        for (const RegistrationPage::Held& row : other.held(service)) result.push_back(row.key.name);
        return result;
    };
    const Frame one = unregistering("a");
    RegistrationBook::Call(book, service, one).repeat(other, "lf", "nder");
    EXPECT_THAT(names(), ElementsAre("b"));
    Frame unreadable = unregisteringAll();
    unreadable.set_payload(unreadable.payload() + "\xFF");
    RegistrationBook::Call(book, service, unreadable).repeat(other, "lf", "nder");
    EXPECT_THAT(names(), ElementsAre("b"));
    const Frame all = unregisteringAll();
    RegistrationBook::Call(book, service, all).repeat(other, "another", "name");
    EXPECT_THAT(names(), ElementsAre("b")) << "that is another requester";
    RegistrationBook::Call(book, service, all).repeat(other, "lf", "nder");
    EXPECT_THAT(names(), IsEmpty());
}

}  // namespace
