#pragma once

#include "CurlRequest.h"
#include "Queue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

namespace Platform {

/// The network thread: sleeps until a socket, a deadline or a posted block wants it, and carries out the requests of
/// every session of the process.
///
/// Made on first use, never destroyed. When the process exits it stops where it is, before the libraries under it are
/// taken down; requests still under way are then never completed.
class HttpThread final {
public:
    static HttpThread& shared();

    /// Runs @p block on the network thread, in the order of the calls. Any thread.
    /// @param session  whose work it is, for close()
    void post(Block block, const HttpSessionState* session = nullptr);
    /// Has @p request started, and in the end completed, on the network thread. Any thread.
    void send(std::shared_ptr<CurlRequest> request);
    /// Ends every request of @p session with Cancelled, and its connections, and returns when the completions have run.
    /// Any thread, the network thread too.
    void close(const std::shared_ptr<HttpSessionState>& session);

private:
    struct Posted {
        Block block;
        const HttpSessionState* session;
    };

    HttpThread();
    void run();
    void open();
    void takePosted();
    void collect();
    void fireDue();
    void sleep();
    void wake();
    static void parkAtExit();
    void park();
    void stayParked();

    void start(const std::shared_ptr<CurlRequest>& request);
    void route(CurlRequest& request, const QString& text, const HttpAnswer* redirect = nullptr);
    void beginNext(const CurlRequest& last);
    void transferDone(CurlRequest& request, CURLcode code);
    void finish(const CurlRequest& request, const Error& error, const HttpAnswer& answer = {});
    template <typename Which>
    void finishAll(Which which, const Error& error);
    void closeHere(HttpSessionState& session);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Posted> m_posted;
    bool m_isParkWanted = false;
    /// The transfer library is there, or was not to be had.
    bool m_isLoaded = false;
    bool m_isParked = false;
    /// Null until the thread has begun, and without the transfer library, which each request asks for again.
    CURLM* m_multi = nullptr;

    /// Under way; for the network thread alone.
    std::vector<std::shared_ptr<CurlRequest>> m_requests;
};

} // namespace Platform
