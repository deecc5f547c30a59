// What a failed connect means to the caller of a transport.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <ostream>
#include <string>

#include "Connector.h"

namespace {

using namespace AppConfigHost;
using namespace PbUtility;

struct ErrnoCase {
    const char* name;
    int error;
    int status;
};

void PrintTo(const ErrnoCase& row, std::ostream* out) {
    *out << row.name;
}

class ConnectFailure : public testing::TestWithParam<ErrnoCase> {};

TEST_P(ConnectFailure, IsNamedAndKeepsTheSystemsReason) {
    const Failure why = connectFailure(GetParam().error, "/run/ConfigSrvc");
    EXPECT_EQ(why.code, GetParam().status);
    EXPECT_EQ(why.reason, std::string("/run/ConfigSrvc: ") + std::strerror(GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(Table, ConnectFailure,
                         testing::Values(ErrnoCase{"NoEntry", ENOENT, TRANSPORT_NO_SUCH_ENDPOINT},
                                         ErrnoCase{"Refused", ECONNREFUSED, TRANSPORT_NO_SUCH_ENDPOINT},
                                         ErrnoCase{"DescriptorsOfTheProcess", EMFILE, TRANSPORT_OUT_OF_RESOURCES},
                                         ErrnoCase{"DescriptorsOfTheSystem", ENFILE, TRANSPORT_OUT_OF_RESOURCES},
                                         ErrnoCase{"Buffers", ENOBUFS, TRANSPORT_OUT_OF_RESOURCES},
                                         ErrnoCase{"Memory", ENOMEM, TRANSPORT_OUT_OF_RESOURCES},
                                         ErrnoCase{"NoDirectory", ENOTDIR, TRANSPORT_BAD_ENDPOINT},
                                         ErrnoCase{"NameTooLong", ENAMETOOLONG, TRANSPORT_BAD_ENDPOINT},
                                         ErrnoCase{"NotAllowed", EACCES, TRANSPORT_REFUSED}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
