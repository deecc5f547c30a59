#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "AppConfig/PlatformCfgService.h"
#include "FakeTransport.h"
#include "configservice.pb.h"

// A platform of the test's own stands in for two functions of message passing; it knows no name for any message.

namespace {
std::string answeredFrom = "(nobody answered)";
size_t roomForTheName = 0;
}  // namespace

int MSG_GetOwnerName(const MSG_Message*, char*, size_t bytes) {
    roomForTheName = bytes;
    return -1;
}

int MSG_SendMsg(const char* owner, MSG_Address, MSG_Message* message) {
    answeredFrom.assign(owner, strnlen(owner, 128));
    MSG_Destroy(message);
    return 0;
}

TEST(OwnerName, ThatThePlatformDoesNotGiveIsEmpty) {
    Support::FakeTransport transport;
    AppConfig::PlatformCfgService link(0, "", "");
    link.setPbInterface(&transport);

    transport.deliver(ConfigIF::DynamicValidateReq());

    EXPECT_EQ(answeredFrom, "");
    EXPECT_EQ(roomForTheName, 128U);
}
