#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <vector>

#include "ClientProcess.h"
#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

const std::vector<std::string> variables = {"storm.a", "storm.b", "storm.c", "storm.d", "storm.e"};

std::string definitions() {
    std::string text;
    for (const std::string& variable : variables) {
        text += "variable { node: \"storm\" attribute: \"" + variable.substr(6) +
                "\" type: INT default_value: \"0\" minimum: 0 maximum: 90 }\n";
    }
    return text;
}

TEST(Storm, TenThousandRandomWritesOfFourProcessesEndWithEverybodyEqual) {
    ServiceProcess service(definitions());
    service.start();
    std::vector<std::unique_ptr<ClientProcess>> watchers;
    for (int i = 0; i < 3; ++i) {
        ClientProcess& watcher = *watchers.emplace_back(std::make_unique<ClientProcess>(service));
        for (const std::string& variable : variables) {
            watcher.perform({{"do", "watch"}, {"var", variable}, {"name", variable}});
            watcher.perform({{"do", "get"}, {"var", variable}});
        }
    }
    std::vector<std::unique_ptr<ClientProcess>> writers;
    std::vector<int> writing;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        ClientProcess& writer = *writers.emplace_back(std::make_unique<ClientProcess>(service, patience));
        writing.push_back(writer.start({{"do", "storm"}, {"vars", variables}, {"count", 2500}, {"seed", seed}}));
    }
    for (std::size_t i = 0; i < writers.size(); ++i) {
        const Json answer = writers[i]->answerTo(writing[i], std::chrono::seconds(90));
        EXPECT_EQ(answer["lost"], 0) << answer;
        EXPECT_GT(answer["accepted"], 1000) << answer;
        // One more awaited message of this process: what it sent before without waiting has been served by then.
        writers[i]->perform({{"do", "levels"}, {"var", variables.front()}});
    }

    for (const std::string& variable : variables) {
        const std::string stored = service.appcfg({"get", variable}).out;
        const Json value = Json::array({stored.substr(0, stored.size() - 1)});
        std::vector<ClientProcess*> everybody;
        for (const auto& client : watchers) everybody.push_back(client.get());
        for (const auto& client : writers) everybody.push_back(client.get());
        for (ClientProcess* client : everybody) {
            Json cached;
            for (int attempt = 0; attempt < 5000 && cached != value; ++attempt) {
                cached = client->perform({{"do", "get"}, {"var", variable}})["value"];
            }
            EXPECT_EQ(cached, value) << variable;
        }
    }
    for (const std::string& variable : variables) {
        const std::string before = service.appcfg({"get", variable}).out;
        service.kill();
        service.start();
        EXPECT_EQ(service.appcfg({"get", variable}).out, before) << "the store holds the same";
    }
}

}  // namespace
}  // namespace AppConfigTest
