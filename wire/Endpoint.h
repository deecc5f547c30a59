#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

#include "wire/Result.h"

namespace AppConfigWire {

/// Names of endpoints, and where a host keeps the sockets that they stand for. Transports and the service share these
/// rules. Nothing here is kept; every operation may be called from any thread.

/// The code is the system's; not_a_directory and permission_denied also stand for a directory that breaks the rules.
template <typename T = void>
using PathResult = ResultOf<T, std::errc>;

/// The longest name of an endpoint, in bytes.
inline constexpr std::size_t longestEndpointName = 127;

/// \return whether \p name is a valid endpoint name: components of ASCII letters, digits, '.', '_' and '-', separated
/// by '/', none of them empty, "." or "..", at most longestEndpointName bytes in all. Such a name cannot lead out of a
/// directory.
bool isEndpointName(std::string_view name);

/// \return $XDG_RUNTIME_DIR/appconfig when that variable holds an absolute path, else /tmp/appconfig-<uid>. Creates
/// nothing.
std::string defaultRuntimeDirectory();

/// Creates \p directory with mode 0700 unless it exists; its parents are not created. The default directory must be a
/// real directory of this user (no symbolic link) to which nobody else may write. Any other directory is the caller's
/// choice and only has to be a directory.
/// \return whether the directory can be used.
PathResult<> prepareRuntimeDirectory(const std::string& directory);

/// \return whether \p directory does not exist or obeys the rules of the default directory, whichever it is. Creates
/// nothing.
PathResult<> checkPrivateDirectory(const std::string& directory);

/// Creates the directories between \p directory, which exists, and the socket of \p endpoint, with mode 0700.
PathResult<> prepareEndpointDirectory(const std::string& directory, const std::string& endpoint);

/// \return the path of \p endpoint's socket in \p directory. Fails with invalid_argument if the name is not valid, and
/// with filename_too_long if the path is longer than a socket address can hold; the reason names the endpoint.
PathResult<std::string> endpointPath(const std::string& directory, const std::string& endpoint);

}  // namespace AppConfigWire
