#pragma once

#include <atomic>
#include <list>
#include <string>

#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "process/ProcessCode.h"

namespace Simulation {

class Names;

/// What handlers need of the application that they belong to. Thread-safe.
class HandlerOwner {
public:
    virtual ProcessHost& host() = 0;
    virtual const Names& names() const = 0;
    /// Carries \p operation out from within the handler of that number.
    virtual void perform(const Operation& operation, int fromHandler) = 0;

protected:
    ~HandlerOwner() = default;
};

/// What both kinds of handlers have in common: who they are, whether they count as deleted, and what they do when they
/// are called. Their memory is never given back, so that a call after the deletion is seen instead of felt.
class Handler {
public:
    /// \p owner is not owned.
    Handler(HandlerOwner& owner, int number, int link, const HandlerPlan& plan)
        : m_owner(owner), m_number(number), m_link(link), m_plan(plan) {}

    int number() const { return m_number; }
    int link() const { return m_link; }
    void markDeleted() { m_deleted = true; }
    /// \return whether a call of it is under way.
    bool isRunning() const { return m_running != 0; }

    // Under which name it was registered.
    std::string node;
    std::string attribute;

protected:
    /// Tells of a call, and does what the plan says.
    void called(const Announcement& what);

    HandlerOwner& m_owner;
    const int m_number;
    const int m_link;
    const HandlerPlan& m_plan;

private:
    std::atomic<bool> m_deleted{false};
    std::atomic<int> m_running{0};
    std::atomic<std::size_t> m_reactions{0};
};

/// A consumer of the simulation.
class Consumer final : public Handler, public ConsumerConfigHandler {
public:
    Consumer(HandlerOwner& owner, int number, int link, const HandlerPlan& plan, int kinds);

    void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const std::list<std::string>& value, const std::string& clientName) override;
    void onOptionsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, std::list<std::string> options, std::string clientName) override;
    void onAccessLevelsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                               int attributeInstance, AppConfig::SecurityRole readRole,
                               AppConfig::SecurityRole writeRole, std::string clientName) override;
};

/// A provider of the simulation: it refuses what isRefusable() says, and takes everything else on board.
class Provider final : public Handler, public ProviderConfigHandler {
public:
    using Handler::Handler;

    bool onDynamicValidate(const std::string& node, int nodeInstance, const std::string& attribute,
                           int attributeInstance, const std::list<std::string>& value,
                           AppConfig::SecurityRole requesterRole, ConfigResult& result) override;
    bool onChange(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                  const std::list<std::string>& value, AppConfig::SecurityRole requesterRole,
                  ConfigResult& result) override;
};

}  // namespace Simulation
