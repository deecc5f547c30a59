#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

extern "C" char** environ;

namespace AppConfigTest {
namespace {

using Clock = std::chrono::steady_clock;

struct Pipe {
    Pipe() {
        if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe can be made");
    }
    int ends[2];
};

int millisecondsUntil(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& words) {
    const Pipe in;
    const Pipe out;
    const Pipe err;
    std::vector<std::string> texts = words;
    std::vector<char*> argv;
    for (std::string& text : texts) argv.push_back(text.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.ends[1], STDERR_FILENO);
    // Writing to a process that has died must fail here, not end the test; the process itself starts as usual.
    ::signal(SIGPIPE, SIG_IGN);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int error = ::posix_spawn(&m_pid, argv[0], &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in.ends[0]);
    ::close(out.ends[1]);
    ::close(err.ends[1]);
    m_in = in.ends[1];
    m_out.descriptor = out.ends[0];
    m_err.descriptor = err.ends[0];
    if (error != 0) throw std::runtime_error("cannot start " + words.front());
    ::fcntl(m_out.descriptor, F_SETFL, O_NONBLOCK);
    ::fcntl(m_err.descriptor, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess() {
    if (!m_status) {
        ::kill(m_pid, SIGKILL);
        while (::waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    for (const int descriptor : {m_in, m_out.descriptor, m_err.descriptor}) {
        if (descriptor >= 0) ::close(descriptor);
    }
}

void ChildProcess::writeLine(const std::string& line) {
    const std::string text = line + "\n";
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(m_in, text.data() + written, text.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) throw std::runtime_error("the process no longer reads its input");
        written += static_cast<std::size_t>(count);
    }
}

void ChildProcess::closeInput() {
    if (m_in >= 0) ::close(m_in);
    m_in = -1;
}

void ChildProcess::drain(Stream& stream) {
    char buffer[16384];
    for (;;) {
        const ssize_t count = ::read(stream.descriptor, buffer, sizeof buffer);
        if (count > 0) {
            stream.all.append(buffer, static_cast<std::size_t>(count));
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else {
            if (count == 0) {
                ::close(stream.descriptor);
                stream.descriptor = -1;
            }
            return;
        }
    }
}

bool ChildProcess::pump(Clock::time_point end) {
    pollfd waiting[] = {{m_out.descriptor, POLLIN, 0}, {m_err.descriptor, POLLIN, 0}};
    if (m_out.descriptor < 0 && m_err.descriptor < 0) return false;
    if (::poll(waiting, 2, millisecondsUntil(end)) <= 0) return Clock::now() < end;
    if (waiting[0].revents != 0) drain(m_out);
    if (waiting[1].revents != 0) drain(m_err);
    return true;
}

std::optional<std::string> ChildProcess::takeLine(Stream& stream,
                                                  const std::function<bool(const std::string&)>& matches) {
    std::size_t end = 0;
    while ((end = stream.all.find('\n', stream.read)) != std::string::npos) {
        std::string line = stream.all.substr(stream.read, end - stream.read);
        stream.read = end + 1;
        if (matches(line)) return line;
    }
    return std::nullopt;
}

std::optional<std::string> ChildProcess::waitForLine(Stream& stream,
                                                     const std::function<bool(const std::string&)>& matches,
                                                     std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    for (;;) {
        if (auto line = takeLine(stream, matches)) return line;
        if (!pump(end)) return takeLine(stream, matches);
    }
}

std::optional<std::string> ChildProcess::waitForLine(const std::function<bool(const std::string&)>& matches,
                                                     std::chrono::milliseconds deadline) {
    return waitForLine(m_out, matches, deadline);
}

std::optional<std::string> ChildProcess::waitForErrorLine(const std::function<bool(const std::string&)>& matches,
                                                          std::chrono::milliseconds deadline) {
    return waitForLine(m_err, matches, deadline);
}

void ChildProcess::signal(int signal) const {
    if (!m_status) ::kill(m_pid, signal);
}

std::optional<int> ChildProcess::waitForEnd(std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    // Both outputs close when the process ends; until then it may be blocked on a full pipe.
    while (!m_status && pump(end)) {
    }
    while (!m_status) {
        int status = 0;
        const pid_t done = ::waitpid(m_pid, &status, WNOHANG);
        if (done == m_pid) {
            m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        } else if (Clock::now() >= end) {
            return std::nullopt;
        } else {
            ::poll(nullptr, 0, 1);
        }
    }
    return m_status;
}

Finished run(const std::vector<std::string>& words, std::chrono::milliseconds deadline) {
    ChildProcess process(words);
    const std::optional<int> status = process.waitForEnd(deadline);
    return {status.value_or(-1), process.output(), process.errors()};
}

}  // namespace AppConfigTest
