#pragma once

#include "HttpSessionCore.h"
#include "ProxyLookup.h"
#include "Queue.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

namespace Platform {

/// The network thread: sleeps until a socket, a deadline or a new request wants it, and serves every session of the
/// process.
///
/// Made on first use, never destroyed. When the process exits it stops where it is, before the libraries under it are
/// taken down; requests still under way are then never completed.
class HttpThread final {
public:
    static HttpThread& shared();

    bool isCurrent() const;
    /// Any thread. Requests are started in this order.
    void send(std::shared_ptr<HttpSessionCore> session, std::unique_ptr<CurlRequest> request);
    /// Runs @p block on the network thread. Any thread.
    void post(Block block);
    /// Closes @p session and returns when its completions have run. Any thread, the network thread too.
    void close(const std::shared_ptr<HttpSessionCore>& session);

    /// For the network thread alone, as what follows.
    ProxyLookup& proxies() { return m_proxies; }
    void watch(int descriptor, uint32_t events, quint32 session);
    void unwatch(int descriptor);

private:
    struct Sent {
        std::shared_ptr<HttpSessionCore> session;
        std::unique_ptr<CurlRequest> request;
    };

    HttpThread();
    void run();
    void takeInbox();
    void fireDue();
    void waitAndServe();
    void closeHere(const std::shared_ptr<HttpSessionCore>& session);
    void wake();
    void park();
    static void parkAtExit();
    void stayParked();

    int m_epoll = -1;
    int m_wakeup = -1;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Sent> m_sent;
    std::deque<Block> m_posted;
    bool m_isWoken = false;
    bool m_isParkWanted = false;
    bool m_isParked = false;

    ProxyLookup m_proxies;
    quint32 m_lastSession = 0;
    std::map<quint32, std::shared_ptr<HttpSessionCore>> m_sessions;
    std::vector<std::shared_ptr<HttpSessionCore>> m_due;
};

} // namespace Platform
