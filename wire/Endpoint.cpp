#include "wire/Endpoint.h"

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace AppConfigWire {

namespace {

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
           c == '-';
}

bool isComponent(std::string_view component) {
    if (component.empty() || component == "." || component == "..") return false;
    for (const char c : component) {
        if (!isNameCharacter(c)) return false;
    }
    return true;
}

using Failed = tl::unexpected<FailureOf<std::errc>>;

Failed unusable(const std::string& directory, std::errc code, const std::string& reason) {
    return failure(code, "the runtime directory '" + directory + "' cannot be used: " + reason);
}

Failed unusable(const std::string& directory, int error) {
    return unusable(directory, static_cast<std::errc>(error), std::strerror(error));
}

}  // namespace

bool isEndpointName(std::string_view name) {
    if (name.size() > longestEndpointName) return false;
    for (;;) {
        const std::size_t slash = name.find('/');
        if (!isComponent(name.substr(0, slash))) return false;
        if (slash == std::string_view::npos) return true;
        name.remove_prefix(slash + 1);
    }
}

std::string defaultRuntimeDirectory() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/') return std::string(runtime) + "/appconfig";
    return "/tmp/appconfig-" + std::to_string(getuid());
}

PathResult<> checkPrivateDirectory(const std::string& directory) {
    struct stat status {};
    // Anybody can create a symbolic link in the parent directory, so a symbolic link is checked itself and not
    // followed.
    if (lstat(directory.c_str(), &status) != 0) {
        if (errno == ENOENT) return {};
        return unusable(directory, errno);
    }
    if (S_ISLNK(status.st_mode)) return unusable(directory, std::errc::not_a_directory, "it is a symbolic link");
    if (!S_ISDIR(status.st_mode)) return unusable(directory, std::errc::not_a_directory, "it is not a directory");
    if (status.st_uid != geteuid()) {
        return unusable(directory, std::errc::permission_denied, "it belongs to another user");
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return unusable(directory, std::errc::permission_denied, "other users may write to it");
    }
    return {};
}

PathResult<> prepareRuntimeDirectory(const std::string& directory) {
    if (mkdir(directory.c_str(), S_IRWXU) != 0 && errno != EEXIST) return unusable(directory, errno);
    if (directory == defaultRuntimeDirectory()) return checkPrivateDirectory(directory);
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) return unusable(directory, errno);
    if (!S_ISDIR(status.st_mode)) return unusable(directory, std::errc::not_a_directory, "it is not a directory");
    return {};
}

PathResult<> prepareEndpointDirectory(const std::string& directory, const std::string& endpoint) {
    for (std::size_t slash = endpoint.find('/'); slash != std::string::npos; slash = endpoint.find('/', slash + 1)) {
        const std::string path = directory + '/' + endpoint.substr(0, slash);
        if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
            return failure(static_cast<std::errc>(errno), "cannot create '" + path + "': " + std::strerror(errno));
        }
    }
    return {};
}

PathResult<std::string> endpointPath(const std::string& directory, const std::string& endpoint) {
    if (!isEndpointName(endpoint)) {
        return failure(std::errc::invalid_argument, "'" + endpoint + "' is not a valid endpoint name");
    }
    std::string path = directory + '/' + endpoint;
    const std::size_t room = sizeof(sockaddr_un{}.sun_path) - 1;
    if (path.size() > room) {
        return failure(std::errc::filename_too_long, "the socket path '" + path + "' of endpoint '" + endpoint +
                                                         "' has " + std::to_string(path.size()) +
                                                         " bytes, the limit is " + std::to_string(room));
    }
    return path;
}

}  // namespace AppConfigWire
