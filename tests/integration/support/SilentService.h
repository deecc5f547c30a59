#pragma once

#include <string>

namespace AppConfigTest {

/// A service that lets clients connect and never says a word.
class SilentService {
public:
    /// Listens as the service of \p runtimeDirectory, which it creates.
    explicit SilentService(const std::string& runtimeDirectory);
    SilentService(const SilentService&) = delete;
    SilentService& operator=(const SilentService&) = delete;
    ~SilentService();

private:
    int m_listener = -1;
};

}  // namespace AppConfigTest
