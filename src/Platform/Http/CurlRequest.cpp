#include "CurlRequest.h"

#include "ClientCertificate.h"
#include "CurlCalls.h"

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// All header lines of an answer together; the transport bounds only the single line.
constexpr size_t MostHeaderBytes = 256 * 1024;
constexpr qsizetype MostStatusWords = 100;
/// A connection that was idle for longer is not used again, seconds.
constexpr long IdleConnectionLife = 60;

/// The library's own sockets would be inherited by every child process.
curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

/// Empty for none.
QByteArray proxyUrl(const QNetworkProxy& proxy) {
    if (proxy.type() == QNetworkProxy::NoProxy)
        return {};
    const char* scheme = "http";
    if (proxy.type() == QNetworkProxy::Socks5Proxy)
        scheme = proxy.capabilities().testFlag(QNetworkProxy::HostNameLookupCapability) ? "socks5h" : "socks5";
    return u"%1://%2:%3"_s.arg(QLatin1String(scheme), proxy.hostName()).arg(proxy.port()).toUtf8();
}

} // namespace

CurlRequest::CurlRequest(
    std::shared_ptr<HttpSessionState> session, HttpRequest request, Clock::time_point deadline, Finish finish)
    : m_session(std::move(session)), m_request(std::move(request)), m_deadline(deadline), m_finish(std::move(finish)) {}

CurlRequest::~CurlRequest() {
    // A request that was never attached may come to its end without the library.
    if (m_headers)
        curl_slist_free_all(m_headers);
}

int CurlRequest::countRedirect(long status) {
    m_request.bearerToken.clear();
    if (becomesGet(status)) {
        m_request.method = "GET";
        m_request.body.clear();
        m_request.contentType.clear();
    }
    return ++m_redirects;
}

bool CurlRequest::sharesConnections(const CurlRequest& other) const {
    return m_session == other.m_session && m_url.authority() == other.m_url.authority();
}

