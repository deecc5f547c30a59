#include "TemporaryDirectory.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace AppConfigTest {

TemporaryDirectory::TemporaryDirectory() {
    // In memory where there is such a place: what is killed there keeps its files as well as on a disk, and a test that
    // writes thousands of times does not wait for one. Short on purpose: a socket's path must fit into some hundred
    // bytes.
    std::string pattern = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm/appcfgtest-XXXXXX" : "/tmp/appcfgtest-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory can be made");
    m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& text) const {
    const std::string path = file(name);
    std::ofstream out(path, std::ios::trunc);
    out << text;
    out.close();
    if (!out) throw std::runtime_error("cannot write " + path);
    return path;
}

}  // namespace AppConfigTest
