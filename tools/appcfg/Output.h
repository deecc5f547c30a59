#pragma once

#include <list>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfigTool {

/// Where results and complaints go: results to one stream, either as text for people or as one JSON object per line,
/// complaints to another, always as text. Every line is flushed, so that a reader at the other end of a pipe sees it at
/// once. Does not own the streams. Any thread.
class Output {
public:
    Output(std::ostream& results, std::ostream& complaints, bool json)
        : m_results(results), m_complaints(complaints), m_json(json) {}

    /// One result: \p object with JSON, else each of \p lines in a line of its own. What a line has from other
    /// processes is shown escaped: it could clear the terminal or look like another line.
    void result(const nlohmann::ordered_json& object, const std::list<std::string>& lines);
    void result(const nlohmann::ordered_json& object, const std::string& line) {
        result(object, std::list<std::string>{line});
    }

    /// One complaint for people, written as `appcfg: <text>` in one line, escaped.
    void complain(const std::string& text);

    bool json() const { return m_json; }

private:
    AppConfig::PlainMutex m_mutex;
    std::ostream& m_results APPCONFIG_GUARDED_BY(m_mutex);
    std::ostream& m_complaints APPCONFIG_GUARDED_BY(m_mutex);
    const bool m_json;
};

/// \return \p value for people: one element by itself, several (or none) in brackets.
std::string valueText(const std::list<std::string>& value);

}  // namespace AppConfigTool
