#pragma once

#include <string>

namespace AppConfigTest {

/// A fresh directory of its own for one test; removed with all it holds at the end.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

    /// Writes \p text into a file of that name, replacing what was there. \return its path.
    std::string write(const std::string& name, const std::string& text) const;

private:
    std::string m_path;
};

}  // namespace AppConfigTest
