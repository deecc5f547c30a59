#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "CommonIFUtil.h"
#include "MSG.h"
#include "MessageIds.h"
#include "configservice.pb.h"
#include "frame.pb.h"
#include "msgUtil.h"

namespace {

struct Destroy {
    void operator()(MSG_Message* message) const { MSG_Destroy(message); }
};
using Message = std::unique_ptr<MSG_Message, Destroy>;

std::string payloadOf(const MSG_Message* message) {
    return {static_cast<const char*>(MSG_GetPayload(message)), MSG_GetPayloadBytes(message)};
}

TEST(Message, HoldsACopyOfWhatItWasMadeFrom) {
    std::string payload("a\0b", 3);
    std::string owner = "me";
    const Message message(MSG_Create(7, payload.data(), 3, owner.c_str(), 9));
    payload.assign("xxx");
    owner.assign("xx");
    EXPECT_EQ(MSG_GetId(message.get()), 7U);
    EXPECT_EQ(payloadOf(message.get()), std::string("a\0b", 3));
    EXPECT_EQ(MSG_GetSender(message.get()), 9U);
    char name[128];
    EXPECT_EQ(MSG_GetOwnerName(message.get(), name, sizeof name), 0);
    EXPECT_STREQ(name, "me");
}

TEST(Message, MayBeEmpty) {
    const Message message(MSG_Create(7, nullptr, 0, "me", 0));
    EXPECT_EQ(MSG_GetPayloadBytes(message.get()), 0U);
}

TEST(Message, GivesItsOwnersNameOnlyWhole) {
    const Message message(MSG_Create(7, "", 0, "owner", 0));
    char name[6] = "?????";
    EXPECT_EQ(MSG_GetOwnerName(message.get(), name, 6), 0);
    EXPECT_STREQ(name, "owner");
    EXPECT_NE(MSG_GetOwnerName(message.get(), name, 5), 0);
    EXPECT_STREQ(name, "");
    name[0] = '?';
    EXPECT_NE(MSG_GetOwnerName(message.get(), name, 0), 0);
    EXPECT_EQ(name[0], '?') << "a buffer without bytes was written to";
}

TEST(Message, BuiltAsAnAnswerCarriesTheIdOfItsTypeAndTheOtherSidesNames) {
    const Message request(MSG_Create(0x1A0150, "", 0, "me", 41));
    ConfigIF::DynamicValidateRsp response;
    response.mutable_result()->add_message("text");
    const Message answer(msgUtil_buildMsgWithHeader(response, request.get(), nullptr));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(MSG_GetId(answer.get()), ConfigIF::messageId("ConfigIF.DynamicValidateRsp"));
    EXPECT_EQ(payloadOf(answer.get()), response.SerializeAsString());
    EXPECT_EQ(MSG_GetSender(answer.get()), 41U);
    char name[128];
    EXPECT_EQ(MSG_GetOwnerName(answer.get(), name, sizeof name), 0);
    EXPECT_STREQ(name, "me");
}

TEST(Message, IsNotBuiltFromATypeWithoutAnId) {
    const Message request(MSG_Create(0x1A0150, "", 0, "me", 41));
    EXPECT_EQ(msgUtil_buildMsgWithHeader(AppConfigWire::Frame(), request.get(), nullptr), nullptr);
}

TEST(Message, IsTakenOverAlsoWhenNobodyCarriesIt) {
    // Under the address sanitizer a leak would show.
    EXPECT_NE(MSG_SendMsg("nobody", 1, MSG_Create(7, "x", 1, "nobody", 0)), 0);
    EXPECT_NE(MSG_SendMsg("nobody", 1, nullptr), 0);
}

struct Carrier {
    std::atomic<int> carried{0};
    std::atomic<MSG_Address> receiver{0};

    static int carry(void* context, MSG_Address receiver, MSG_Message* message) {
        auto* self = static_cast<Carrier*>(context);
        self->receiver = receiver;
        ++self->carried;
        MSG_Destroy(message);
        return 0;
    }
};

TEST(MessageOwner, CarriesWhatIsSentFromIt) {
    Carrier carrier;
    ASSERT_EQ(MSG_BindOwner("owner-1", &Carrier::carry, &carrier), 0);
    EXPECT_EQ(MSG_SendMsg("owner-1", 17, MSG_Create(7, "x", 1, "owner-1", 0)), 0);
    EXPECT_EQ(carrier.carried, 1);
    EXPECT_EQ(carrier.receiver, 17U);
    MSG_UnbindOwner("owner-1");
    EXPECT_NE(MSG_SendMsg("owner-1", 17, MSG_Create(7, "x", 1, "owner-1", 0)), 0);
    EXPECT_EQ(carrier.carried, 1);
}

TEST(MessageOwner, IsBoundOnce) {
    Carrier first;
    Carrier second;
    ASSERT_EQ(MSG_BindOwner("owner-2", &Carrier::carry, &first), 0);
    EXPECT_NE(MSG_BindOwner("owner-2", &Carrier::carry, &second), 0);
    MSG_SendMsg("owner-2", 1, MSG_Create(7, "x", 1, "owner-2", 0));
    EXPECT_EQ(first.carried, 1);
    EXPECT_EQ(second.carried, 0);
    MSG_UnbindOwner("owner-2");
    MSG_UnbindOwner("owner-2");
}

struct SlowCarrier {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left{false};

    static int carry(void* context, MSG_Address, MSG_Message* message) {
        auto* self = static_cast<SlowCarrier*>(context);
        MSG_Destroy(message);
        self->entered.set_value();
        self->mayLeave.get_future().wait();
        self->left = true;
        return 0;
    }
};

TEST(MessageOwner, IsLetGoOnlyWhenItsSendFunctionHasReturned) {
    SlowCarrier carrier;
    ASSERT_EQ(MSG_BindOwner("owner-3", &SlowCarrier::carry, &carrier), 0);
    std::thread sender([] { MSG_SendMsg("owner-3", 1, MSG_Create(7, "x", 1, "owner-3", 0)); });
    carrier.entered.get_future().wait();
    auto unbound = std::async(std::launch::async, [&carrier] {
        MSG_UnbindOwner("owner-3");
        return carrier.left.load();
    });
    EXPECT_EQ(unbound.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    carrier.mayLeave.set_value();
    EXPECT_TRUE(unbound.get());
    sender.join();
}

TEST(ErrorNumber, KeepsWhatTheDefinitionKnows) {
    EXPECT_EQ(convertErrorTypeToCommonPbType(CommonIF::ERROR_NONE), CFG_ERROR_NONE);
    EXPECT_EQ(convertErrorTypeToCommonPbType(CommonIF::ERROR_MALFORMED_NAME), CFG_ERROR_MALFORMED_NAME);
    for (int number = -30; number <= 5; ++number) {
        if (!CommonIF::eErrorType_IsValid(number)) continue;
        EXPECT_EQ(static_cast<int>(convertErrorTypeToCommonPbType(static_cast<CommonIF::eErrorType>(number))), number);
    }
}

TEST(ErrorNumber, ThatIsUnknownIsAGeneralFailure) {
    EXPECT_EQ(convertErrorTypeToCommonPbType(static_cast<CommonIF::eErrorType>(-99)), CFG_ERROR_GENERAL);
    EXPECT_EQ(convertErrorTypeToCommonPbType(static_cast<CommonIF::eErrorType>(1)), CFG_ERROR_GENERAL);
}

}  // namespace
