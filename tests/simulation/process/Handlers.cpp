#include "process/Handlers.h"

#include "process/Names.h"

namespace Simulation {

void Handler::called(const Announcement& what) {
    ProcessHost& host = m_owner.host();
    ++m_running;
    host.handlerCalled(m_number, what, !m_deleted);
    if (m_plan.slowness > 0) host.pause(std::chrono::milliseconds(m_plan.slowness));
    const std::size_t reaction = m_reactions++;
    if (reaction < m_plan.reactions.size()) m_owner.perform(m_plan.reactions[reaction], m_number);
    host.handlerReturned(m_number);
    --m_running;
}

Consumer::Consumer(HandlerOwner& owner, int number, int link, const HandlerPlan& plan, int kinds)
    : Handler(owner, number, link, plan) {
    m_wantsChange = (kinds & wantsChange) != 0;
    m_wantsOptions = (kinds & wantsOptions) != 0;
    m_wantsAccessLevels = (kinds & wantsLevels) != 0;
}

void Consumer::onConfigChanged(const std::string& name, int nodeInstance, const std::string& attributeName,
                               int attributeInstance, const std::list<std::string>& value,
                               const std::string& /*clientName*/) {
    Announcement what;
    what.news = News::value;
    what.link = link();
    what.variable = m_owner.names().find(name, nodeInstance, attributeName, attributeInstance);
    what.contents.assign(value.begin(), value.end());
    called(what);
}

void Consumer::onOptionsChanged(const std::string& name, int nodeInstance, const std::string& attributeName,
                                int attributeInstance, std::list<std::string> options, std::string /*clientName*/) {
    Announcement what;
    what.news = News::options;
    what.link = link();
    what.variable = m_owner.names().find(name, nodeInstance, attributeName, attributeInstance);
    what.contents.assign(options.begin(), options.end());
    called(what);
}

void Consumer::onAccessLevelsChanged(const std::string& name, int nodeInstance, const std::string& attributeName,
                                     int attributeInstance, AppConfig::SecurityRole readRole,
                                     AppConfig::SecurityRole writeRole, std::string /*clientName*/) {
    Announcement what;
    what.news = News::levels;
    what.link = link();
    what.variable = m_owner.names().find(name, nodeInstance, attributeName, attributeInstance);
    what.read = readRole;
    what.write = writeRole;
    called(what);
}

bool Provider::onDynamicValidate(const std::string& name, int nodeInstance, const std::string& attributeName,
                                 int attributeInstance, const std::list<std::string>& value,
                                 AppConfig::SecurityRole /*requesterRole*/, ConfigResult& result) {
    Announcement what;
    what.news = News::question;
    what.link = link();
    what.variable = m_owner.names().find(name, nodeInstance, attributeName, attributeInstance);
    what.contents.assign(value.begin(), value.end());
    called(what);
    if (!isRefusable(what.contents)) return true;
    result.addResultMessage("the simulation's providers refuse it");
    return result.fillConfigResult(false, CFG_ERROR_REJECTED, false);
}

bool Provider::onChange(const std::string& name, int nodeInstance, const std::string& attributeName,
                        int attributeInstance, const std::list<std::string>& value,
                        AppConfig::SecurityRole /*requesterRole*/, ConfigResult& /*result*/) {
    Announcement what;
    what.news = News::change;
    what.link = link();
    what.variable = m_owner.names().find(name, nodeInstance, attributeName, attributeInstance);
    what.contents.assign(value.begin(), value.end());
    called(what);
    return true;
}

}  // namespace Simulation
