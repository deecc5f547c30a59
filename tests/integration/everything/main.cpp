// A process that calls everything that the library offers, with texts that are not UTF-8, and writes nothing itself:
// what stands on its outputs in the end is the library's.
//
// usage: integration_everything RUNTIME_DIRECTORY REPORT

#include <string>
#include <vector>

#include "Everything.h"
#include "ForwardingTransport.h"
#include "MSG.h"
#include "UnixTransport.h"

namespace {

using namespace AppConfigTest;
using AppConfig::AppCfgManager;

/// Passes everything on, and keeps the rows that the library enters, so that the process can hand them what no service
/// would send.
class RowKeeper : public PbUtility::ForwardingTransport {
public:
    using ForwardingTransport::ForwardingTransport;

    int addHandlers(const MSG_Callback* table) override {
        for (const MSG_Callback* row = table; row->entry != nullptr; ++row) rows.push_back(*row);
        return ForwardingTransport::addHandlers(table);
    }

    std::vector<MSG_Callback> rows;
};

/// Hands each row a message that does not parse: one line is due for each.
void deliverWhatDoesNotParse(const RowKeeper& keeper) {
    const std::string bytes = "\012\377\377";
    for (const MSG_Callback& row : keeper.rows) {
        MSG_Message* const message = MSG_Create(row.firstId, bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                                keeper.localEndpoint().c_str(), 1);
        row.entry(row.context, message);
        MSG_Destroy(message);
    }
}

void callEverything(AppCfgManager& manager, PbUtility::PbUtils& transport, Everybody& everybody, Report& report) {
    manager.setSecurityRole(AppConfig::SECURITY_ROLE_4);
    registerHandler(node, "t\351xt", static_cast<ConsumerConfigHandler*>(&everybody), &manager);
    registerHandler(node, "t\351xt", static_cast<ProviderConfigHandler*>(&everybody), &manager);
    registerHandler(node, static_cast<ConsumerConfigHandler*>(&everybody), &manager);
    registerHandler(node, static_cast<ProviderConfigHandler*>(&everybody), &manager);

    Everything everything(manager, transport, everybody, report);
    everything.readValues();
    everything.writeValues();
    everything.writeWithoutWaiting();
    everything.useOptions();
    everything.useLevels();
    everything.validate();
    everything.failEverywhere();
    everything.useTheLink();
    everything.hearOfSubmits();
    everything.removeHandlers();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    Report report(argv[2]);
    PbUtility::TransportOptions options;
    options.runtimeDirectory = argv[1];
    PbUtility::UnixTransport socket(options);
    RowKeeper transport(socket);
    Everybody local(refused, reason);
    Everybody primary(refused, reason);

    // Before there is a transport.
    AppCfgManager* const manager = AppCfgManager::getLocalCfgManager();
    EXPECT_IN(report, manager->getConfigVar(text).empty());
    manager->setPbInterface(&transport);
    callEverything(*manager, transport, local, report);

    EXPECT_IN(report, AppCfgManager::changePrimaryConfigService(0, "", "s\351lf", &transport));
    EXPECT_IN(report, !AppCfgManager::changePrimaryConfigService(0, "\377", "\377", &transport));
    callEverything(*AppCfgManager::getInstance(), transport, primary, report);
    deliverWhatDoesNotParse(transport);

    // After the transport has ended, and at an endpoint that cannot be.
    socket.end();
    EXPECT_IN(report, manager->getConfigVar(nothing).empty());
    AppConfig::PlatformCfgService unreachable(0, "\377", "\377");
    unreachable.setPbInterface(&transport);
    EXPECT_IN(report, !unreachable.resetValue(text));
    return 0;
}
