#include "ChildReaper.h"

#include "Queue.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace Platform::ChildReaper {

namespace {

struct Orphan {
    pid_t pid;
    UniqueFd exitDescriptor;
};

struct Orphanage {
    std::mutex mutex;
    std::vector<Orphan> orphans;
    bool running = false;
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

// Never destroyed: the borrowed thread may still wait while the process ends.
Orphanage& orphanage() {
    static auto* instance = new Orphanage;
    return *instance;
}

bool isReaped(const Orphan& orphan) {
    return waitpid(orphan.pid, nullptr, WNOHANG) != 0;
}

void reap() {
    Orphanage& home = orphanage();
    for (;;) {
        std::vector<pollfd> polled{{home.wake, POLLIN, 0}};
        bool isBlind = home.wake < 0;
        {
            const std::lock_guard lock(home.mutex);
            std::erase_if(home.orphans, isReaped);
            if (home.orphans.empty()) {
                home.running = false;
                return;
            }
            for (const Orphan& orphan : home.orphans) {
                isBlind = isBlind || !orphan.exitDescriptor.isOpen();
                polled.push_back({orphan.exitDescriptor.get(), POLLIN, 0});
            }
        }
        poll(polled.data(), polled.size(), isBlind ? 100 : -1);
        eventfd_t ignored = 0;
        eventfd_read(home.wake, &ignored);
    }
}

} // namespace

void adopt(pid_t pid, UniqueFd exitDescriptor) {
    Orphanage& home = orphanage();
    const std::lock_guard lock(home.mutex);
    home.orphans.push_back({pid, std::move(exitDescriptor)});
    if (home.running) {
        eventfd_write(home.wake, 1);
        return;
    }
    home.running = true;
    globalQueue().async(reap);
}

} // namespace Platform::ChildReaper
