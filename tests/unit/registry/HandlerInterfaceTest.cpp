#include <gtest/gtest.h>

#include <cstring>

#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/ProviderConfigHandler.h"

// Applications that were built earlier are called through the slots of their virtual tables, so the order of the slots
// is fixed. These tests call through the slots by number, as such an application's object would be called.

namespace {

using AppConfig::SecurityRole;
using List = std::list<std::string>;

// The platforms' ABI puts two destructors first and passes the object as the first argument; 32-bit ARM has the same.
constexpr std::size_t firstOperation = 2;

template <typename Function>
Function slot(const void* object, std::size_t number) {
    void* const* table = nullptr;
    std::memcpy(&table, object, sizeof(table));
    Function function = nullptr;
    std::memcpy(&function, &table[firstOperation + number], sizeof(function));
    return function;
}

class Consumer : public ConsumerConfigHandler {
public:
    void onConfigChanged(const std::string& node, int, const std::string&, int, const List&,
                         const std::string&) override {
        called = "onConfigChanged " + node;
    }
    void onSubmit(const std::string& node, int, const std::string&, int, int type, const std::string&) override {
        called = "onSubmit " + node + std::to_string(type);
    }
    void onAttributeChanged(const std::string& node, int, const std::string&, int, const std::string&) override {
        called = "onAttributeChanged " + node;
    }
    void onOptionsChanged(const std::string& node, int, const std::string&, int, List options, std::string) override {
        called = "onOptionsChanged " + node + std::to_string(options.size());
    }
    void onAccessLevelsChanged(const std::string& node, int, const std::string&, int, SecurityRole read,
                               SecurityRole write, std::string) override {
        called = "onAccessLevelsChanged " + node + std::to_string(read) + std::to_string(write);
    }
    std::string called;
};

class Provider : public ProviderConfigHandler {
public:
    bool onDynamicValidate(const std::string& node, int, const std::string&, int, const List&, SecurityRole,
                           ConfigResult&) override {
        called = "onDynamicValidate " + node;
        return false;
    }
    bool onChange(const std::string& node, int, const std::string&, int, const List&, SecurityRole,
                  ConfigResult&) override {
        called = "onChange " + node;
        return true;
    }
    std::string called;
};

TEST(HandlerInterface, ConsumerOperationsStandInTheirDeclaredOrder) {
    Consumer consumer;
    ConsumerConfigHandler* const object = &consumer;
    const std::string node = "n";
    const std::string attribute = "a";
    const std::string client = "c";
    const List list{"x", "y"};

    using Changed = void (*)(void*, const std::string&, int, const std::string&, int, const List&, const std::string&);
    slot<Changed>(object, 0)(object, node, 1, attribute, 2, list, client);
    EXPECT_EQ(consumer.called, "onConfigChanged n");

    using Submit = void (*)(void*, const std::string&, int, const std::string&, int, int, const std::string&);
    slot<Submit>(object, 1)(object, node, 1, attribute, 2, 1, client);
    EXPECT_EQ(consumer.called, "onSubmit n1");

    using Attribute = void (*)(void*, const std::string&, int, const std::string&, int, const std::string&);
    slot<Attribute>(object, 2)(object, node, 1, attribute, 2, client);
    EXPECT_EQ(consumer.called, "onAttributeChanged n");

    using Options = void (*)(void*, const std::string&, int, const std::string&, int, List, std::string);
    slot<Options>(object, 3)(object, node, 1, attribute, 2, list, client);
    EXPECT_EQ(consumer.called, "onOptionsChanged n2");

    using Levels =
        void (*)(void*, const std::string&, int, const std::string&, int, SecurityRole, SecurityRole, std::string);
    slot<Levels>(object, 4)(object, node, 1, attribute, 2, AppConfig::SECURITY_ROLE_3, AppConfig::SECURITY_ROLE_4,
                            client);
    EXPECT_EQ(consumer.called, "onAccessLevelsChanged n34");
}

TEST(HandlerInterface, ProviderOperationsStandInTheirDeclaredOrder) {
    Provider provider;
    ProviderConfigHandler* const object = &provider;
    const std::string node = "n";
    const std::string attribute = "a";
    const List list{"x"};
    ConfigResult result;

    using Decide =
        bool (*)(void*, const std::string&, int, const std::string&, int, const List&, SecurityRole, ConfigResult&);
    EXPECT_FALSE(slot<Decide>(object, 0)(object, node, 1, attribute, 2, list, AppConfig::SECURITY_ROLE_1, result));
    EXPECT_EQ(provider.called, "onDynamicValidate n");
    EXPECT_TRUE(slot<Decide>(object, 1)(object, node, 1, attribute, 2, list, AppConfig::SECURITY_ROLE_1, result));
    EXPECT_EQ(provider.called, "onChange n");
}

TEST(HandlerInterface, TheWantFlagsFollowTheVirtualTableInTheirOrder) {
    ConsumerConfigHandler handler;
    const char* const base = reinterpret_cast<const char*>(&handler) + sizeof(void*);

    EXPECT_EQ(reinterpret_cast<const char*>(&handler.m_wantsChange), base);
    EXPECT_EQ(reinterpret_cast<const char*>(&handler.m_wantsSubmit), base + 1);
    EXPECT_EQ(reinterpret_cast<const char*>(&handler.m_wantsAttribute), base + 2);
    EXPECT_EQ(reinterpret_cast<const char*>(&handler.m_wantsOptions), base + 3);
    EXPECT_EQ(reinterpret_cast<const char*>(&handler.m_wantsAccessLevels), base + 4);
}

TEST(HandlerInterface, AHandlerWantsNothingAtFirst) {
    const ConsumerConfigHandler handler;

    EXPECT_FALSE(handler.m_wantsChange);
    EXPECT_FALSE(handler.m_wantsSubmit);
    EXPECT_FALSE(handler.m_wantsAttribute);
    EXPECT_FALSE(handler.m_wantsOptions);
    EXPECT_FALSE(handler.m_wantsAccessLevels);
}

TEST(HandlerInterface, ByDefaultAProviderAcceptsAndAConsumerIgnores) {
    ProviderConfigHandler provider;
    ConsumerConfigHandler consumer;
    ConfigResult result;

    EXPECT_TRUE(provider.onDynamicValidate("n", 0, "a", 0, {"x"}, AppConfig::SECURITY_ROLE_1, result));
    EXPECT_TRUE(provider.onChange("n", 0, "a", 0, {"x"}, AppConfig::SECURITY_ROLE_1, result));
    consumer.onConfigChanged("n", 0, "a", 0, {"x"}, "c");
    consumer.onSubmit("n", 0, "a", 0, 1, "c");
    consumer.onAttributeChanged("n", 0, "a", 0, "c");
    consumer.onOptionsChanged("n", 0, "a", 0, {"x"}, "c");
    consumer.onAccessLevelsChanged("n", 0, "a", 0, AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_1, "c");

    EXPECT_EQ(result.m_error, CFG_ERROR_NONE);
    EXPECT_TRUE(result.m_messages.empty());
}

}  // namespace
