#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace AppConfigTest {

/// An empty directory of its own with a short path, removed with everything in it at the end.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = "/tmp/appcfg-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) std::abort();
        m_path = pattern;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace AppConfigTest
