#pragma once

#include "CurlRequest.h"
#include "HttpThread.h"

#include <atomic>
#include <map>
#include <set>
#include <vector>

namespace Platform {

/// What a session is on the network thread: its connections, its requests under way and their deadlines.
///
/// Each session has a multi handle of its own, so that no connection made with one session's trust or identity serves
/// another. All but send() and shutDown() is for the network thread alone.
class HttpSessionCore final : public HttpThreadClient, public std::enable_shared_from_this<HttpSessionCore> {
public:
    explicit HttpSessionCore(HttpSettings settings);
    ~HttpSessionCore() override = default;
    HttpSessionCore(const HttpSessionCore&) = delete;
    HttpSessionCore& operator=(const HttpSessionCore&) = delete;

    /// Has @p request started on the network thread; there its completion is called. Any thread.
    void send(std::shared_ptr<CurlRequest> request);
    /// Ends every request with Cancelled and every connection, and returns when the completions have run. Any thread.
    void shutDown();

    void socketReady(int descriptor, uint32_t events) override;
    void fireDue(Clock::time_point now) override;
    Clock::time_point nextDue() const override;

private:
    using RequestId = quint64;

    void start(const std::shared_ptr<CurlRequest>& request);
    void close();
    bool openMulti();
    void route(CurlRequest& request, const QString& url);
    void begin(CurlRequest& request, const ProxyChoice& proxy);
    void collect();
    void transferDone(CurlRequest& request, CURLcode code);
    void follow(CurlRequest& request, const HttpAnswer& answer);
    void finish(CurlRequest& request, const Error& error, const HttpAnswer& answer = {});
    void releaseHandle(CurlRequest& request);
    static int onSocket(CURL* easy, curl_socket_t descriptor, int what, void* self, void* known);
    static int onTimer(CURLM* multi, long milliseconds, void* self);

    const HttpSettings m_settings;
    /// A request was sent: the network thread may know the session.
    std::atomic<bool> m_isUsed{false};
    /// By which the network thread knows it; 0 before the first request.
    quint32 m_number = 0;
    bool m_closed = false;
    CURLM* m_multi = nullptr;
    RequestId m_lastRequest = 0;
    std::map<RequestId, std::shared_ptr<CurlRequest>> m_requests;
    std::set<std::pair<Clock::time_point, RequestId>> m_deadlines;
    Clock::time_point m_curlDue = Clock::time_point::max();
    std::vector<CURL*> m_spareHandles;
};

} // namespace Platform
