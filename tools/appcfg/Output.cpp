#include "Output.h"

#include "wire/Escaped.h"

namespace AppConfigTool {

using AppConfigWire::escaped;

void Output::result(const nlohmann::ordered_json& object, const std::list<std::string>& lines) {
    const AppConfig::PlainLock lock(m_mutex);
    if (m_json) {
        // A value's bytes need not be UTF-8, and a result must not be lost over one that is not.
        m_results << object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
    } else {
        for (const std::string& line : lines) m_results << escaped(line) << std::endl;
    }
}

void Output::complain(const std::string& text) {
    const AppConfig::PlainLock lock(m_mutex);
    m_complaints << "appcfg: " << escaped(text) << std::endl;
}

std::string valueText(const std::list<std::string>& value) {
    if (value.size() == 1) return value.front();
    std::string text = "[";
    for (const std::string& element : value) {
        if (text.size() > 1) text += ", ";
        text += element;
    }
    return text + "]";
}

}  // namespace AppConfigTool
