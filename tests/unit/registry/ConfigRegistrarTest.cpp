#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "AppConfig/ConfigRegistrar.h"
#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/ProviderConfigHandler.h"

namespace {

using Consumers = std::list<ConsumerConfigHandler*>;
using Providers = std::list<ProviderConfigHandler*>;

constexpr auto changed = ConfigRegistrar::CONFIG_CHANGED;

ConfigVar var(const std::string& node, const std::string& attribute) {
    return ConfigVar(0, node, 0, attribute, 0);
}

class Registrar : public ::testing::Test {
protected:
    ConfigRegistrar registrar;
    ConsumerConfigHandler a, b, c, d;
    ProviderConfigHandler p, q;
};

using ConfigRegistrarTest = Registrar;

TEST(ConfigRegistrar, CallbackKindsHaveFixedNumbers) {
    EXPECT_EQ(ConfigRegistrar::CONFIG_CHANGED, 0);
    EXPECT_EQ(ConfigRegistrar::ATTRIBUTE_CHANGED, 1);
    EXPECT_EQ(ConfigRegistrar::OPTIONS_CHANGED, 2);
    EXPECT_EQ(ConfigRegistrar::SUBMIT, 3);
    EXPECT_EQ(ConfigRegistrar::ACCESS_LEVELS_CHANGED, 4);
    EXPECT_EQ(sizeof(ConfigRegistrar::ConsumerCallbackType), 4U);
}

TEST(ConfigRegistrar, LookupOrderIsNodeThenAttributeAsBytes) {
    const CfgHandlerLookup before;

    EXPECT_TRUE(before(var("a", "z"), var("b", "a")));
    EXPECT_TRUE(before(var("a", "a"), var("a", "b")));
    EXPECT_TRUE(before(var("a", ""), var("a", "a")));
    EXPECT_TRUE(before(var("a", "x"), var("ab", "")));
    EXPECT_TRUE(before(var("z", ""), var("\xC3\xA4", "")));
    EXPECT_FALSE(before(var("b", "a"), var("a", "z")));
    EXPECT_FALSE(before(ConfigVar(1, "a", 2, "b", 3), ConfigVar(4, "a", 5, "b", 6)));
    EXPECT_FALSE(before(ConfigVar(4, "a", 5, "b", 6), ConfigVar(1, "a", 2, "b", 3)));
}

TEST_F(ConfigRegistrarTest, FindsNothingAtFirst) {
    EXPECT_TRUE(registrar.getHandlers("display", "brightness", changed).empty());
    EXPECT_TRUE(registrar.getProviderHandlers("display", "brightness").empty());
    EXPECT_FALSE(registrar.isHandlerRegistered(var("display", "brightness"), changed));
    EXPECT_FALSE(registrar.isProviderHandlerRegistered(var("display", "brightness")));
}

TEST_F(ConfigRegistrarTest, AHandlerIsFoundUnderItsKindOnly) {
    registrar.registerHandler(var("display", "brightness"), &a, changed);

    EXPECT_EQ(registrar.getHandlers("display", "brightness", changed), Consumers{&a});
    for (int kind = 1; kind <= 4; ++kind) {
        const auto type = static_cast<ConfigRegistrar::ConsumerCallbackType>(kind);
        EXPECT_TRUE(registrar.getHandlers("display", "brightness", type).empty()) << "kind " << kind;
    }
    EXPECT_TRUE(registrar.getProviderHandlers("display", "brightness").empty());
}

TEST_F(ConfigRegistrarTest, AKindOutsideItsEnumIsATableLikeAnyOther) {
    const auto odd = static_cast<ConfigRegistrar::ConsumerCallbackType>(9);

    registrar.registerHandler(var("a", "b"), &a, odd);

    EXPECT_EQ(registrar.getHandlers("a", "b", odd), Consumers{&a});
    EXPECT_TRUE(registrar.getHandlers("a", "b", changed).empty());
}

TEST_F(ConfigRegistrarTest, TheSameHandlerTwiceIsReturnedTwiceAndRemovedAtOnce) {
    registrar.registerHandler(var("a", "b"), &a, changed);
    registrar.registerHandler(var("a", "b"), &b, changed);
    registrar.registerHandler(var("a", "b"), &a, changed);
    EXPECT_EQ(registrar.getHandlers("a", "b", changed), (Consumers{&a, &b, &a}));

    EXPECT_TRUE(registrar.unregisterHandler(var("a", "b"), &a, changed));

    EXPECT_EQ(registrar.getHandlers("a", "b", changed), Consumers{&b});
}

TEST_F(ConfigRegistrarTest, NamespaceAndInstancesDoNotNarrowARegistration) {
    registrar.registerHandler(ConfigVar(3, "a", 2, "b", 1), &a, changed);
    registrar.registerHandler(ConfigVar(0, "a", 0, "b", 0), &b, changed);

    EXPECT_EQ(registrar.getHandlers("a", "b", changed), (Consumers{&a, &b}));
    EXPECT_TRUE(registrar.isHandlerRegistered(ConfigVar(7, "a", 7, "b", 7), changed));
}

TEST_F(ConfigRegistrarTest, AWildcardCoversTheNodesAttributesAndTheNodesBelow) {
    registrar.registerHandler(var("display", ""), &a, changed);

    EXPECT_EQ(registrar.getHandlers("display", "brightness", changed), Consumers{&a});
    EXPECT_EQ(registrar.getHandlers("display", "", changed), Consumers{&a});
    EXPECT_EQ(registrar.getHandlers("display.panel", "mode", changed), Consumers{&a});
    EXPECT_EQ(registrar.getHandlers("display.panel.left", "mode", changed), Consumers{&a});
    EXPECT_TRUE(registrar.getHandlers("displays", "mode", changed).empty());
    EXPECT_TRUE(registrar.getHandlers("displays.panel", "mode", changed).empty());
    EXPECT_TRUE(registrar.getHandlers("dis", "mode", changed).empty());
}

TEST_F(ConfigRegistrarTest, ANodePrefixWithoutADotBoundaryDoesNotMatch) {
    registrar.registerHandler(var("disp", ""), &a, changed);

    EXPECT_TRUE(registrar.getHandlers("display", "brightness", changed).empty());
    EXPECT_EQ(registrar.getHandlers("disp.lay", "brightness", changed), Consumers{&a});
}

TEST_F(ConfigRegistrarTest, ANodeThatDiffersInItsFirstOrLastCharacterDoesNotMatch) {
    registrar.registerHandler(var("audio", ""), &a, changed);

    EXPECT_TRUE(registrar.getHandlers("rudio.left", "level", changed).empty());
    EXPECT_TRUE(registrar.getHandlers("audit", "level", changed).empty());
    EXPECT_TRUE(registrar.getHandlers("audit.left", "level", changed).empty());
    EXPECT_TRUE(registrar.getHandlers("rudio", "level", changed).empty());
}

TEST_F(ConfigRegistrarTest, AKeyWithAnAttributeIsNoWildcard) {
    registrar.registerHandler(var("display", "panel"), &a, changed);

    EXPECT_TRUE(registrar.getHandlers("display.panel", "mode", changed).empty());
    EXPECT_TRUE(registrar.getHandlers("display", "", changed).empty());
}

TEST_F(ConfigRegistrarTest, TheExactTestComparesFullyQualifiedNames) {
    registrar.registerHandler(var("a", "b.c"), &a, changed);

    EXPECT_EQ(registrar.getHandlers("a.b", "c", changed), Consumers{&a});
    EXPECT_EQ(registrar.getHandlers("a.b.c", "", changed), Consumers{&a});
    registrar.registerHandler(var("d.e", ""), &b, changed);
    EXPECT_EQ(registrar.getHandlers("d", "e", changed), Consumers{&b}) << "no wildcard reaches above its node";
}

TEST_F(ConfigRegistrarTest, AnEmptyNodeCoversOnlyItselfAndWhatBeginsWithADot) {
    registrar.registerHandler(var("", ""), &a, changed);

    EXPECT_EQ(registrar.getHandlers("", "x", changed), Consumers{&a});
    EXPECT_EQ(registrar.getHandlers(".y", "x", changed), Consumers{&a});
    EXPECT_TRUE(registrar.getHandlers("y", "x", changed).empty());
}

TEST_F(ConfigRegistrarTest, ExactMatchesComeBeforeWildcardsEachInKeyOrder) {
    registrar.registerHandler(var("a", ""), &a, changed);
    registrar.registerHandler(var("a.b", ""), &b, changed);
    registrar.registerHandler(var("a.b", "c"), &c, changed);
    registrar.registerHandler(var("a", "b.c"), &d, changed);

    EXPECT_EQ(registrar.getHandlers("a.b", "c", changed), (Consumers{&d, &c, &a, &b}));
}

TEST_F(ConfigRegistrarTest, AHandlerRegisteredExactlyAndByWildcardIsReturnedOncePerRegistration) {
    registrar.registerHandler(var("a", ""), &a, changed);
    registrar.registerHandler(var("a", "b"), &a, changed);

    EXPECT_EQ(registrar.getHandlers("a", "b", changed), (Consumers{&a, &a}));
}

TEST_F(ConfigRegistrarTest, NamesAreLoweredAtRegistrationAndLookup) {
    registrar.registerHandler(var("Display", "Brightness"), &a, changed);

    EXPECT_EQ(registrar.getHandlers("display", "brightness", changed), Consumers{&a});
    EXPECT_EQ(registrar.getHandlers("DISPLAY", "BRIGHTNESS", changed), Consumers{&a});
}

TEST_F(ConfigRegistrarTest, TheWildcardTestIgnoresCaseWhereANameWasNotLowered) {
    ConfigVar raw;
    raw.m_node = "Display.Panel";
    raw.m_attribute = "mode";
    registrar.registerHandler(var("display", ""), &a, changed);

    EXPECT_TRUE(registrar.isHandlerRegistered(raw, changed));
}

TEST_F(ConfigRegistrarTest, TheWildcardTestIgnoresTheCaseOfAsciiLettersAlone) {
    const auto covers = [&](const std::string& node, const std::string& looked) {
        ConfigRegistrar fresh;
        fresh.registerHandler(var(node, ""), &a, changed);
        return !fresh.getHandlers(looked, "x", changed).empty();
    };

    EXPECT_TRUE(covers("k\xC3\xA4se", "k\xC3\xA4se.alt"));
    EXPECT_FALSE(covers("k\xC4se", "k\xE4se")) << "one letter to some locales, two bytes to us";
    EXPECT_FALSE(covers("a[", "a{")) << "a capital's neighbours are no letters";
    EXPECT_FALSE(covers("a@", "a`"));
}

TEST_F(ConfigRegistrarTest, TheWildcardTestLooksBeyondAZeroByte) {
    const std::string first("no\0de", 5);
    const std::string second("no\0da", 5);
    registrar.registerHandler(var(first, ""), &a, changed);

    EXPECT_EQ(registrar.getHandlers(first, "x", changed), Consumers{&a});
    EXPECT_TRUE(registrar.getHandlers(second, "x", changed).empty());
}

TEST_F(ConfigRegistrarTest, SaysWhetherAHandlerIsStillAmongThoseToCall) {
    registrar.registerHandler(var("display", ""), &a, changed);
    registrar.registerHandler(var("display", "brightness"), &b, changed);
    registrar.registerHandler(var("display", ""), &p);

    EXPECT_TRUE(registrar.isStillRegistered("Display.Panel", "width", &a, changed));
    EXPECT_TRUE(registrar.isStillRegistered("display", "brightness", &b, changed));
    EXPECT_FALSE(registrar.isStillRegistered("display", "contrast", &b, changed));
    EXPECT_FALSE(registrar.isStillRegistered("display", "brightness", &b, ConfigRegistrar::SUBMIT));
    EXPECT_FALSE(registrar.isStillRegistered("displays", "brightness", &a, changed));
    EXPECT_TRUE(registrar.isStillRegistered("display", "brightness", &p));
    EXPECT_FALSE(registrar.isStillRegistered("display", "brightness", &q));
}

TEST_F(ConfigRegistrarTest, CountsTheRemovalsThatFoundSomething) {
    registrar.registerHandler(var("display", ""), &a, changed);
    registrar.registerHandler(var("display", ""), &p);
    EXPECT_EQ(registrar.removals(), 0U);

    registrar.unregisterHandler(var("display", ""), &b, changed);
    EXPECT_EQ(registrar.removals(), 0U);
    registrar.unregisterHandler(var("display", ""), &a, changed);
    EXPECT_EQ(registrar.removals(), 1U);
    registrar.unregisterHandler(var("display", ""), &p);

    EXPECT_EQ(registrar.removals(), 2U);
}

TEST_F(ConfigRegistrarTest, APlaceholderCountsAsRegisteredButIsNotReturned) {
    registrar.registerHandler(var("a", "b"), nullptr, changed);
    registrar.registerHandler(var("p", "q"), static_cast<ProviderConfigHandler*>(nullptr));

    EXPECT_TRUE(registrar.isHandlerRegistered(var("a", "b"), changed));
    EXPECT_TRUE(registrar.getHandlers("a", "b", changed).empty());
    EXPECT_TRUE(registrar.isProviderHandlerRegistered(var("p", "q")));
    EXPECT_TRUE(registrar.getProviderHandlers("p", "q").empty());
}

TEST_F(ConfigRegistrarTest, APlaceholderIsRemovedLikeAHandler) {
    registrar.registerHandler(var("a", "b"), nullptr, changed);

    EXPECT_TRUE(registrar.unregisterHandler(var("a", "b"), nullptr, changed));

    EXPECT_FALSE(registrar.isHandlerRegistered(var("a", "b"), changed));
}

TEST_F(ConfigRegistrarTest, AnEntryOutlivesItsLastHandlerWithoutBeingFound) {
    registrar.registerHandler(var("a", "b"), &a, changed);
    EXPECT_TRUE(registrar.unregisterHandler(var("a", "b"), &a, changed));

    EXPECT_FALSE(registrar.isHandlerRegistered(var("a", "b"), changed));
    EXPECT_TRUE(registrar.getHandlers("a", "b", changed).empty());
    EXPECT_FALSE(registrar.unregisterHandler(var("a", "b"), &a, changed));
}

TEST_F(ConfigRegistrarTest, UnregisteringWhatWasNeverRegisteredReturnsFalse) {
    registrar.registerHandler(var("a", "b"), &a, changed);

    EXPECT_FALSE(registrar.unregisterHandler(var("a", "b"), &b, changed));
    EXPECT_FALSE(registrar.unregisterHandler(var("a", ""), &a, changed)) << "a wildcard removes only its own entry";
    EXPECT_FALSE(registrar.unregisterHandler(var("x", "y"), &p));
    EXPECT_FALSE(registrar.unregisterHandler(var("a", "b"), &a, ConfigRegistrar::SUBMIT));

    EXPECT_EQ(registrar.getHandlers("a", "b", changed), Consumers{&a});
}

TEST_F(ConfigRegistrarTest, UnregisteringLeavesAnEmptyEntryInTheTable) {
    ConfigRegistrar::Table<ConsumerConfigHandler> table;

    EXPECT_FALSE(registrar.unregisterHandler<ConsumerConfigHandler>(var("a", "b"), &a, table));

    ASSERT_EQ(table.size(), 1U);
    EXPECT_TRUE(table.begin()->second.empty());
}

TEST_F(ConfigRegistrarTest, TheEntryKeepsTheVariableOfItsFirstRegistration) {
    ConfigRegistrar::Table<ConsumerConfigHandler> table;
    table[ConfigVar(3, "a", 2, "b", 1)].push_back(&a);

    EXPECT_TRUE(registrar.unregisterHandler<ConsumerConfigHandler>(ConfigVar(0, "a", 0, "b", 0), &a, table));

    ASSERT_EQ(table.size(), 1U);
    EXPECT_EQ(table.begin()->first, ConfigVar(3, "a", 2, "b", 1));
}

TEST_F(ConfigRegistrarTest, ProvidersFollowTheSameRules) {
    registrar.registerHandler(var("a", ""), &p);
    registrar.registerHandler(var("a", "b"), &q);
    registrar.registerHandler(var("a", "b"), &p);

    EXPECT_EQ(registrar.getProviderHandlers("A", "B"), (Providers{&q, &p, &p}));
    EXPECT_TRUE(registrar.isProviderHandlerRegistered(var("a.x", "y")));
    EXPECT_TRUE(registrar.unregisterHandler(var("a", "b"), &p));
    EXPECT_EQ(registrar.getProviderHandlers("a", "b"), (Providers{&q, &p}));
}

TEST_F(ConfigRegistrarTest, LookupsAndRegistrationsFromManyThreadsAgree) {
    constexpr int rounds = 500;
    std::atomic<bool> done{false};
    std::vector<std::thread> lookups;
    for (int i = 0; i < 3; ++i) {
        lookups.emplace_back([&] {
            while (!done.load()) {
                for (int kind = 0; kind < 8; ++kind) {
                    const auto type = static_cast<ConfigRegistrar::ConsumerCallbackType>(kind);
                    registrar.getHandlers("a.b", "c", type);
                    registrar.isHandlerRegistered(var("a", "b"), type);
                }
                registrar.getProviderHandlers("a", "b");
            }
        });
    }
    std::vector<std::thread> changes;
    for (int i = 0; i < 2; ++i) {
        changes.emplace_back([&, i] {
            for (int round = 0; round < rounds; ++round) {
                const auto type = static_cast<ConfigRegistrar::ConsumerCallbackType>(round % 8);
                const ConfigVar pattern = var("a", std::to_string(round % 5));
                registrar.registerHandler(pattern, &a, type);
                registrar.registerHandler(pattern, &p);
                if (i == 0) registrar.unregisterHandler(pattern, &b, type);
            }
        });
    }
    for (std::thread& thread : changes) thread.join();
    done = true;
    for (std::thread& thread : lookups) thread.join();

    EXPECT_EQ(registrar.getProviderHandlers("a", "0").size(), 2U * rounds / 5);
}

}  // namespace
