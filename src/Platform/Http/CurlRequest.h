#pragma once

#include "HttpAnswer.h"
#include "HttpSession.h"
#include "HttpUrl.h"
#include "ProxyLookup.h"

#include <array>
#include <chrono>

namespace Platform {

/// One request on its way, with the redirects that it is sent through: what to send, what has come, who wants to know.
class CurlRequest final {
public:
    using Clock = std::chrono::steady_clock;
    using Finish = std::function<void(const Error& error, const HttpAnswer& answer)>;

    /// @param deadline  when the whole answer must have come
    CurlRequest(HttpRequest request, Clock::time_point deadline, Finish finish);
    ~CurlRequest();
    CurlRequest(const CurlRequest&) = delete;
    CurlRequest& operator=(const CurlRequest&) = delete;

    /// Number within its session.
    quint64 id() const { return m_id; }
    void setId(quint64 id) { m_id = id; }
    Clock::time_point deadline() const { return m_deadline; }
    const HttpRequest& request() const { return m_request; }
    const HttpUrl& url() const { return m_url; }
    void setUrl(HttpUrl url) { m_url = std::move(url); }
    /// The next hop of a redirect by @p status. Returns how many there were so far.
    int countRedirect(long status);

    /// Fills the fresh handle @p easy, which calls back into this object until detach(). @p settings must outlive the
    /// connection.
    void attach(CURL* easy, const ProxyChoice& proxy, const HttpSettings& settings);
    CURL* easy() const { return m_easy; }
    /// The handle, for whoever removes or keeps it; null when there is none.
    CURL* detach();
    static CurlRequest& of(CURL* easy);

    /// What came of a transfer that ended with @p code; empties what was gathered.
    Error takeAnswer(CURLcode code, HttpAnswer* answer);
    void finish(const Error& error, const HttpAnswer& answer = {}) const { m_finish(error, answer); }

private:
    void setMethod();
    static size_t onBody(char* bytes, size_t size, size_t count, void* self);
    static size_t onHeader(char* bytes, size_t size, size_t count, void* self);

    quint64 m_id = 0;
    HttpRequest m_request;
    const Clock::time_point m_deadline;
    const Finish m_finish;
    HttpUrl m_url;
    int m_redirects = 0;

    CURL* m_easy = nullptr;
    curl_slist* m_headers = nullptr;
    std::array<char, CURL_ERROR_SIZE> m_detail{};
    QByteArray m_body;
    qint64 m_limit = 0;
    size_t m_headerBytes = 0;
    bool m_isHeaderComplete = false;
    bool m_tooLarge = false;
};

} // namespace Platform
