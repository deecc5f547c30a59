#include "AppConfig/HandlerRegistration.h"
#include "AppConfig/PlatformCfgService.h"
#include "process/Application.h"

namespace Simulation {

namespace {

std::size_t index(int slot) {
    return static_cast<std::size_t>(slot);
}

const HandlerPlan& planFor(const std::vector<HandlerPlan>& plans, int slot) {
    static const HandlerPlan nothing;
    return index(slot) < plans.size() ? plans[index(slot)] : nothing;
}

}  // namespace

Consumer& Application::makeConsumer(Running& running) {
    const Operation& operation = running.operation;
    const VariableName& name = (*m_names)[operation.variable];
    Consumer* consumer = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_allConsumers.push_back(std::make_unique<Consumer>(
            *this, m_handlers++, operation.link, planFor(m_plan.consumers, operation.slot), operation.number));
        consumer = m_allConsumers.back().get();
    }
    consumer->node = name.node;
    consumer->attribute = operation.wholeNode ? std::string() : name.attribute;
    m_host->handlerMade(consumer->number(), running.number, operation.number);
    return *consumer;
}

void Application::addConsumer(Running& running) {
    auto* const at = managerFor(running);
    if (at == nullptr) return;
    Consumer*& place = m_consumers[index(running.operation.slot)];
    {
        // One handler per slot at a time: what is in it must be removed first.
        const std::lock_guard<std::mutex> lock(m_mutex);
        running.outcome.done = place == nullptr;
    }
    if (!running.outcome.done) return;
    Consumer& consumer = makeConsumer(running);
    registerHandler(consumer.node, consumer.attribute, &consumer, at);
    // Another thread may have been quicker; then this one stays registered for good.
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (place == nullptr) place = &consumer;
}

void Application::addConsumerAtLink(Running& running) {
    // Whichever link is the primary one now, also while it is being moved. Never removed.
    Consumer& consumer = makeConsumer(running);
    AppConfig::PlatformCfgService::getInstance()->registerHandler(consumer.node, consumer.attribute, &consumer);
}

Consumer* Application::takeConsumer(int slot) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_consumers[index(slot)], nullptr);
}

void Application::removeConsumer(Running& running) {
    Consumer* const consumer = takeConsumer(running.operation.slot);
    running.outcome.done = consumer != nullptr;
    if (consumer == nullptr) return;
    m_host->handlerRemoved(consumer->number());
    unregisterHandler(consumer->node, consumer->attribute, consumer, manager(consumer->link()));
}

void Application::deleteConsumer(Running& running) {
    // Only the delivery thread may delete a handler that it has just unregistered, and none that is running below.
    running.outcome.done = running.inHandler;
    if (!running.inHandler) return;
    Consumer* const consumer = takeConsumer(running.operation.slot);
    running.outcome.done = consumer != nullptr;
    if (consumer == nullptr) return;
    m_host->handlerRemoved(consumer->number());
    unregisterHandler(consumer->node, consumer->attribute, consumer, manager(consumer->link()));
    if (consumer->isRunning()) return;
    consumer->markDeleted();
    m_host->handlerDeleted(consumer->number());
}

void Application::addProvider(Running& running) {
    auto* const at = managerFor(running);
    if (at == nullptr) return;
    const Operation& operation = running.operation;
    const VariableName& name = (*m_names)[operation.variable];
    Provider*& place = m_providers[index(operation.slot)];
    Provider* provider = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        running.outcome.done = place == nullptr;
        if (place != nullptr) return;
        m_allProviders.push_back(
            std::make_unique<Provider>(*this, m_handlers++, operation.link, planFor(m_plan.providers, operation.slot)));
        provider = m_allProviders.back().get();
    }
    provider->node = name.node;
    provider->attribute = operation.wholeNode ? std::string() : name.attribute;
    m_host->handlerMade(provider->number(), running.number, 0);
    registerHandler(provider->node, provider->attribute, provider, at);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (place == nullptr) place = provider;
}

void Application::removeProvider(Running& running) {
    Provider* provider = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        provider = std::exchange(m_providers[index(running.operation.slot)], nullptr);
    }
    running.outcome.done = provider != nullptr;
    if (provider == nullptr) return;
    m_host->handlerRemoved(provider->number());
    unregisterHandler(provider->node, provider->attribute, provider, manager(provider->link()));
}

void Application::forgetAll(Running& running) {
    auto* const at = managerFor(running);
    if (at == nullptr) return;
    unregisterAllHandlers(at);
}

}  // namespace Simulation
