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

/// Takes the first whole line behind \p read. \return false when there is none.
bool takeLine(const std::string& all, std::size_t& read, std::string& line) {
    const std::size_t end = all.find('\n', read);
    if (end == std::string::npos) return false;
    line = all.substr(read, end - read);
    read = end + 1;
    return true;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& words) {
    const Pipe in;
    const Pipe out;
    const Pipe err;
    std::vector<std::string> texts = words;
    std::vector<char*> argv;
    argv.reserve(texts.size() + 1);
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
    m_reader = std::thread([this] { readBoth(); });
}

ChildProcess::~ChildProcess() {
    if (!m_status) {
        ::kill(m_pid, SIGKILL);
        while (::waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    m_reader.join();
    closeInput();
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

void ChildProcess::readBoth() {
    char buffer[16384];
    for (;;) {
        pollfd waiting[] = {{m_out.descriptor, POLLIN, 0}, {m_err.descriptor, POLLIN, 0}};
        if (m_out.descriptor < 0 && m_err.descriptor < 0) return;
        if (::poll(waiting, 2, -1) < 0) continue;
        for (int i = 0; i < 2; ++i) {
            if (waiting[i].revents == 0) continue;
            Stream& stream = i == 0 ? m_out : m_err;
            const ssize_t count = ::read(stream.descriptor, buffer, sizeof buffer);
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (count > 0) {
                stream.all.append(buffer, static_cast<std::size_t>(count));
            } else {
                ::close(stream.descriptor);
                stream.descriptor = -1;
            }
            m_arrived.notify_all();
        }
    }
}

std::optional<std::string> ChildProcess::waitForLine(Stream& stream,
                                                     const std::function<bool(const std::string&)>& matches,
                                                     std::chrono::milliseconds deadline) {
    const auto end = Clock::now() + deadline;
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        std::string line;
        while (takeLine(stream.all, stream.read, line)) {
            if (matches(line)) return line;
        }
        if (stream.descriptor < 0) return std::nullopt;
        if (m_arrived.wait_until(lock, end) == std::cv_status::timeout && Clock::now() >= end) {
            while (takeLine(stream.all, stream.read, line)) {
                if (matches(line)) return line;
            }
            return std::nullopt;
        }
    }
}

std::string ChildProcess::output() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_out.all;
}

std::string ChildProcess::errors() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_err.all;
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
    {
        // Both outputs close when the process ends.
        std::unique_lock<std::mutex> lock(m_mutex);
        m_arrived.wait_until(lock, end, [this] { return m_out.descriptor < 0 && m_err.descriptor < 0; });
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
