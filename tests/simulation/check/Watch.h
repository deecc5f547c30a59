#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "check/Ledger.h"
#include "world/ServiceHost.h"

namespace Simulation {

/// Sees what services take in and send: keeps the history, tells the ledgers what concerns their processes, and holds
/// against the roles that clients have presented what they are sent. One thread.
class Watch final : public ServiceObserver {
public:
    /// \return the ledger of the process that stands for, and null when it has ended.
    using Find = std::function<Ledger*(const Process&)>;

    Watch(Book& book, Find find, int services) : m_book(book), m_find(std::move(find)), m_services(services) {}

    /// Needed for what the service holds at the very moment; not owned.
    void add(ServiceHost& host) { m_hosts.push_back(&host); }

    void received(int service, const Session& from, const AppConfigWire::Frame& frame) override;
    void sent(int service, const Session& to, const AppConfigWire::Frame& frame) override;
    void stored(int service, const AppConfigService::Batch& batch) override;
    void adopted(int service) override;

private:
    struct Asked {
        int role = 0;
        int variable = -1;
    };
    struct Service {
        std::map<std::string, int> presented;  ///< by endpoint: the highest role that was ever claimed
        std::map<AppConfigService::ConnectionId, Asked> asked;
    };

    Service& of(int service) { return m_services[static_cast<std::size_t>(service)]; }
    void note(std::string_view what, const Session& session, const AppConfigWire::Frame& frame);
    void present(int service, const Session& from, int role);
    void request(int service, const Session& from, const AppConfigWire::Frame& frame);
    void reply(int service, const Session& to, const AppConfigWire::Frame& frame);
    void news(int service, const Session& to, const AppConfigWire::Frame& frame);
    void hold(int service, const Session& to, int variable, int role, const char* what);
    int capOf(int service, std::uint32_t uid) const;
    const AppConfigService::Variable* find(int service, int variable) const;
    int readLevel(int service, int variable) const;
    void holdQuestion(int service, const Session& to, int variable);

    Book& m_book;
    const Find m_find;
    std::vector<Service> m_services;
    std::vector<ServiceHost*> m_hosts;
};

}  // namespace Simulation
