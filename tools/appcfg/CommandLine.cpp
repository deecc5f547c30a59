#include <exception>
#include <string>

#include "Commands.h"
#include "Session.h"

namespace AppConfigTool {

ExitStatus runCommandLine(const Arguments& arguments, Output& output) {
    using Command = Arguments::Command;
    if (arguments.command == Command::watch) return watchVariables(arguments, output);
    if (arguments.command == Command::provide) return provideVariable(arguments, output);
    Session session(arguments, output);
    switch (arguments.command) {
        case Command::get: return getValue(session);
        case Command::set: return setValue(session);
        case Command::validate: return validateValue(session);
        case Command::reset: return resetVariable(session);
        case Command::show: return showRecord(session);
        case Command::options: return showOrSetOptions(session);
        case Command::access: return showOrSetAccess(session);
        case Command::list: return listVariables(session);
        case Command::submit: return submitVariable(session);
        case Command::watch:
        case Command::provide: break;
    }
    return ExitStatus::usage;
}

ExitStatus catchingFailures(const std::function<ExitStatus()>& work, Output& output) {
    try {
        return work();
    } catch (const std::exception& failure) {
        output.complain(std::string("internal error: ") + failure.what());
    } catch (...) {
        output.complain("internal error: an exception of an unknown kind");
    }
    return ExitStatus::internalError;
}

}  // namespace AppConfigTool
