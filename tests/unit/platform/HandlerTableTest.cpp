// Which rows a message reaches: each once, and those of another endpoint not at all.
#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "NamedEndpoints.h"
#include "StandIn.h"
#include "delivery/HandlerTable.h"

namespace {

using AppConfigHost::HandlerTable;
using AppConfigHost::NamedEndpoints;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t id = 0x1A0143;

class Rows : public testing::Test {
protected:
    /// A context that remembers, in order, which rows a message has reached.
    struct Mark {
        std::vector<std::string>& reached;
        std::string name;
    };

    static void note(void* context, const MSG_Message*) {
        const auto* mark = static_cast<const Mark*>(context);
        mark->reached.push_back(mark->name);
    }
    static void noteLoudly(void* context, const MSG_Message*) {
        const auto* mark = static_cast<const Mark*>(context);
        mark->reached.push_back(mark->name + "!");
    }

    void add(Mark& mark, MSG_Entry entry = &Rows::note, std::uint32_t first = id, std::uint32_t last = id) {
        const MSG_Callback rows[] = {{entry, &mark, first, last, 0}, {}};
        table.add(rows);
    }
    void addFor(const std::string& endpoint, Mark& mark) {
        table.nameEndpoint(endpoint);
        add(mark);
    }

    /// \return which rows a message from \p endpoint reaches.
    std::vector<std::string> from(const std::string& endpoint, std::uint32_t messageId = id, MSG_Address sender = 0) {
        reached.clear();
        const std::unique_ptr<MSG_Message, void (*)(MSG_Message*)> message(MSG_Create(messageId, "", 0, "me", sender),
                                                                           MSG_Destroy);
        EXPECT_TRUE(table.dispatch(endpoint, message.get()));
        return reached;
    }

