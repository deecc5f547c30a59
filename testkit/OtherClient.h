#pragma once

#include <list>
#include <string>

#include "AppConfig/ConfigResult.h"
#include "AppConfig/ConfigVar.h"
#include "AppConfig/SecurityRole.h"

namespace AppConfigService {
class EmbeddedService;
}

namespace AppConfigTest {

/// Another client of the service than the application under test. Every operation waits for the answer and says
/// CFG_ERROR_UNAVAILABLE when the service does not run. Any thread, except from a handler that the service waits for.
class OtherClient {
public:
    /// \p service is not owned.
    explicit OtherClient(AppConfigService::EmbeddedService& service) : m_service(service) {}

    std::list<std::string> read(const ConfigVar& var);
    ConfigResult write(const ConfigVar& var, const std::list<std::string>& value, AppConfig::SecurityRole role);
    eErrorT reset(const ConfigVar& var, AppConfig::SecurityRole role);
    eErrorT setOptions(const ConfigVar& var, const std::list<std::string>& options, unsigned defaultIndex);
    eErrorT setLevels(const ConfigVar& var, AppConfig::SecurityRole read, AppConfig::SecurityRole write);
    eErrorT submit(const ConfigVar& var, int type);

private:
    AppConfigService::EmbeddedService& m_service;
};

}  // namespace AppConfigTest
