#include "SystemFaults.h"

#include <dlfcn.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

namespace {

std::atomic<bool> isArmed{false};
std::atomic<bool> hasFailed{false};
std::atomic<int> left{0};
std::atomic<int> fault{0};
std::atomic<bool> isLasting{false};

/// What becomes of a call: 0, an error number or Short.
int next() {
    if (!isArmed)
        return 0;
    const int position = left.fetch_sub(1);
    if (position > 1 || (position < 1 && !isLasting))
        return 0;
    hasFailed = true;
    return fault;
}

bool fails() {
    const int error = next();
    if (error > 0)
        errno = error;
    return error > 0;
}

/// How many bytes a call may move; nothing with errno set when it fails.
bool limit(size_t& count) {
    const int error = next();
    if (error == SystemFaults::Short && count > 1)
        count /= 2;
    if (error > 0)
        errno = error;
    return error <= 0;
}

template <typename Function>
Function real(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

void SystemFaults::arm(int first, int error, bool lasting) {
    left = first;
    fault = error;
    isLasting = lasting;
    hasFailed = false;
    isArmed = true;
}

bool SystemFaults::disarm() {
    isArmed = false;
    return hasFailed;
}

#define FAILING(name, parameters, arguments)                                                                           \
    extern "C" int name parameters {                                                                                   \
        static const auto call = real<int(*) parameters>(#name);                                                       \
        return fails() ? -1 : call arguments;                                                                          \
    }
#define MOVING(name, bytes, parameters, arguments)                                                                     \
    extern "C" ssize_t name parameters {                                                                               \
        static const auto call = real<ssize_t(*) parameters>(#name);                                                   \
        return limit(bytes) ? call arguments : -1;                                                                     \
    }
#define OPENING(name, parameters, arguments)                                                                           \
    extern "C" int name parameters {                                                                                   \
        static const auto call = real<int(*) parameters>(#name);                                                       \
        va_list rest;                                                                                                  \
        va_start(rest, flags);                                                                                         \
        const mode_t mode = va_arg(rest, mode_t);                                                                      \
        va_end(rest);                                                                                                  \
        return fails() ? -1 : call arguments;                                                                          \
    }

OPENING(open, (const char* path, int flags, ...), (path, flags, mode))
OPENING(open64, (const char* path, int flags, ...), (path, flags, mode))
OPENING(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
OPENING(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
FAILING(mkostemp64, (char* name, int flags), (name, flags))
FAILING(mkostemp, (char* name, int flags), (name, flags))
FAILING(fsync, (int descriptor), (descriptor))
FAILING(fdatasync, (int descriptor), (descriptor))
FAILING(ftruncate64, (int descriptor, off_t size), (descriptor, size))
FAILING(rename, (const char* from, const char* to), (from, to))
FAILING(
    renameat2, (int one, const char* from, int other, const char* to, unsigned flags), (one, from, other, to, flags))
FAILING(link, (const char* from, const char* to), (from, to))
FAILING(unlink, (const char* path), (path))
FAILING(mkdir, (const char* path, mode_t mode), (path, mode))
FAILING(flock, (int descriptor, int operation), (descriptor, operation))
FAILING(pipe2, (int* ends, int flags), (ends, flags))
FAILING(eventfd, (unsigned count, int flags), (count, flags))
FAILING(inotify_init1, (int flags), (flags))
FAILING(inotify_add_watch, (int descriptor, const char* path, unsigned mask), (descriptor, path, mask))
FAILING(socket, (int domain, int type, int protocol), (domain, type, protocol))
MOVING(read, count, (int descriptor, void* bytes, size_t count), (descriptor, bytes, count))
MOVING(write, count, (int descriptor, const void* bytes, size_t count), (descriptor, bytes, count))
MOVING(pread64, count, (int descriptor, void* bytes, size_t count, off_t place), (descriptor, bytes, count, place))
MOVING(
    pwrite64, count, (int descriptor, const void* bytes, size_t count, off_t place), (descriptor, bytes, count, place))
MOVING(pwrite, count, (int descriptor, const void* bytes, size_t count, off_t place), (descriptor, bytes, count, place))
