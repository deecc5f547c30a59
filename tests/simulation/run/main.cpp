#include <chrono>
#include <cstdio>

#include "definitions/DefinitionsReader.h"
#include "os/System.h"
#include "world/Image.h"
#include "world/ServiceHost.h"

using namespace Simulation;

struct Host : ProcessHost, ServiceObserver {
    explicit Host(Scheduler& s) : scheduler(s) {}
    Scheduler& scheduler;
    std::uint64_t began(const Operation&, int) override { return 0; }
    void ended(std::uint64_t, const Outcome& outcome) override {
        scheduler.trace().note(scheduler.now(), scheduler.current()->name(), "ended", outcome.value.empty() ? "" : outcome.value.front());
    }
    void handlerMade(int, std::uint64_t, int) override {}
    void handlerRemoved(int) override {}
    void handlerDeleted(int) override {}
    void handlerCalled(int, const Announcement&, bool) override {}
    void handlerReturned(int) override {}
    void dispatching(const Announcement&) override {}
    void dispatched(const Announcement&) override {}
    void transportMade(int, const std::string&) override {}
    void requestBegins() override {}
    void requestEnds(int) override {}
    void optionsFailed(int) override {}
    void pause(std::chrono::milliseconds t) override { scheduler.wait(&t, scheduler.now() + t, "pause"); }
    void received(int, const Session&, const AppConfigHost::Frame&) override {}
    void sent(int, const Session&, const AppConfigHost::Frame&) override {}
    void stored(int, const AppConfigService::Batch&) override {}
    void started(int) override {}
};

int main(int argc, char**) {
    std::vector<AppConfigService::Definitions> definitions(1);
    std::vector<std::string> complaints;
    AppConfigService::readDefinitions({{"d", "variable { node: \"a\" attribute: \"b\" type: TEXT default_value: \"x\" }"}}, definitions[0], complaints);
    Images images(SIMULATION_PROCESS, 4);
    StackPool::prepare(64);
    Trace trace(argc > 1 ? stdout : nullptr);
    Random random(1);
    Scheduler scheduler(random.split(), {}, trace);
    System system(scheduler, random.split());
    Host host(scheduler);
    ServiceSettings settings;
    settings.number = 1;
    ServiceHost service(scheduler, random.split(), settings, definitions, host);
    scheduler.add(service);
    system.network().listen("/sim/ConfigSrvc", service);
    service.start();
    Image& image = *images.take();
    Process process;
    process.name = "p1";
    process.pid = 101;
    process.locals = image.locals;
    ProcessPlan plan;
    plan.runtimeDirectory = "/sim";
    plan.variables = {{"a", 0, "b", 0}};
    const int count = 10000;
    const auto begin = std::chrono::steady_clock::now();
    scheduler.start(process, [&] {
        image.code->begin(host, plan);
        Operation set;
        set.action = Action::setTransport;
        image.code->perform(set);
        Operation read;
        read.action = Action::readText;
        image.code->perform(read);
        image.code->perform(read);
        read.action = Action::write;
        for (int i = 0; i < count; ++i) {
            read.value = {"v" + std::to_string(i)};
            image.code->perform(read);
        }
    });
    scheduler.run(std::chrono::seconds(10));
    const auto took = std::chrono::steady_clock::now() - begin;
    std::printf("%f us per op, %lu switches, %lu events\n", std::chrono::duration<double, std::micro>(took).count() / count, scheduler.switches(), trace.events());
    for (const auto& fibre : scheduler.fibres()) std::printf("%s %s\n", fibre->name().c_str(), fibre->isFinished() ? "finished" : fibre->waitsFor());
    fflush(stdout);
    _exit(0);
}
