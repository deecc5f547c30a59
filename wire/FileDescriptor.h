#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace AppConfigWire {

/// Owns a descriptor and closes it. Movable; not thread-safe. Closing leaves errno as it was.
class [[nodiscard]] FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            m_fd = std::exchange(other.m_fd, -1);
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }

    int get() const { return m_fd; }
    bool isOpen() const { return m_fd >= 0; }

    void reset() {
        if (m_fd < 0) return;
        const int error = errno;
        close(m_fd);
        errno = error;
        m_fd = -1;
    }

private:
    int m_fd = -1;
};

}  // namespace AppConfigWire
