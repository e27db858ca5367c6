#pragma once

#include "HttpAnswer.h"
#include "HttpSession.h"

#include <QNetworkProxy>
#include <QUrl>

#include <array>
#include <atomic>
#include <chrono>
#include <optional>

namespace Platform {

/// What the network thread knows of a session.
struct HttpSessionState {
    explicit HttpSessionState(HttpSettings chosen) : settings(std::move(chosen)) {}

    const HttpSettings settings;
    /// A request was sent.
    std::atomic<bool> isUsed{false};
    /// Its own: no connection made with one session's trust or identity serves another.
    CURLSH* connections = nullptr;
    bool isClosed = false;
};

/// One request on its way, with the redirects that it is sent through: what to send, what has come, who wants to know.
class CurlRequest final : public std::enable_shared_from_this<CurlRequest> {
public:
    using Clock = std::chrono::steady_clock;
    using Finish = std::function<void(const Error& error, const HttpAnswer& answer)>;

    /// @param deadline  when the whole answer must have come
    CurlRequest(
        std::shared_ptr<HttpSessionState> session, HttpRequest request, Clock::time_point deadline, Finish finish);
    ~CurlRequest();
    CurlRequest(const CurlRequest&) = delete;
    CurlRequest& operator=(const CurlRequest&) = delete;

    const HttpSessionState& session() const { return *m_session; }
    Clock::time_point deadline() const { return m_deadline; }
    const HttpRequest& request() const { return m_request; }
    const QUrl& url() const { return m_url; }
    void setUrl(const QUrl& url) { m_url = url; }
    /// The next hop of a redirect by @p status. Returns how many there were so far.
    int countRedirect(long status);

    /// What may begin once few enough go to the same host.
    void waitWith(const QNetworkProxy& proxy) { m_proxy = proxy; }
    bool isWaiting() const { return m_proxy && !m_easy; }
    bool isAttached() const { return m_easy; }
    bool sharesConnections(const CurlRequest& other) const;

    /// A new handle for the next transfer, which calls back into this object until detach(); null when there is none.
    CURL* attach();
    /// Ends the transfer, or the wait for it.
    void detach(CURLM* multi);
    static CurlRequest& of(CURL* easy);

    /// What came of a transfer that ended with @p code; empties what was gathered.
    Error takeAnswer(CURLcode code, HttpAnswer* answer);
    void finish(const Error& error, const HttpAnswer& answer = {}) const { m_finish(error, answer); }

private:
    void setConnection();
    void setTransport();
    void setMethod();
    static size_t onBody(char* bytes, size_t size, size_t count, void* self);
    static size_t onHeader(char* bytes, size_t size, size_t count, void* self);

    const std::shared_ptr<HttpSessionState> m_session;
    HttpRequest m_request;
    const Clock::time_point m_deadline;
    const Finish m_finish;
    QUrl m_url;
    std::optional<QNetworkProxy> m_proxy;
    int m_redirects = 0;

    CURL* m_easy = nullptr;
    curl_slist* m_headers = nullptr;
    std::array<char, CURL_ERROR_SIZE> m_detail{};
    QByteArray m_body;
    size_t m_headerBytes = 0;
    bool m_isHeaderComplete = false;
    QString m_statusWords;
    bool m_tooLarge = false;
};

} // namespace Platform
