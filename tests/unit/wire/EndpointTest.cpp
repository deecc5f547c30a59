#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <ostream>
#include <string>

#include "TemporaryDirectory.h"
#include "wire/Endpoint.h"

namespace {

using namespace AppConfigWire;
using AppConfigTest::TemporaryDirectory;
using testing::HasSubstr;

/// \return why \p result is a failure; it has to be one.
template <typename T>
std::string reasonOf(const PathResult<T>& result) {
    EXPECT_FALSE(result);
    return result ? std::string() : result.error().reason;
}

struct NameCase {
    std::string name;
    bool valid;
};

void PrintTo(const NameCase& row, std::ostream* out) {
    *out << testing::PrintToString(row.name);
}

class EndpointNames : public testing::TestWithParam<NameCase> {};

TEST_P(EndpointNames, AreThoseThatCannotLeaveADirectory) {
    EXPECT_EQ(isEndpointName(GetParam().name), GetParam().valid) << "name: '" << GetParam().name << "'";
}

INSTANTIATE_TEST_SUITE_P(Table, EndpointNames,
                         testing::Values(NameCase{"ConfigSrvc", true}, NameCase{"node2/ConfigSrvc", true},
                                         NameCase{"a", true}, NameCase{"a/b/c/d", true}, NameCase{"A-Z_0.9", true},
                                         NameCase{"...", true}, NameCase{".a", true}, NameCase{"a..b", true},
                                         NameCase{std::string(127, 'x'), true}, NameCase{std::string(128, 'x'), false},
                                         NameCase{"", false}, NameCase{".", false}, NameCase{"..", false},
                                         NameCase{"/", false}, NameCase{"/a", false}, NameCase{"a/", false},
                                         NameCase{"a//b", false}, NameCase{"a/../b", false}, NameCase{"../a", false},
                                         NameCase{"a/..", false}, NameCase{"a/./b", false}, NameCase{"a b", false},
                                         NameCase{"a\\b", false}, NameCase{"a\n", false},
                                         NameCase{std::string("a\0b", 3), false}, NameCase{"\xC3\xA4", false},
                                         NameCase{"a:b", false}, NameCase{"~", false}));

class RuntimeDirectory : public testing::Test {
protected:
    RuntimeDirectory() { setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1); }
    ~RuntimeDirectory() override { unsetenv("XDG_RUNTIME_DIR"); }

    TemporaryDirectory directory;
};

TEST_F(RuntimeDirectory, IsBelowTheUsersRuntimeDirectoryWhenThereIsOne) {
    EXPECT_EQ(defaultRuntimeDirectory(), directory.path() + "/appconfig");
}

TEST_F(RuntimeDirectory, IsNamedAfterTheUserWhenThereIsNone) {
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(defaultRuntimeDirectory(), "/tmp/appconfig-" + std::to_string(getuid()));
}

TEST_F(RuntimeDirectory, IgnoresARelativeSetting) {
    setenv("XDG_RUNTIME_DIR", "somewhere", 1);
    EXPECT_EQ(defaultRuntimeDirectory(), "/tmp/appconfig-" + std::to_string(getuid()));
}

