#include "AppConfig/ConfigResult.h"

ConfigResult& ConfigResult::fillDefaults(ConfigResult& r) {
    r.m_error = CFG_ERROR_NONE;
    r.m_flag = false;
    r.m_messages.clear();
    // The names stay: a record is reset for another try of the same client.
    return r;
}

bool ConfigResult::fillConfigResult(bool ret, eErrorT error, bool flag) {
    m_error = error;
    m_flag = flag;
    return ret;
}

void ConfigResult::addResultMessage(std::string const& msg) {
    m_messages.push_back(msg);
}

void ConfigResult::setServerContext(std::string const& s) {
    m_serverContext = s;
}

void ConfigResult::setClientName(std::string const& s) {
    m_clientName = s;
}
