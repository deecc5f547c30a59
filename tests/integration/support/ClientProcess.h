#pragma once

#include <list>
#include <nlohmann/json.hpp>
#include <string>

#include "ChildProcess.h"
#include "ServiceProcess.h"

namespace AppConfigTest {

using Json = nlohmann::json;

/// An application in a process of its own that does what the test says and tells what its handlers are told. Not
/// thread-safe. Operations throw std::runtime_error when the process does not answer in time.
class ClientProcess {
public:
    /// \p deadline is what the client's transport waits for an answer.
    explicit ClientProcess(const ServiceProcess& service, std::chrono::milliseconds deadline = std::chrono::seconds(5));

    /// Carries out \p command and waits for its answer.
    Json perform(Json command);

    /// Starts \p command on a thread of the client's. \return its number for answerTo().
    int start(Json command);
    Json answerTo(int number, std::chrono::milliseconds deadline = patience);

    /// Waits for the next line, after those that earlier calls took, that holds every member of \p part.
    Json waitForEvent(const Json& part);

    /// Reads \p var again and again until its value is \p value, the only one. \return whether it got there in time.
    bool seesValue(const std::string& var, const std::string& value);

    /// \return the events so far that hold every member of \p part, in order, waited for or not. Does not block: only
    /// lines that were read already count.
    std::list<Json> eventsSoFar(const Json& part) const;

    ChildProcess& process() { return m_process; }

private:
    int send(Json command, bool background);
    Json take(const Json& part, std::chrono::milliseconds deadline = patience);

    ChildProcess m_process;
    std::list<Json> m_pending;  // read, but waited for by nobody yet
    std::list<Json> m_all;
    int m_commands = 0;
};

}  // namespace AppConfigTest
