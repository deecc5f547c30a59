#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "TemporaryDirectory.h"
#include "server/SocketListener.h"

namespace AppConfigService {
namespace {

using ::testing::HasSubstr;

struct Listener : ::testing::Test {
    bool connects(const std::string& path) {
        asio::io_context client;
        asio::local::stream_protocol::socket socket(client);
        asio::error_code error;
        socket.connect(asio::local::stream_protocol::endpoint(path), error);
        return !error;
    }
    static void ignore(asio::local::stream_protocol::socket) {}

    const AppConfigTest::TemporaryDirectory m_temporary;
    const std::string& directory = m_temporary.path();
    asio::io_context io;
};

TEST_F(Listener, TakesClientsAtItsPathAndRemovesItsSocketAtTheEnd) {
    std::string path;
    {
        SocketListener listener(io);
        ASSERT_TRUE(listener.claim(directory, "Srv"));
        ASSERT_TRUE(listener.listen(ignore));
        path = listener.path();
        EXPECT_EQ(path, directory + "/Srv");
        EXPECT_TRUE(connects(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Listener, RefusesANameThatIsTakenAndLeavesItsServiceAlone) {
    SocketListener first(io);
    ASSERT_TRUE(first.claim(directory, "Srv"));
    ASSERT_TRUE(first.listen(ignore));
    {
        SocketListener second(io);
        EXPECT_EQ(second.claim(directory, "Srv").error().reason,
                  "a service called Srv is already running in " + directory);
    }
    EXPECT_TRUE(connects(first.path()));
    SocketListener other(io);
    EXPECT_TRUE(other.claim(directory, "Srv2"));
}

TEST_F(Listener, TakesASocketOverThatADeadServiceLeft) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        asio::io_context childIo;
        SocketListener dying(childIo);
        const bool fine = dying.claim(directory, "Srv") && dying.listen(ignore);
        if (!fine) _exit(1);
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_TRUE(std::filesystem::exists(directory + "/Srv"));
    EXPECT_FALSE(connects(directory + "/Srv"));
    SocketListener listener(io);
    ASSERT_TRUE(listener.claim(directory, "Srv"));
    ASSERT_TRUE(listener.listen(ignore));
    EXPECT_TRUE(connects(directory + "/Srv"));
}

TEST_F(Listener, RefusesToRemoveWhatIsNoSocket) {
    std::ofstream(directory + "/Srv") << "precious";
    SocketListener listener(io);
    ASSERT_TRUE(listener.claim(directory, "Srv"));
    EXPECT_THAT(listener.listen(ignore).error().reason, HasSubstr("is not a socket"));
    EXPECT_TRUE(std::filesystem::exists(directory + "/Srv"));
}

TEST_F(Listener, LeavesASocketThatIsNotItsOwn) {
    {
        SocketListener listener(io);
        ASSERT_TRUE(listener.claim(directory, "Srv"));
        ASSERT_TRUE(listener.listen(ignore));
        std::filesystem::remove(directory + "/Srv");
        std::ofstream(directory + "/Srv") << "another's";
    }
    EXPECT_TRUE(std::filesystem::exists(directory + "/Srv"));
}

TEST_F(Listener, RefusesNamesThatAreNone) {
    SocketListener listener(io);
    EXPECT_THAT(listener.claim(directory, "../Srv").error().reason, HasSubstr("is not a valid endpoint name"));
    EXPECT_THAT(listener.claim(directory, "").error().reason, HasSubstr("is not a valid endpoint name"));
    EXPECT_FALSE(listener.claim(directory + "/missing/below", "Srv"));
}

}  // namespace
}  // namespace AppConfigService