    HandlerTable table;
    std::vector<std::string> reached;
    Mark one{reached, "one"};
    Mark two{reached, "two"};
    Mark three{reached, "three"};
};

TEST_F(Rows, AreCalledOnceHoweverOftenTheyAreAdded) {
    add(one);
    add(two);
    add(one);
    EXPECT_THAT(from("A"), ElementsAre("one", "two"));
}

TEST_F(Rows, AreCalledOnceWhenATableHoldsThemTwice) {
    const MSG_Callback rows[] = {{&Rows::note, &one, id, id, 0}, {&Rows::note, &one, id, id, 0}, {}};
    table.add(rows);
    EXPECT_THAT(from("A"), ElementsAre("one"));
}

TEST_F(Rows, ThatDifferInEntryContextOrIdsAreDifferent) {
    add(one);
    add(two);
    add(one, &Rows::noteLoudly);
    add(one, &Rows::note, id - 1, id);
    add(one, &Rows::note, id, id + 1);
    EXPECT_THAT(from("A"), ElementsAre("one", "two", "one!", "one", "one"));
}

TEST_F(Rows, OfOneEndpointHearNothingFromAnother) {
    addFor("A", one);
    addFor("node5/A", two);
    EXPECT_THAT(from("A"), ElementsAre("one"));
    EXPECT_THAT(from("node5/A"), ElementsAre("two"));
}

TEST_F(Rows, OfOneEndpointHearNothingFromAnotherAlsoWhereThatOneHasNoRowForTheMessage) {
    addFor("A", one);
    table.nameEndpoint("B");
    add(two, &Rows::note, id + 1, id + 1);
    EXPECT_THAT(from("B"), IsEmpty());
}

TEST_F(Rows, WithoutAnEndpointHearEverything) {
    add(one);
    addFor("A", two);
    EXPECT_THAT(from("A"), ElementsAre("one", "two"));
    EXPECT_THAT(from("B"), ElementsAre("one", "two")) << "no row belongs to it";
}

TEST_F(Rows, AllHearAnEndpointThatNoneBelongsTo) {
    addFor("A", one);
    addFor("B", two);
    EXPECT_THAT(from("C"), ElementsAre("one", "two"));
}

TEST_F(Rows, BelongToAllEndpointsThatWereNamedSinceTheTableBefore) {
    table.nameEndpoint("A");
    addFor("B", one);
    addFor("C", two);
    EXPECT_THAT(from("A"), ElementsAre("one"));
    EXPECT_THAT(from("B"), ElementsAre("one"));
    EXPECT_THAT(from("C"), ElementsAre("two"));
}

TEST_F(Rows, DoNotBelongToWhatAnotherThreadHasNamed) {
    std::thread([this] { table.nameEndpoint("A"); }).join();
    addFor("B", one);
    addFor("A", two);
    EXPECT_THAT(from("A"), ElementsAre("two"));
    EXPECT_THAT(from("B"), ElementsAre("one"));
}

TEST_F(Rows, ThatAreAddedForASecondEndpointHearBoth) {
    addFor("A", one);
    addFor("B", one);
    addFor("B", two);
    EXPECT_THAT(from("A"), ElementsAre("one"));
    EXPECT_THAT(from("B"), ElementsAre("one", "two"));
}

TEST_F(Rows, ThatHeardEverythingGoOnToWhenAnEndpointIsNamedForThem) {
    add(one);
    addFor("A", one);
    addFor("B", two);
    EXPECT_THAT(from("A"), ElementsAre("one"));
    EXPECT_THAT(from("B"), ElementsAre("one", "two"));
}

TEST_F(Rows, OfAnEmptyTableTakeTheNamesWithThemAndOwnNothing) {
    const MSG_Callback empty[] = {{}};
    table.nameEndpoint("A");
    table.add(empty);
    add(one);
    addFor("B", two);
    EXPECT_THAT(from("A"), ElementsAre("one", "two"));
    EXPECT_THAT(from("B"), ElementsAre("one", "two"));
}

TEST_F(Rows, WithoutAnEntryAreLeftOutAndDoNotEndTheTable) {
    const MSG_Callback rows[] = {{nullptr, &one, id, id, 0}, {&Rows::note, &two, id, id, 0}, {}};
    table.add(rows);
    EXPECT_THAT(from("A"), ElementsAre("two"));
}

TEST_F(Rows, ThatAreHandedOverTakeOnlyWhatAsksForAnAnswerFromThere) {
    table.nameEndpoint("A");
    addFor("B", one);
    EXPECT_FALSE(table.handOver(&one, "A")) << "no other row belongs to it";
    EXPECT_THAT(from("A"), IsEmpty());
    EXPECT_THAT(from("B"), ElementsAre("one"));
    EXPECT_THAT(from("A", id, 7), ElementsAre("one"));
    addFor("A", one);
    EXPECT_THAT(from("A"), ElementsAre("one")) << "it was added again";
}

TEST_F(Rows, OfOthersThatStayAreTold) {
    addFor("A", one);
    addFor("B", three);
    EXPECT_FALSE(table.handOver(&one, "A"));
    addFor("A", two);
    EXPECT_TRUE(table.handOver(&one, "A"));
    EXPECT_FALSE(table.handOver(&two, "A")) << "the first has been handed over";
    EXPECT_THAT(from("A"), IsEmpty());
    EXPECT_FALSE(table.handOver(&one, "C"));
}

TEST_F(Rows, AreKnownByWhatTheirContextIsPutInFrontOf) {
    const AppConfigHost::StandIn standIn(&one, &two);
    addFor("A", one);
    EXPECT_FALSE(table.handOver(&two, "A"));
    EXPECT_THAT(from("A"), IsEmpty());
}

TEST(StandIn, LeadsToTheContextAtTheEnd) {
    using AppConfigHost::StandIn;
    int first = 0;
    int second = 0;
    int third = 0;
    {
        const StandIn outer(&first, &second);
        {
            const StandIn inner(&second, &third);
            EXPECT_EQ(StandIn::contextBehind(&first), &third);
            EXPECT_EQ(StandIn::contextBehind(&third), &third);
        }
        EXPECT_EQ(StandIn::contextBehind(&first), &second);
    }
    EXPECT_EQ(StandIn::contextBehind(&first), &first);
    EXPECT_EQ(StandIn::contextBehind(nullptr), nullptr);
}

TEST_F(Rows, ThatAHandlerAddsTakePartFromTheNextMessageOn) {
    struct Adder {
        HandlerTable& table;
        Mark& mark;
        static void enter(void* context, const MSG_Message*) {
            const auto* self = static_cast<const Adder*>(context);
            const MSG_Callback rows[] = {{&Rows::note, &self->mark, id, id, 0}, {}};
            self->table.add(rows);
        }
    } adder{table, one};
    const MSG_Callback rows[] = {{&Adder::enter, &adder, id, id, 0}, {}};
    table.add(rows);
    EXPECT_THAT(from("A"), IsEmpty());
    EXPECT_THAT(from("A"), ElementsAre("one"));
    EXPECT_THAT(from("A"), ElementsAre("one"));
}

TEST_F(Rows, AreAddedOnceByManyThreadsAtATimeWhileMessagesArrive) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int turn = 0; turn < 200; ++turn) {
                add(one);
                addFor("A", two);
            }
        });
    }
    for (int turn = 0; turn < 200; ++turn) from("A");
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(from("A"), testing::UnorderedElementsAre("one", "two"));
}

