#include "HttpThread.h"

#include "CurlCalls.h"

#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <thread>
#include <vector>

namespace Platform {

namespace {

using Clock = HttpThreadClient::Clock;

/// How long an exiting process waits for the network thread to stop; a completion may be stuck.
constexpr std::chrono::milliseconds ParkWait{500};

thread_local bool isNetworkThread = false;

quint64 tag(quint32 client, int descriptor) {
    return quint64(client) << 32 | static_cast<quint32>(descriptor);
}

int millisecondsUntil(Clock::time_point due) {
    if (due == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

} // namespace

HttpThread& HttpThread::shared() {
    static auto* thread = new HttpThread;
    return *thread;
}

HttpThread::HttpThread() : m_epoll(epoll_create1(EPOLL_CLOEXEC)), m_wakeup(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    parkAtExit();
    watch(m_wakeup, EPOLLIN, 0);
    std::thread([this] { run(); }).detach();
}

void HttpThread::parkAtExit() {
    std::atexit([] { shared().park(); });
}

void HttpThread::wake() {
    // The network thread looks at its inbox before it sleeps; others ring once until it has looked.
    if (isNetworkThread || m_isWoken)
        return;
    m_isWoken = true;
    eventfd_write(m_wakeup, 1);
}

void HttpThread::post(Block block, const HttpThreadClient* client) {
    const std::lock_guard lock(m_mutex);
    m_posted.push_back({std::move(block), client});
    wake();
}

void HttpThread::finishFor(const HttpThreadClient* client, const Block& last) {
    if (isNetworkThread) {
        finishHere(client, last);
        return;
    }
    const auto isFinished = std::make_shared<bool>(false);
    post([this, client, last, isFinished] {
        finishHere(client, last);
        const std::lock_guard done(m_mutex);
        *isFinished = true;
        m_changed.notify_all();
    });
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return *isFinished || m_isParked; });
}

void HttpThread::finishHere(const HttpThreadClient* client, const Block& last) {
    last();
    // What others posted before, and what completions posted meanwhile.
    for (;;) {
        Block block;
        {
            const std::lock_guard lock(m_mutex);
            const auto found = std::ranges::find(m_posted, client, &Posted::client);
            if (found == m_posted.end())
                return;
            block = std::move(found->block);
            m_posted.erase(found);
        }
        block();
    }
}

quint32 HttpThread::add(std::shared_ptr<HttpThreadClient> client) {
    m_clients.emplace(++m_lastNumber, std::move(client));
    return m_lastNumber;
}

void HttpThread::remove(quint32 number) {
    m_clients.erase(number);
}

void HttpThread::watch(int descriptor, uint32_t events, quint32 number) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = tag(number, descriptor);
    if (epoll_ctl(m_epoll, EPOLL_CTL_ADD, descriptor, &event) != 0 && errno == EEXIST)
        epoll_ctl(m_epoll, EPOLL_CTL_MOD, descriptor, &event);
}

void HttpThread::unwatch(int descriptor) {
    epoll_ctl(m_epoll, EPOLL_CTL_DEL, descriptor, nullptr);
}

void HttpThread::run() {
    isNetworkThread = true;
    pthread_setname_np(pthread_self(), "http");
    // Signals are for the other threads; a broken pipe is an error code here.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    // Again, after the libraries' own exit handlers are registered: the last one runs first.
    if (isCurlThere())
        parkAtExit();
    for (;;) {
        takeInbox();
        fireDue();
        waitAndServe();
    }
}

void HttpThread::takeInbox() {
    std::unique_lock lock(m_mutex);
    m_isWoken = false;
    if (m_isParkWanted)
        stayParked();
    // Only what is there now: what completions add waits for the next round, after the sockets had theirs.
    for (size_t left = m_posted.size(); left > 0 && !m_posted.empty(); --left) {
        {
            const Posted posted = std::move(m_posted.front());
            m_posted.pop_front();
            lock.unlock();
            posted.block();
        }
        lock.lock();
    }
}

void HttpThread::fireDue() {
    const auto now = Clock::now();
    std::vector<std::shared_ptr<HttpThreadClient>> due;
    for (const auto& [number, client] : m_clients) {
        if (client->nextDue() <= now)
            due.push_back(client);
    }
    for (const auto& client : due)
        client->fireDue(now);
}

void HttpThread::waitAndServe() {
    auto due = Clock::time_point::max();
    for (const auto& [number, client] : m_clients)
        due = std::min(due, client->nextDue());
    int timeout = millisecondsUntil(due);
    {
        const std::lock_guard lock(m_mutex);
        if (!m_posted.empty() || m_isParkWanted)
            timeout = 0;
    }
    std::array<epoll_event, 64> events{};
    const int count = epoll_wait(m_epoll, events.data(), static_cast<int>(events.size()), timeout);
    for (int i = 0; i < count; ++i) {
        const quint64 which = events[static_cast<size_t>(i)].data.u64;
        const auto descriptor = static_cast<int>(which & 0xffffffffU);
        if (descriptor == m_wakeup) {
            eventfd_t ignored = 0;
            eventfd_read(m_wakeup, &ignored);
            continue;
        }
        // A completion earlier in this round may have closed the session.
        const auto found = m_clients.find(static_cast<quint32>(which >> 32));
        if (found == m_clients.end())
            continue;
        const auto client = found->second;
        client->socketReady(descriptor, events[static_cast<size_t>(i)].events);
    }
}

void HttpThread::park() {
    if (isNetworkThread)
        return;
    std::unique_lock lock(m_mutex);
    m_isParkWanted = true;
    wake();
    m_changed.wait_for(lock, ParkWait, [this] { return m_isParked; });
}

/// Called with the lock held; never returns, and lets the lock go.
void HttpThread::stayParked() {
    m_isParked = true;
    m_changed.notify_all();
    m_mutex.unlock();
    for (;;)
        pause();
}

} // namespace Platform
