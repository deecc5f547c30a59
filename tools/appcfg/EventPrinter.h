#pragma once

#include <list>
#include <string>

#include "AppConfig/ConfigVar.h"
#include "Output.h"

namespace AppConfigTool {

/// Writes what happens while the tool runs: one line per event with time, kind, variable and new state. Any thread.
class EventPrinter {
public:
    explicit EventPrinter(Output& output) : m_output(output) {}

    /// \p state is written as JSON under \p key, and as \p text for people.
    void event(const std::string& kind, const std::string& variable, const char* key,
               const nlohmann::ordered_json& state, const std::string& text);

    /// The connection to the service was lost or made again. \p endpoint stands in the variable's place.
    void service(const std::string& endpoint, bool connected);

private:
    Output& m_output;
};

/// Prints that the connection to the service was lost or made again, but not that it was made at first. Called on one
/// thread.
class ServiceConnectionEvents {
public:
    explicit ServiceConnectionEvents(EventPrinter& printer) : m_printer(&printer) {}

    void operator()(const std::string& endpoint, bool connected) {
        if (connected != m_connected && m_known) m_printer->service(endpoint, connected);
        m_connected = connected;
        m_known = m_known || connected;
    }

private:
    EventPrinter* m_printer;
    bool m_known = false;
    bool m_connected = false;
};

/// \return the identity of the variable that the library names in its parts to a handler.
ConfigVar varOf(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance);

/// Keeps SIGINT and SIGTERM from ending the process, for this thread and those that it starts; waitForEnd() waits for
/// one of them. Undone by the destructor. Made before any thread.
class EndSignals {
public:
    EndSignals();
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;
    ~EndSignals();

    void waitForEnd() const;
};

}  // namespace AppConfigTool