TEST_F(RuntimeDirectory, IsCreatedForItsUserAlone) {
    EXPECT_TRUE(prepareRuntimeDirectory(defaultRuntimeDirectory()));
    struct stat status {};
    ASSERT_EQ(stat(defaultRuntimeDirectory().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    EXPECT_TRUE(prepareRuntimeDirectory(defaultRuntimeDirectory())) << "a second time must do no harm";
}

TEST_F(RuntimeDirectory, IsNotCreatedByLookingAtIt) {
    EXPECT_TRUE(checkPrivateDirectory(defaultRuntimeDirectory()));
    EXPECT_NE(access(defaultRuntimeDirectory().c_str(), F_OK), 0);
}

TEST_F(RuntimeDirectory, IsRefusedAsASymbolicLink) {
    const TemporaryDirectory elsewhere;
    ASSERT_EQ(symlink(elsewhere.path().c_str(), defaultRuntimeDirectory().c_str()), 0);
    const std::string reason = reasonOf(prepareRuntimeDirectory(defaultRuntimeDirectory()));
    EXPECT_EQ(reason,
              "the runtime directory '" + defaultRuntimeDirectory() + "' cannot be used: it is a symbolic link");
    EXPECT_EQ(reasonOf(checkPrivateDirectory(defaultRuntimeDirectory())), reason);
}

TEST_F(RuntimeDirectory, IsRefusedWhenOthersMayWriteToIt) {
    ASSERT_TRUE(prepareRuntimeDirectory(defaultRuntimeDirectory()));
    ASSERT_EQ(chmod(defaultRuntimeDirectory().c_str(), 0770), 0);
    EXPECT_THAT(reasonOf(prepareRuntimeDirectory(defaultRuntimeDirectory())), HasSubstr("other users may write"));
}

TEST_F(RuntimeDirectory, IsRefusedWhenItBelongsToAnotherUser) {
    ASSERT_TRUE(prepareRuntimeDirectory(defaultRuntimeDirectory()));
    if (chown(defaultRuntimeDirectory().c_str(), 12345, static_cast<gid_t>(-1)) != 0) {
        // Without the right to give a directory away, one that belongs to the system serves.
        ASSERT_EQ(rmdir(defaultRuntimeDirectory().c_str()), 0);
        ASSERT_EQ(symlink("/", defaultRuntimeDirectory().c_str()), 0);
        EXPECT_FALSE(prepareRuntimeDirectory(defaultRuntimeDirectory()));
    } else {
        EXPECT_THAT(reasonOf(prepareRuntimeDirectory(defaultRuntimeDirectory())), HasSubstr("another user"));
    }
}

TEST_F(RuntimeDirectory, IsRefusedWhenItIsAFile) {
    FILE* file = fopen(defaultRuntimeDirectory().c_str(), "w");
    ASSERT_NE(file, nullptr);
    fclose(file);
    EXPECT_THAT(reasonOf(prepareRuntimeDirectory(defaultRuntimeDirectory())), HasSubstr("not a directory"));
}

TEST_F(RuntimeDirectory, MayBeALinkWhenTheCallerChoseIt) {
    const TemporaryDirectory elsewhere;
    const std::string link = directory.path() + "/chosen";
    ASSERT_EQ(symlink(elsewhere.path().c_str(), link.c_str()), 0);
    EXPECT_TRUE(prepareRuntimeDirectory(link));
}

TEST_F(RuntimeDirectory, ThatCannotBeCreatedIsNamed) {
    const std::string missing = directory.path() + "/no/such/place";
    EXPECT_EQ(reasonOf(prepareRuntimeDirectory(missing)),
              "the runtime directory '" + missing + "' cannot be used: " + std::strerror(ENOENT));
}

TEST_F(RuntimeDirectory, ThatCannotBeLookedAtIsNamed) {
    ASSERT_TRUE(prepareRuntimeDirectory(directory.path()));
    std::ofstream(directory.path() + "/file");
    const std::string below = directory.path() + "/file/below";
    const std::string reason = "the runtime directory '" + below + "' cannot be used: " + std::strerror(ENOTDIR);
    EXPECT_EQ(reasonOf(checkPrivateDirectory(below)), reason);
    EXPECT_EQ(reasonOf(prepareRuntimeDirectory(below)), reason);
}

TEST_F(RuntimeDirectory, MayNotBeAFileAlsoWhenTheCallerChoseIt) {
    const std::string file = directory.path() + "/file";
    std::ofstream{file};
    EXPECT_EQ(reasonOf(prepareRuntimeDirectory(file)),
              "the runtime directory '" + file + "' cannot be used: it is not a directory");
}

TEST_F(RuntimeDirectory, ThatOthersMayReadIsUsed) {
    ASSERT_TRUE(prepareRuntimeDirectory(defaultRuntimeDirectory()));
    ASSERT_EQ(chmod(defaultRuntimeDirectory().c_str(), 0755), 0);
    EXPECT_TRUE(prepareRuntimeDirectory(defaultRuntimeDirectory()));
    ASSERT_EQ(chmod(defaultRuntimeDirectory().c_str(), 0702), 0);
    EXPECT_THAT(reasonOf(prepareRuntimeDirectory(defaultRuntimeDirectory())), HasSubstr("other users may write"));
}

TEST_F(RuntimeDirectory, GetsTheDirectoriesThatAnEndpointNeeds) {
    EXPECT_TRUE(prepareEndpointDirectory(directory.path(), "a/b/ConfigSrvc"));
    struct stat status {};
    EXPECT_TRUE(prepareEndpointDirectory(directory.path(), "a/b/ConfigSrvc")) << "a second time must do no harm";
    EXPECT_EQ(stat((directory.path() + "/a/b").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    EXPECT_NE(stat((directory.path() + "/a/b/ConfigSrvc").c_str(), &status), 0);
}

TEST_F(RuntimeDirectory, SaysWhichDirectoryOfAnEndpointCannotBeCreated) {
    std::ofstream(directory.path() + "/a");
    EXPECT_EQ(reasonOf(prepareEndpointDirectory(directory.path(), "a/b/ConfigSrvc")),
              "cannot create '" + directory.path() + "/a/b': " + std::strerror(ENOTDIR));
}

TEST(EndpointPath, LiesInTheDirectory) {
    EXPECT_EQ(endpointPath("/run/x", "node2/ConfigSrvc").value(), "/run/x/node2/ConfigSrvc");
}

TEST(EndpointPath, OfABadNameIsNone) {
    const PathResult<std::string> path = endpointPath("/run/x", "../secret");
    EXPECT_EQ(reasonOf(path), "'../secret' is not a valid endpoint name");
    EXPECT_EQ(path.error().code, std::errc::invalid_argument);
}

TEST(EndpointPath, ThatNoSocketAddressHoldsIsRefusedWithTheLimit) {
    const PathResult<std::string> longest = endpointPath("/" + std::string(96, 'd'), "ConfigSrvc");
    EXPECT_EQ(reasonOf(longest), "the socket path '/" + std::string(96, 'd') +
                                     "/ConfigSrvc' of endpoint 'ConfigSrvc' has 108 bytes, the limit is 107");
    EXPECT_EQ(longest.error().code, std::errc::filename_too_long);
    EXPECT_EQ(endpointPath("/" + std::string(95, 'd'), "ConfigSrvc").value().size(), 107U);
}

}  // namespace
