#include "HttpThread.h"

#include "CurlCalls.h"

#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <thread>

namespace Platform {

namespace {

using Clock = HttpSessionCore::Clock;

/// How long an exiting process waits for the network thread to stop; a completion may be stuck.
constexpr std::chrono::milliseconds ParkWait{500};

thread_local bool isNetworkThread = false;

quint64 tag(quint32 session, int descriptor) {
    return quint64(session) << 32 | static_cast<quint32>(descriptor);
}

int millisecondsUntil(Clock::time_point due) {
    if (due == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

int curlEvents(uint32_t events) {
    int result = 0;
    if (events & (EPOLLIN | EPOLLHUP))
        result |= CURL_CSELECT_IN;
    if (events & EPOLLOUT)
        result |= CURL_CSELECT_OUT;
    if (events & EPOLLERR)
        result |= CURL_CSELECT_ERR;
    return result;
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

bool HttpThread::isCurrent() const {
    return isNetworkThread;
}

void HttpThread::wake() {
    // The network thread looks at its inbox before it sleeps; others ring once until it has looked.
    if (isNetworkThread || m_isWoken)
        return;
    m_isWoken = true;
    eventfd_write(m_wakeup, 1);
}

void HttpThread::send(std::shared_ptr<HttpSessionCore> session, std::unique_ptr<CurlRequest> request) {
    session->isUsed = true;
    const std::lock_guard lock(m_mutex);
    m_sent.push_back({std::move(session), std::move(request)});
    wake();
}

void HttpThread::post(Block block) {
    const std::lock_guard lock(m_mutex);
    m_posted.push_back(std::move(block));
    wake();
}

void HttpThread::close(const std::shared_ptr<HttpSessionCore>& session) {
    if (isNetworkThread) {
        closeHere(session);
        return;
    }
    const auto isClosed = std::make_shared<bool>(false);
    std::unique_lock lock(m_mutex);
    m_posted.push_back([this, session, isClosed] {
        closeHere(session);
        const std::lock_guard done(m_mutex);
        *isClosed = true;
        m_changed.notify_all();
    });
    wake();
    m_changed.wait(lock, [&] { return *isClosed || m_isParked; });
}

void HttpThread::closeHere(const std::shared_ptr<HttpSessionCore>& session) {
    session->close();
    m_sessions.erase(session->id());
    // What its other senders handed over before, and what its completions sent meanwhile.
    for (;;) {
        std::unique_ptr<CurlRequest> request;
        {
            const std::lock_guard lock(m_mutex);
            const auto found =
                std::find_if(m_sent.begin(), m_sent.end(), [&](const Sent& sent) { return sent.session == session; });
            if (found == m_sent.end())
                return;
            request = std::move(found->request);
            m_sent.erase(found);
        }
        session->start(std::move(request));
    }
}

void HttpThread::watch(int descriptor, uint32_t events, quint32 session) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = tag(session, descriptor);
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
    for (size_t left = m_sent.size(); left > 0 && !m_sent.empty(); --left) {
        Sent sent = std::move(m_sent.front());
        m_sent.pop_front();
        lock.unlock();
        if (sent.session->id() == 0 && !sent.session->isClosed()) {
            sent.session->setId(++m_lastSession);
            m_sessions.emplace(m_lastSession, sent.session);
        }
        sent.session->start(std::move(sent.request));
        sent = {};
        lock.lock();
    }
    for (size_t left = m_posted.size(); left > 0 && !m_posted.empty(); --left) {
        {
            const Block block = std::move(m_posted.front());
            m_posted.pop_front();
            lock.unlock();
            block();
        }
        lock.lock();
    }
}

void HttpThread::fireDue() {
    const auto now = Clock::now();
    for (const auto& [id, session] : m_sessions) {
        if (session->nextDue() <= now)
            m_due.push_back(session);
    }
    for (const auto& session : m_due)
        session->fireDue(now);
    m_due.clear();
}

void HttpThread::waitAndServe() {
    auto due = Clock::time_point::max();
    for (const auto& [id, session] : m_sessions)
        due = std::min(due, session->nextDue());
    int timeout = millisecondsUntil(due);
    {
        const std::lock_guard lock(m_mutex);
        if (!m_sent.empty() || !m_posted.empty() || m_isParkWanted)
            timeout = 0;
    }
    std::array<epoll_event, 64> events{};
    const int count = epoll_wait(m_epoll, events.data(), static_cast<int>(events.size()), timeout);
    for (int i = 0; i < count; ++i) {
        const quint64 which = events[static_cast<size_t>(i)].data.u64;
        const int descriptor = static_cast<int>(which & 0xffffffffU);
        if (descriptor == m_wakeup) {
            eventfd_t ignored = 0;
            eventfd_read(m_wakeup, &ignored);
            continue;
        }
        // A completion earlier in this round may have closed the session.
        const auto found = m_sessions.find(static_cast<quint32>(which >> 32));
        if (found == m_sessions.end())
            continue;
        const auto session = found->second;
        session->socketReady(descriptor, curlEvents(events[static_cast<size_t>(i)].events));
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
