#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace AppConfigTest {

/// How long a test waits for anything before it counts as not happening. Generous: only a failing test waits that long.
inline constexpr std::chrono::seconds patience{20};

/// A process of the test's own, talked to through pipes. Killed, and only it, when the object goes. What it writes is
/// read all the time on a thread of its own, so that it never waits for the test. Used by one thread.
class ChildProcess {
public:
    /// Starts \p words, whose first is the program's path. Throws std::runtime_error when it cannot be started.
    explicit ChildProcess(const std::vector<std::string>& words);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t pid() const { return m_pid; }

    /// Writes \p line and a line end to the process's standard input.
    void writeLine(const std::string& line);

    /// Lets the process see the end of its standard input.
    void closeInput();

    /// Waits for a whole line of standard output, or of standard error, that \p matches; lines before it are passed
    /// over. \return the line without its end; nothing when the process ended or \p deadline passed before.
    std::optional<std::string> waitForLine(const std::function<bool(const std::string&)>& matches,
                                           std::chrono::milliseconds deadline = patience);
    std::optional<std::string> waitForErrorLine(const std::function<bool(const std::string&)>& matches,
                                                std::chrono::milliseconds deadline = patience);

    /// Sends \p signal to this process alone.
    void signal(int signal) const;

    /// Waits for the end and takes in the rest of both outputs.
    /// \return the exit status, or 128 + the signal that ended it; nothing when \p deadline passed before.
    std::optional<int> waitForEnd(std::chrono::milliseconds deadline = patience);

    /// All that came so far, lines that were passed over included.
    std::string output() const;
    std::string errors() const;

private:
    struct Stream {
        int descriptor = -1;  // -1: the process has closed it
        std::string all;
        std::size_t read = 0;  // how much of all has been handed out or passed over
    };

    std::optional<std::string> waitForLine(Stream& stream, const std::function<bool(const std::string&)>& matches,
                                           std::chrono::milliseconds deadline);
    void readBoth();

    pid_t m_pid = -1;
    std::optional<int> m_status;
    int m_in = -1;
    mutable std::mutex m_mutex;  // guards both streams
    std::condition_variable m_arrived;
    Stream m_out;
    Stream m_err;
    std::thread m_reader;
};

/// What a program that was run to its end left.
struct Finished {
    int status = -1;  ///< exit status, 128 + signal, or -1 when it had to be killed at the deadline
    std::string out;
    std::string err;
};

/// Runs \p words to their end.
Finished run(const std::vector<std::string>& words, std::chrono::milliseconds deadline = patience);

}  // namespace AppConfigTest
