#pragma once

#include <list>
#include <string>
#include <vector>

#include "AppConfig/AppConfig.h"
#include "AppConfig/PlatformCfgService.h"
#include "Handlers.h"
#include "PbUtils.h"
#include "Report.h"

namespace AppConfigTest {

using Texts = std::list<std::string>;

// The variables of the test's definitions, and texts for them. Each holds a byte that no UTF-8 text has in this place.
inline const std::string node = "n\366de";
inline const ConfigVar text(0, node, 1, "t\351xt", 2);  // without options
inline const ConfigVar choice(0, node, 0, "ch\366ice", 0);
inline const ConfigVar number(0, node, 0, "n\372mber", 0);
inline const ConfigVar flag(0, node, 0, "fl\344g", 0);
inline const ConfigVar several(0, node, 0, "s\351veral", 0);
inline const ConfigVar nothing(0, "n\366where", 0, "\377", 0);  // not defined
inline const std::string defaultText = "d\351fault";
inline const std::string refused = "refus\351d";
inline const std::string reason = "be\343cause";

/// Calls every operation of a manager, of the link below it and of the handlers, each with texts that are not UTF-8
/// wherever it takes or gives one. Each step leaves the variables as it found them.
class Everything {
public:
    /// The arguments are not owned. \p handlers are entered at the manager for the node, and for text once more.
    Everything(AppConfig::AppCfgManager& manager, PbUtility::PbUtils& transport, Everybody& handlers, Report& report)
        : m_config(manager),
          m_link(*manager.getPlatformCfgService()),
          m_transport(transport),
          m_handlers(handlers),
          m_report(report) {}

    void readValues();
    void writeValues();
    void writeWithoutWaiting();
    void useOptions();
    void useLevels();
    void validate();
    void failEverywhere();
    void useTheLink();
    void hearOfSubmits();
    void removeHandlers();

private:
    AppConfig::AppCfgManager& m_config;
    AppConfig::PlatformCfgService& m_link;
    PbUtility::PbUtils& m_transport;
    Everybody& m_handlers;
    Report& m_report;
};

}  // namespace AppConfigTest
