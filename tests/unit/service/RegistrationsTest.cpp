// Hundreds of thousands of registrations, found by name, by client and by user.
#include <gmock/gmock.h>

#include "core/Registrations.h"
#include "support/Peer.h"
#include "wire/RegistrationDigest.h"

namespace ServiceTest {
namespace {

using AppConfigService::ClientKey;
using AppConfigService::mostRegistrations;
using AppConfigService::mostRegistrationsAtOnce;
using AppConfigService::mostRegistrationsOfOthers;
using AppConfigService::mostRegistrationsOfUser;
using AppConfigService::RegistrationRow;
using AppConfigService::Registrations;
using ::testing::ElementsAre;

const ClientKey one{1000, "one"};
const ClientKey two{1000, "two"};
const ClientKey other{2000, "one"};

RegistrationRow row(const ClientKey& client, const std::string& name, const std::string& callback = "c",
                    int type = valueChanged) {
    return {client, "self", name, type, callback, 0};
}

std::vector<std::string> reaching(const Registrations& registrations, const std::string& name) {
    std::vector<std::string> found;
    for (const auto& target : registrations.reaching(name, ConfigIF::CALLBACK_CONFIG_CHANGED)) {
        found.push_back(target.client->endpoint + " " + std::to_string(target.client->uid) + " " + *target.callback);
    }
    return found;
}

TEST(Registrations, AreFoundByWhateverNameReachesAVariable) {
    Registrations registrations;
    for (const char* name : {"a", "a.b", "a.b.c", "a.bc", "b"}) EXPECT_TRUE(registrations.add(row(one, name, name), 1));
    EXPECT_TRUE(registrations.add(row(two, "a.b", "d"), 1));
    EXPECT_TRUE(registrations.add(row(other, "a.b", "d"), 1));
    EXPECT_TRUE(registrations.add(row(one, "a.b", "elsewhere", 5), 1));
    EXPECT_THAT(reaching(registrations, "a.b.c"),
                ElementsAre("one 1000 a", "one 1000 a.b", "one 1000 a.b.c", "two 1000 d", "one 2000 d"));
    EXPECT_THAT(reaching(registrations, "a.bc"), ElementsAre("one 1000 a", "one 1000 a.bc"));
    EXPECT_TRUE(registrations.reaches(one, "a.b.c", ConfigIF::CALLBACK_CONFIG_CHANGED));
    const std::string callback = "a.bc";
    EXPECT_FALSE(registrations.reaches(one, "a.b.c", ConfigIF::CALLBACK_CONFIG_CHANGED, &callback));
    EXPECT_TRUE(registrations.reaches(one, "a.bc", ConfigIF::CALLBACK_CONFIG_CHANGED, &callback));
    EXPECT_FALSE(registrations.reaches(two, "a", ConfigIF::CALLBACK_CONFIG_CHANGED));
}

TEST(Registrations, NameEachCallbackOfAClientOnce) {
    Registrations registrations;
    registrations.add(row(one, "a"), 1);
    registrations.add(row(one, "a.b"), 1);
    RegistrationRow another = row(one, "a.b");
    another.requester = "another";
    registrations.add(another, 1);
    EXPECT_THAT(reaching(registrations, "a.b"), ElementsAre("one 1000 c"));
}

TEST(Registrations, AreCountedByClientAndUserAndSummedUp) {
    Registrations registrations;
    EXPECT_EQ(registrations.digest(one), 0U);
    registrations.add(row(one, "a"), 1);
    registrations.add(row(one, "b"), 1);
    registrations.add(row(two, "a"), 1);
    registrations.add(row(other, "a"), 1);
    EXPECT_FALSE(registrations.add(row(one, "a"), 7)) << "it is there";
    EXPECT_EQ(registrations.find(row(one, "a"))->claim, 7U);
    EXPECT_EQ(registrations.count(one), 2U);
    EXPECT_EQ(registrations.countOfUser(1000), 3U);
    EXPECT_EQ(registrations.countOfUser(2000), 1U);
    EXPECT_EQ(registrations.size(), 4U);
    EXPECT_EQ(registrations.digest(one),
              AppConfigWire::digestOf({"self", "A", 3, "c"}) + AppConfigWire::digestOf({"self", "b", 3, "c"}));
    EXPECT_EQ(registrations.digest(two), registrations.digest(other));
    EXPECT_TRUE(registrations.remove(row(one, "a")));
    EXPECT_FALSE(registrations.remove(row(one, "a")));
    registrations.removeClient(two);
    EXPECT_EQ(registrations.countOfUser(1000), 1U);
    EXPECT_EQ(registrations.digest(one), AppConfigWire::digestOf({"self", "b", 3, "c"}));
    EXPECT_EQ(registrations.size(), 2U);
}

TEST(RegistrationDigest, TellsEachPartFromTheOthers) {
    using AppConfigWire::digestOf;
    const std::uint64_t digest = digestOf({"a", "b", 3, "c"});
    EXPECT_EQ(digest, digestOf({"a", "B", 3, "c"})) << "names are compared in small letters";
    EXPECT_NE(digest, digestOf({"A", "b", 3, "c"}));
    EXPECT_NE(digest, digestOf({"a", "b", 5, "c"}));
    EXPECT_NE(digest, digestOf({"ab", "", 3, "c"}));
    EXPECT_NE(digest, digestOf({"a", "bc", 3, ""}));
    EXPECT_NE(digestOf({"", "", 0, ""}), 0U) << "one more would not be noticed";
    EXPECT_EQ(digest, 0x1759CDE0E3D1D849U) << "both ends must agree on it, whatever they were built from";
}

/// Registers \p count names for \p peer, as a transport does. \return how many are refused.
std::size_t registerMany(Peer& peer, std::size_t count, const std::string& prefix) {
    std::size_t refused = 0;
    std::vector<AppConfigWire::Registration> rows;
    for (std::size_t i = 0; i < count; ++i) {
        rows.push_back(registration(prefix + std::to_string(i), valueChanged));
        if (rows.size() < mostRegistrationsAtOnce && i + 1 < count) continue;
        refused += static_cast<std::size_t>(peer.sendRegistrations(rows).refusal_size());
        rows.clear();
    }
    return refused;
}

TEST(Registrations, ThatAreUnknownAreWithdrawnWithoutTheStore) {
    CoreBench bench;
    Peer peer(bench, "p");
    bench.store.failWith("disk full");
    EXPECT_EQ(peer.unregister("display", valueChanged), CommonIF::ERROR_NONE);
    bench.store.failWith("");
    peer.registerFor("display", valueChanged);
    bench.store.failWith("disk full");
    EXPECT_EQ(peer.unregister("display", valueChanged), CommonIF::ERROR_STORAGE);
}

TEST(Registrations, AreLimitedInNumberPerClient) {
    CoreBench bench;
    Peer peer(bench, "p", otherUid);
    EXPECT_EQ(registerMany(peer, mostRegistrations - 1, "n"), 0U);
    EXPECT_EQ(peer.registerFor("last", valueChanged), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.registerFor("one.more", valueChanged), CommonIF::ERROR_LIMIT);
    EXPECT_EQ(peer.registerFor("n0", valueChanged), CommonIF::ERROR_NONE) << "that one it has already";
    EXPECT_EQ(registerMany(peer, 3, "further"), 3U);
    EXPECT_EQ(peer.unregister("last", valueChanged), CommonIF::ERROR_NONE);
    EXPECT_EQ(registerMany(peer, 3, "further"), 2U);
}

TEST(Registrations, AreLimitedInNumberPerUserAndInAllButForRootAndTheServicesOwnUser) {
    using AppConfigService::checkRoom;
    using AppConfigService::RegistrationCounts;
    const auto message = [](const RegistrationCounts& counts) { return checkRoom(counts, 1).error().reason; };
    RegistrationCounts counts;
    counts.isOther = true;
    EXPECT_TRUE(checkRoom(counts, mostRegistrations));
    EXPECT_FALSE(checkRoom(counts, mostRegistrations + 1));
    counts.user = counts.others = mostRegistrationsOfUser;
    EXPECT_EQ(message(counts), "its user already has 400000 registrations");
    counts.user = 5;
    EXPECT_TRUE(checkRoom(counts, 1));
    counts.others = mostRegistrationsOfOthers;
    EXPECT_EQ(message(counts), "all users together already have 800000 registrations");
    EXPECT_EQ(checkRoom(counts, 1).error().code, CommonIF::ERROR_LIMIT);
    counts.isOther = false;
    EXPECT_TRUE(checkRoom(counts, 1));
}

}  // namespace
}  // namespace ServiceTest
