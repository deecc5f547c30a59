#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace AppConfigTest {

/// A fresh directory for one test; removed with all it holds at the end. Its path is short: a socket's has to fit into
/// some hundred bytes.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        // In memory where there is such a place: what is killed there keeps its files as well as on a disk, and a test
        // that writes thousands of times does not wait for one.
        m_path = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm/appcfgtest-XXXXXX" : "/tmp/appcfgtest-XXXXXX";
        if (::mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("no temporary directory can be made");
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

    /// Writes \p text into a file of that name, replacing what was there. \return its path.
    std::string write(const std::string& name, const std::string& text) const {
        const std::string path = file(name);
        std::ofstream out(path, std::ios::trunc);
        out << text;
        out.close();
        if (!out) throw std::runtime_error("cannot write " + path);
        return path;
    }

private:
    std::string m_path;
};

}  // namespace AppConfigTest
