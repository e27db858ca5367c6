#pragma once

#include "CurlRequest.h"

#include <atomic>
#include <map>
#include <set>
#include <vector>

namespace Platform {

/// What a session is on the network thread: its connections, its requests under way and their deadlines.
///
/// Each session has a multi handle of its own, so that no connection made with one session's trust or identity serves
/// another. All but settings() and isUsed is for the network thread alone.
class HttpSessionCore final : public std::enable_shared_from_this<HttpSessionCore> {
public:
    using Clock = CurlRequest::Clock;

    explicit HttpSessionCore(HttpSettings settings);
    ~HttpSessionCore();
    HttpSessionCore(const HttpSessionCore&) = delete;
    HttpSessionCore& operator=(const HttpSessionCore&) = delete;

    const HttpSettings& settings() const { return m_settings; }
    /// A request was sent: the network thread knows the session.
    std::atomic<bool> isUsed{false};

    quint32 id() const { return m_id; }
    void setId(quint32 id) { m_id = id; }
    bool isClosed() const { return m_closed; }

    /// Takes a request on its way; its completion is called later, or before this returns when nothing can be sent.
    void start(std::unique_ptr<CurlRequest> request);
    /// Ends every request with Cancelled and every connection; what is started afterwards is cancelled at once.
    void close();

    void socketReady(int descriptor, int curlEvents);
    /// Does what is due at @p now.
    void fireDue(Clock::time_point now);
    /// When fireDue() is to be called next; the far end of time when nothing is under way.
    Clock::time_point nextDue() const;

private:
    using RequestId = quint64;

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
    quint32 m_id = 0;
    bool m_closed = false;
    CURLM* m_multi = nullptr;
    RequestId m_lastRequest = 0;
    std::map<RequestId, std::unique_ptr<CurlRequest>> m_requests;
    std::set<std::pair<Clock::time_point, RequestId>> m_deadlines;
    Clock::time_point m_curlDue = Clock::time_point::max();
    std::vector<CURL*> m_spareHandles;
};

} // namespace Platform
