#include "SystemFaults.h"

#include <dlfcn.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>

namespace {

std::atomic<bool> isArmed{false};
std::atomic<bool> hasFailed{false};
std::atomic<int> left{0};
std::atomic<int> fault{0};
std::atomic<bool> isLasting{false};
thread_local bool isSpared = false;

enum class Call { Making, Naming, Reading, Writing, Talking, Waiting, Starting };

bool isFile(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// Not one of the two ends by which a thread wakes another.
bool isPeer(int descriptor) {
    int domain = 0;
    socklen_t size = sizeof domain;
    return getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_INET;
}

/// Whether a call can meet what is to happen: nobody is out of descriptors while reading.
bool isPossible(Call call, int descriptor) {
    const bool isMoving = call == Call::Reading || call == Call::Writing || call == Call::Talking;
    switch (fault) {
    case SystemFaults::Short:
        return isMoving;
    case EINTR:
        return call != Call::Starting;
    case EMFILE:
        return call == Call::Making || call == Call::Starting;
    case ECONNRESET:
        return call == Call::Talking && isPeer(descriptor);
    case ENOSPC:
        return call == Call::Making || call == Call::Naming || (call == Call::Writing && isFile(descriptor));
    default:
        return call != Call::Waiting && call != Call::Talking && (call != Call::Writing || isFile(descriptor));
    }
}

/// What becomes of a call: 0, an error number or Short.
int next(Call call, int descriptor) {
    if (!isArmed || isSpared || !isPossible(call, descriptor))
        return 0;
    const int position = left.fetch_sub(1);
    if (position > 1 || (position < 1 && !isLasting))
        return 0;
    hasFailed = true;
    return fault;
}

bool fails(Call call, int descriptor = -1) {
    const int error = next(call, descriptor);
    if (error > 0)
        errno = error;
    return error > 0;
}

/// How many bytes a call may move; nothing with errno set when it fails.
bool limit(Call call, int descriptor, size_t& count) {
    const int error = next(call, descriptor);
    if (error == SystemFaults::Short)
        count = std::min(count, SystemFaults::ShortLength);
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

bool SystemFaults::hasStruck() {
    return hasFailed;
}

bool SystemFaults::disarm() {
    isArmed = false;
    return hasFailed;
}

void SystemFaults::spareThisThread() {
    isSpared = true;
}

#define FAILING(kind, type, name, parameters, arguments)                                                               \
    extern "C" type name parameters {                                                                                  \
        static const auto call = real<type(*) parameters>(#name);                                                      \
        return fails(Call::kind) ? -1 : call arguments;                                                                \
    }
#define MOVING(kind, name, parameters, arguments)                                                                      \
    extern "C" ssize_t name parameters {                                                                               \
        static const auto call = real<ssize_t(*) parameters>(#name);                                                   \
        return limit(Call::kind, descriptor, count) ? call arguments : -1;                                             \
    }
#define OPENING(name, parameters, arguments)                                                                           \
    extern "C" int name parameters {                                                                                   \
        static const auto call = real<int(*) parameters>(#name);                                                       \
        va_list rest;                                                                                                  \
        va_start(rest, flags);                                                                                         \
        const mode_t mode = va_arg(rest, mode_t);                                                                      \
        va_end(rest);                                                                                                  \
        return fails(Call::Making) ? -1 : call arguments;                                                              \
    }

OPENING(open, (const char* path, int flags, ...), (path, flags, mode))
OPENING(open64, (const char* path, int flags, ...), (path, flags, mode))
OPENING(openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
OPENING(openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
FAILING(Making, int, mkostemp64, (char* name, int flags), (name, flags))
FAILING(Making, int, mkostemp, (char* name, int flags), (name, flags))
FAILING(Making, int, pipe2, (int* ends, int flags), (ends, flags))
FAILING(Making, int, eventfd, (unsigned count, int flags), (count, flags))
FAILING(Making, int, inotify_init1, (int flags), (flags))
FAILING(Making, int, socket, (int domain, int type, int protocol), (domain, type, protocol))
FAILING(Making, int, socketpair, (int domain, int type, int protocol, int* ends), (domain, type, protocol, ends))
FAILING(Naming, int, inotify_add_watch, (int descriptor, const char* path, unsigned mask), (descriptor, path, mask))
FAILING(Naming, int, fsync, (int descriptor), (descriptor))
FAILING(Naming, int, fdatasync, (int descriptor), (descriptor))
FAILING(Naming, int, ftruncate64, (int descriptor, off_t size), (descriptor, size))
FAILING(Naming, int, rename, (const char* from, const char* to), (from, to))
FAILING(Naming, int, renameat2, (int one, const char* from, int other, const char* to, unsigned flags),
    (one, from, other, to, flags))
FAILING(Naming, int, link, (const char* from, const char* to), (from, to))
FAILING(Naming, int, unlink, (const char* path), (path))
FAILING(Naming, int, mkdir, (const char* path, mode_t mode), (path, mode))
FAILING(Naming, int, flock, (int descriptor, int operation), (descriptor, operation))
FAILING(Waiting, int, poll, (pollfd * descriptors, nfds_t count, int time), (descriptors, count, time))
FAILING(Waiting, pid_t, waitpid, (pid_t child, int* status, int options), (child, status, options))
FAILING(Waiting, int, waitid, (idtype_t type, id_t child, siginfo_t* found, int options), (type, child, found, options))
MOVING(Reading, read, (int descriptor, void* bytes, size_t count), (descriptor, bytes, count))
MOVING(Reading, pread64, (int descriptor, void* bytes, size_t count, off_t at), (descriptor, bytes, count, at))
MOVING(Writing, write, (int descriptor, const void* bytes, size_t count), (descriptor, bytes, count))
MOVING(Writing, pwrite64, (int descriptor, const void* bytes, size_t count, off_t at), (descriptor, bytes, count, at))
MOVING(Writing, pwrite, (int descriptor, const void* bytes, size_t count, off_t at), (descriptor, bytes, count, at))
MOVING(Talking, recv, (int descriptor, void* bytes, size_t count, int flags), (descriptor, bytes, count, flags))
MOVING(Talking, send, (int descriptor, const void* bytes, size_t count, int flags), (descriptor, bytes, count, flags))

extern "C" int connect(int descriptor, const sockaddr* address, socklen_t size) {
    static const auto call = real<decltype(&connect)>("connect");
    return fails(Call::Talking, descriptor) ? -1 : call(descriptor, address, size);
}

// Gives the number itself.
extern "C" int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
    const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    static const auto call = real<decltype(&posix_spawn)>("posix_spawn");
    return fails(Call::Starting) ? errno : call(child, path, actions, attributes, arguments, environment);
}
