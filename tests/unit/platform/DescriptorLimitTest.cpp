// A process that has no file descriptor left.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include "TransportFixture.h"

namespace {

using namespace AppConfigTest;
using namespace PbUtility;
using testing::HasSubstr;

using DescriptorLimit = TransportFixture;

TEST_F(DescriptorLimit, IsSaidToBeReachedByTheRequestThatNeedsOneMore) {
#ifdef APPCONFIG_TESTS_NEED_DESCRIPTORS
    GTEST_SKIP() << "sanitizers and emulation need descriptors of their own";
#endif
    UnixTransport transport(options());
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const int status = read(transport);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(status, TRANSPORT_OUT_OF_RESOURCES);
    EXPECT_THAT(lastTransportFailure(), HasSubstr("(socket: "));
    EXPECT_EQ(read(transport), TRANSPORT_OK);
}

}  // namespace
