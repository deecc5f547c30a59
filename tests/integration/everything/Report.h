#pragma once

#include <fstream>
#include <mutex>
#include <string>

namespace AppConfigTest {

/// What a process that may not write on its outputs tells the test: a file with a line for each expectation that did
/// not hold. Thread-safe.
class Report {
public:
    explicit Report(const std::string& path) : m_file(path) {}

    void expect(bool holds, const char* what, int line) {
        if (holds) return;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_file << line << ": " << what << std::endl;
    }

private:
    std::mutex m_mutex;
    std::ofstream m_file;
};

}  // namespace AppConfigTest

/// Notes in \p report when \p condition does not hold.
#define EXPECT_IN(report, condition) (report).expect(condition, #condition, __LINE__)
