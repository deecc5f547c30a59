// A client process of the integration tests: carries out the commands that come as JSON, one per line, on standard
// input, and answers each with one line; what handlers are told comes as further lines.
//
// usage: integration_client RUNTIME_DIRECTORY [DEADLINE_MS]

#include <chrono>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "AppConfig/AppConfig.h"
#include "Commands.h"
#include "Handlers.h"
#include "IntrudingTransport.h"
#include "Lines.h"
#include "UnixTransport.h"

namespace {

using AppConfigTest::Json;

/// Holds the next message of a type back until the test says release.
Json pauseBefore(AppConfigTest::IntrudingTransport& transport, const std::string& type) {
    transport.before(type, [type] {
        AppConfigTest::emit({{"event", "paused"}, {"type", type}});
        AppConfigTest::HandlerBook::instance().hang();
    });
    return {{"ok", true}};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    PbUtility::TransportOptions options;
    options.runtimeDirectory = argv[1];
    if (argc > 2) options.deadline = std::chrono::milliseconds(std::stoi(argv[2]));
    PbUtility::UnixTransport socket(options);
    AppConfigTest::IntrudingTransport transport(socket);
    AppConfig::AppCfgManager::getInstance()->setPbInterface(&transport);

    std::vector<std::thread> background;
    std::string line;
    while (std::getline(std::cin, line)) {
        const Json command = Json::parse(line);
        const auto perform = [command, &transport] {
            Json answer;
            try {
                answer = command.at("do") == "pause-before" ? pauseBefore(transport, command.at("type"))
                                                            : AppConfigTest::execute(command);
            } catch (const std::exception& failure) {
                answer = {{"failure", failure.what()}};
            }
            answer["answer"] = command.at("id");
            AppConfigTest::emit(answer);
        };
        if (command.value("background", false)) {
            background.emplace_back(perform);
        } else {
            perform();
        }
    }
    for (std::thread& thread : background) thread.join();
    return 0;
}
