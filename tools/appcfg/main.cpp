#include <iostream>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Commands.h"

int main(int argc, char** argv) {
    using AppConfigTool::ExitStatus;
    const AppConfigTool::ParsedArguments parsed =
        AppConfigTool::parseArguments(std::vector<std::string>(argv + 1, argv + argc));
    AppConfigTool::Output output(std::cout, std::cerr, parsed.arguments && parsed.arguments->json);
    if (!parsed.arguments) {
        if (!parsed.complaint) {
            std::cout << parsed.text << std::flush;
            return static_cast<int>(ExitStatus::done);
        }
        output.complain(parsed.text + " (appcfg --help tells more)");
        return static_cast<int>(ExitStatus::usage);
    }
    return static_cast<int>(AppConfigTool::catchingFailures(
        [&] { return AppConfigTool::runCommandLine(*parsed.arguments, output); }, output));
}
