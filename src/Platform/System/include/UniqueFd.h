#pragma once

#include <QByteArrayView>

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace Platform {

/// Owns a file descriptor, or none, and closes it. Moves, does not copy.
class UniqueFd final {
public:
    UniqueFd() = default;
    explicit UniqueFd(int descriptor) : m_descriptor(descriptor) {}
    ~UniqueFd() { close(); }
    UniqueFd(UniqueFd&& other) noexcept : m_descriptor(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) {
            close();
            m_descriptor = other.release();
        }
        return *this;
    }

    bool isOpen() const { return m_descriptor >= 0; }
    /// -1 for none.
    int get() const { return m_descriptor; }
    int release() { return std::exchange(m_descriptor, -1); }
    /// False with errno when what was written did not arrive.
    bool close() {
        const int descriptor = release();
        return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
    }

private:
    int m_descriptor = -1;
};

/// Makes a system call again for as long as a signal interrupts it.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// Writes all of @p bytes, however many calls that takes; false with errno. Waits as long as the other end lets it.
bool writeAll(int descriptor, QByteArrayView bytes);

} // namespace Platform