TEST(HandlerRow, EndsATableWhenAllOfItIsZero) {
    int context = 0;
    const MSG_Entry entry = [](void*, const MSG_Message*) {};
    EXPECT_TRUE(AppConfigHost::isTerminator({nullptr, nullptr, 0, 0, 0}));
    EXPECT_FALSE(AppConfigHost::isTerminator({entry, nullptr, 0, 0, 0}));
    EXPECT_FALSE(AppConfigHost::isTerminator({nullptr, &context, 0, 0, 0}));
    EXPECT_FALSE(AppConfigHost::isTerminator({nullptr, nullptr, 1, 0, 0}));
    EXPECT_FALSE(AppConfigHost::isTerminator({nullptr, nullptr, 0, 1, 0}));
    EXPECT_FALSE(AppConfigHost::isTerminator({nullptr, nullptr, 0, 0, 1}));
}

TEST(HandlerRow, IsTheSameWhateverItsReservedFieldHolds) {
    int one = 0;
    int two = 0;
    const MSG_Entry entry = [](void*, const MSG_Message*) {};
    const MSG_Callback row{entry, &one, 1, 2, 0};
    EXPECT_TRUE(AppConfigHost::isSameRow(row, {entry, &one, 1, 2, 7}));
    EXPECT_FALSE(AppConfigHost::isSameRow(row, {nullptr, &one, 1, 2, 0}));
    EXPECT_FALSE(AppConfigHost::isSameRow(row, {entry, &two, 1, 2, 0}));
    EXPECT_FALSE(AppConfigHost::isSameRow(row, {entry, &one, 2, 2, 0}));
    EXPECT_FALSE(AppConfigHost::isSameRow(row, {entry, &one, 1, 3, 0}));
}

/// Lets so many threads, which exist at one time and so have different ids, name an endpoint each.
void nameFromThreads(NamedEndpoints& named, std::size_t count) {
    std::vector<std::thread> threads(count);
    for (std::thread& thread : threads) thread = std::thread([&named] { named.add("theirs"); });
    for (std::thread& thread : threads) thread.join();
}

TEST(NamedEndpoints, AreTakenOnce) {
    NamedEndpoints named;
    named.add("A");
    named.add("B");
    named.add("A");
    EXPECT_THAT(named.take(), ElementsAre("A", "B"));
    EXPECT_THAT(named.take(), IsEmpty());
}

TEST(NamedEndpoints, AreKeptForAsManyThreadsAsTheLimitSays) {
    NamedEndpoints named;
    named.add("mine");
    nameFromThreads(named, NamedEndpoints::threadLimit - 1);
    EXPECT_THAT(named.take(), ElementsAre("mine"));
}

TEST(NamedEndpoints, AreForgottenForTheThreadThatBeganFirstBeyondTheLimit) {
    NamedEndpoints named;
    named.add("mine");
    nameFromThreads(named, NamedEndpoints::threadLimit);
    EXPECT_THAT(named.take(), IsEmpty());
}

}  // namespace
