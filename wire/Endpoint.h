#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace AppConfigWire {

/// Names of endpoints, and where a host keeps the sockets that they stand for. Transports and the service share these
/// rules. Nothing here is kept; every operation may be called from any thread.

/// The longest name of an endpoint, in bytes.
inline constexpr std::size_t longestEndpointName = 127;

/// \return whether \p name is one: components of ASCII letters, digits, '.', '_' and '-' parted by '/', none of them
/// empty, "." or "..", at most longestEndpointName bytes in all. A name that passes cannot leave a directory.
bool isEndpointName(std::string_view name);

/// \return $XDG_RUNTIME_DIR/appconfig when that variable holds an absolute path, else /tmp/appconfig-<uid>. Creates
/// nothing.
std::string defaultRuntimeDirectory();

/// Creates \p directory with mode 0700 unless it exists, and its parents not. The default directory must be a real
/// directory (no symbolic link) of this user that nobody else may write to; any other directory is the caller's choice
/// and need only be one.
/// \return an empty text when the directory can be used, else one sentence that says why not.
std::string prepareRuntimeDirectory(const std::string& directory);

/// \return an empty text when \p directory does not exist or obeys the rules of the default directory, whichever it is;
/// else one sentence that says why not. Creates nothing.
std::string checkPrivateDirectory(const std::string& directory);

/// Creates the directories between \p directory, which exists, and the socket of \p endpoint, with mode 0700.
/// \return an empty text, else one sentence that says what failed.
std::string prepareEndpointDirectory(const std::string& directory, const std::string& endpoint);

/// Where the socket of an endpoint lies, or why there can be none.
struct EndpointPath {
    std::string path;   ///< empty on failure
    std::string error;  ///< empty on success, else one sentence that names the endpoint
};

/// \return the path of \p endpoint's socket in \p directory; an error when the name is none, or when the path is longer
/// than a socket's address can hold.
EndpointPath endpointPath(const std::string& directory, const std::string& endpoint);

}  // namespace AppConfigWire
