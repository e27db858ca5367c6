#pragma once

#include "Queue.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

namespace Platform {

/// What the network thread sees of a session.
class HttpThreadClient {
public:
    using Clock = std::chrono::steady_clock;

    virtual ~HttpThreadClient() = default;
    /// @param events  of epoll
    virtual void socketReady(int descriptor, uint32_t events) = 0;
    /// Does what is due at @p now.
    virtual void fireDue(Clock::time_point now) = 0;
    /// When fireDue() is to be called next; the far end of time when nothing is under way.
    virtual Clock::time_point nextDue() const = 0;
};

/// The network thread: sleeps until a socket, a deadline or a posted block wants it, and serves every session of the
/// process.
///
/// Made on first use, never destroyed. When the process exits it stops where it is, before the libraries under it are
/// taken down; requests still under way are then never completed.
class HttpThread final {
public:
    static HttpThread& shared();

    /// Runs @p block on the network thread, in the order of the calls. Any thread.
    /// @param client  whose work it is, for finishFor()
    void post(Block block, const HttpThreadClient* client = nullptr);
    /// Runs @p last on the network thread after all that was posted for @p client, and what that posts for it again,
    /// and returns then. Any thread, the network thread too.
    void finishFor(const HttpThreadClient* client, const Block& last);

    /// For the network thread alone, as what follows. @returns the number by which sockets are watched for @p client
    quint32 add(std::shared_ptr<HttpThreadClient> client);
    void remove(quint32 number);
    void watch(int descriptor, uint32_t events, quint32 number);
    void unwatch(int descriptor);

private:
    struct Posted {
        Block block;
        const HttpThreadClient* client;
    };

    HttpThread();
    void run();
    void takeInbox();
    void fireDue();
    void waitAndServe();
    void finishHere(const HttpThreadClient* client, const Block& last);
    void wake();
    void park();
    static void parkAtExit();
    void stayParked();

    int m_epoll = -1;
    int m_wakeup = -1;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Posted> m_posted;
    bool m_isWoken = false;
    bool m_isParkWanted = false;
    bool m_isParked = false;

    quint32 m_lastNumber = 0;
    std::map<quint32, std::shared_ptr<HttpThreadClient>> m_clients;
};

} // namespace Platform