CURL* CurlRequest::attach() {
    m_easy = curl_easy_init();
    if (!m_easy)
        return nullptr;
    m_detail[0] = 0;
    curl_easy_setopt(m_easy, CURLOPT_PRIVATE, this);
    curl_easy_setopt(m_easy, CURLOPT_ERRORBUFFER, m_detail.data());
    curl_easy_setopt(m_easy, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(m_easy, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(m_easy, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(m_easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(m_easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(m_session->settings.responseLimit));
    setConnection();
    setTransport();
    setMethod();
    return m_easy;
}

void CurlRequest::setConnection() {
    const HttpSettings& settings = m_session->settings;
    if (!m_session->connections) {
        m_session->connections = curl_share_init();
        curl_share_setopt(m_session->connections, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    }
    curl_easy_setopt(m_easy, CURLOPT_SHARE, m_session->connections);
    // Newer versions keep them for all sessions, and a resumed one brings the identity along that it was made with.
    curl_easy_setopt(m_easy, CURLOPT_SSL_SESSIONID_CACHE, 0L);
    if (settings.acceptAnyServerCertificate) {
        curl_easy_setopt(m_easy, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(m_easy, CURLOPT_SSL_VERIFYHOST, 0L);
    }
    if (settings.clientIdentity) {
        curl_easy_setopt(m_easy, CURLOPT_SSL_CTX_FUNCTION, presentOnChallenge);
        curl_easy_setopt(m_easy, CURLOPT_SSL_CTX_DATA, &settings.clientIdentity);
    }
}

void CurlRequest::setTransport() {
    curl_easy_setopt(m_easy, CURLOPT_URL, m_url.toEncoded().constData());
    curl_easy_setopt(m_easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(m_easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(m_easy, CURLOPT_NOSIGNAL, 1L);
    // A look-up that still runs when the time is over is left behind instead of waited for.
    curl_easy_setopt(m_easy, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(m_easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
    curl_easy_setopt(m_easy, CURLOPT_MAXAGE_CONN, IdleConnectionLife);
    curl_easy_setopt(m_easy, CURLOPT_USERAGENT, "Mav/" MAV_VERSION);
    curl_easy_setopt(m_easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    // Set even when empty: otherwise the library reads the environment by itself.
    curl_easy_setopt(m_easy, CURLOPT_PROXY, proxyUrl(*m_proxy).constData());
    curl_easy_setopt(m_easy, CURLOPT_NOPROXY, "");
    curl_easy_setopt(m_easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!m_proxy->user().isEmpty()) {
        curl_easy_setopt(m_easy, CURLOPT_PROXYUSERNAME, m_proxy->user().toUtf8().constData());
        curl_easy_setopt(m_easy, CURLOPT_PROXYPASSWORD, m_proxy->password().toUtf8().constData());
    }
}

void CurlRequest::setMethod() {
    curl_slist_free_all(m_headers);
    // Without a value the library's own header is left out; it would send a form type and wait for a "100 Continue".
    m_headers = curl_slist_append(nullptr,
        ("Content-Type:" + QByteArray(m_request.contentType.isEmpty() ? "" : " ") + m_request.contentType).constData());
    m_headers = curl_slist_append(m_headers, "Expect:");
    if (!m_request.bearerToken.isEmpty())
        m_headers = curl_slist_append(m_headers, ("Authorization: Bearer " + m_request.bearerToken).constData());
    curl_easy_setopt(m_easy, CURLOPT_HTTPHEADER, m_headers);
    if (m_request.method != "POST")
        return;
    curl_easy_setopt(m_easy, CURLOPT_POST, 1L);
    curl_easy_setopt(m_easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_request.body.size()));
    curl_easy_setopt(m_easy, CURLOPT_POSTFIELDS, m_request.body.constData());
}

void CurlRequest::detach(CURLM* multi) {
    m_proxy.reset();
    if (!m_easy)
        return;
    curl_multi_remove_handle(multi, m_easy);
    curl_easy_cleanup(std::exchange(m_easy, nullptr));
}

CurlRequest& CurlRequest::of(CURL* easy) {
    void* self = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &self);
    return *static_cast<CurlRequest*>(self);
}

size_t CurlRequest::onBody(char* bytes, size_t size, size_t count, void* self) {
    auto& request = *static_cast<CurlRequest*>(self);
    const auto length = static_cast<qsizetype>(size * count);
    if (request.m_body.size() + length > request.m_session->settings.responseLimit) {
        request.m_tooLarge = true;
        return 0;
    }
    request.m_body.append(bytes, length);
    return size * count;
}

size_t CurlRequest::onHeader(char* bytes, size_t size, size_t count, void* self) {
    auto& request = *static_cast<CurlRequest*>(self);
    const QByteArrayView line(bytes, static_cast<qsizetype>(size * count));
    // Each interim answer and each proxy's brings a header of its own.
    if (line.startsWith("HTTP/")) {
        request.m_isHeaderComplete = false;
        request.m_statusWords = QString::fromLatin1(line).section(u' ', 2).left(MostStatusWords).simplified();
    } else if (line == "\r\n" || line == "\n") {
        request.m_isHeaderComplete = true;
    }
    request.m_headerBytes += size * count;
    if (request.m_headerBytes <= MostHeaderBytes)
        return size * count;
    request.m_tooLarge = true;
    return 0;
}

Error CurlRequest::takeAnswer(CURLcode code, HttpAnswer* answer) {
    const char* type = nullptr;
    const char* location = nullptr;
    curl_easy_getinfo(m_easy, CURLINFO_RESPONSE_CODE, &answer->status);
    curl_easy_getinfo(m_easy, CURLINFO_CONTENT_TYPE, &type);
    curl_easy_getinfo(m_easy, CURLINFO_REDIRECT_URL, &location);
    answer->statusWords = m_statusWords;
    answer->contentType = type;
    answer->location = location;
    answer->body = std::exchange(m_body, {});
    m_headerBytes = 0;
    if (m_tooLarge)
        return httpError(Error::ResponseTooLarge, u"longer than the limit"_s);
    // The library takes an answer that breaks off in its header for a complete one without a body.
    if (code == CURLE_OK && !std::exchange(m_isHeaderComplete, false))
        return httpError(Error::ConnectionLost, u"broke off in the header"_s);
    return code == CURLE_OK ? Error() : transportError(code, QString::fromUtf8(m_detail.data()));
}

} // namespace Platform
