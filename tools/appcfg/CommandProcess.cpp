#include "CommandProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

extern "C" char** environ;

namespace AppConfigTool {
namespace {

constexpr std::size_t outputLimit = 64U * 1024;

class Spawned {
public:
    Spawned(const std::string& command, const std::vector<std::string>& arguments) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            m_error = errno;
            return;
        }
        m_output = ends[0];
        ::fcntl(m_output, F_SETFL, O_NONBLOCK);
        const std::string script = command + " \"$@\"";
        std::vector<std::string> texts = {"/bin/sh", "-c", script, "appcfg"};
        texts.insert(texts.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        argv.reserve(texts.size() + 1);
        for (std::string& text : texts) argv.push_back(text.data());
        argv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        // This process blocks the ending signals to wait for them; the command must not inherit that.
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
        m_error = ::posix_spawn(&m_pid, "/bin/sh", &actions, &attributes, argv.data(), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        if (m_error != 0) m_pid = -1;
    }
    Spawned(const Spawned&) = delete;
    Spawned& operator=(const Spawned&) = delete;
    ~Spawned() {
        if (m_pid > 0) finish(true);
        if (m_output >= 0) ::close(m_output);
    }

    int error() const { return m_error; }
    int output() const { return m_output; }

    /// Waits for the end, after killing the group when \p kill is set. \return the wait status.
    int finish(bool kill) {
        if (kill) ::kill(-m_pid, SIGKILL);
        int status = 0;
        while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
        }
        m_pid = -1;
        return status;
    }

    /// \return true and the wait status when the process has ended by itself.
    bool ended(int& status) {
        const pid_t done = ::waitpid(m_pid, &status, WNOHANG);
        if (done != m_pid) return false;
        m_pid = -1;
        return true;
    }

private:
    pid_t m_pid = -1;
    int m_output = -1;
    int m_error = 0;
};

/// Takes what has come, as far as it fits. \return false when nothing more can come.
bool drain(int descriptor, std::string& text) {
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(descriptor, buffer, sizeof buffer)) > 0) {
        text.append(buffer, std::min(static_cast<std::size_t>(count), outputLimit - text.size()));
    }
    return count < 0 && (errno == EAGAIN || errno == EINTR);
}

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

}  // namespace

CommandVerdict runCommand(const std::string& command, const std::vector<std::string>& arguments,
                          std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    Spawned process(command, arguments);
    if (process.error() != 0) {
        return {false, std::string("the command could not be started: ") + std::strerror(process.error())};
    }
    std::string text;
    int status = 0;
    bool open = true;
    while (!process.ended(status)) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        if (left <= 0) {
            process.finish(true);
            return {false, "the command did not end within " + std::to_string(deadline.count()) + " ms"};
        }
        // A command may close its output before it ends, and a child of its may hold it open after: neither event alone
        // tells the end, so the process is asked now and then.
        pollfd waiting = {open ? process.output() : -1, POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(std::min<long long>(left, 10))) > 0)
            open = drain(process.output(), text);
    }
    if (open) drain(process.output(), text);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {true, {}};
    const std::string line = firstLine(text);
    if (!line.empty()) return {false, line};
    if (WIFEXITED(status)) return {false, "the command ended with status " + std::to_string(WEXITSTATUS(status))};
    return {false, "the command was ended by signal " + std::to_string(WTERMSIG(status))};
}

}  // namespace AppConfigTool
