#pragma once

#include <string>
#include <string_view>

namespace AppConfigWire {

/// \return \p text so that it can be shown in one line of a log or on a terminal whoever wrote it: control characters,
/// line and paragraph separators, characters that change the direction of what follows, and bytes that are not UTF-8
/// appear as escapes such as \n, \x1b and \u202e. All else stays, backslashes included: this is for people to read, and
/// not to be read back. Any thread.
std::string escaped(std::string_view text);

}  // namespace AppConfigWire
