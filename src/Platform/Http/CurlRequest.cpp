#include "CurlRequest.h"

#include "ClientCertificate.h"
#include "CurlCalls.h"

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// All header lines of an answer together; the transport bounds only the single line.
constexpr size_t MostHeaderBytes = 256 * 1024;
/// A connection that was idle for longer is not used again, seconds.
constexpr long IdleConnectionLife = 60;

CURLcode onTlsContext(CURL*, void* context, void* identity) {
    presentOnChallenge(
        static_cast<ssl_ctx_st*>(context), static_cast<const std::function<ClientIdentity()>*>(identity));
    return CURLE_OK;
}

/// The library's own sockets would be inherited by every child process.
curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

void setTransport(CURL* easy, const ProxyChoice& proxy) {
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    // A look-up that still runs when the time is over is left behind instead of waited for.
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
    curl_easy_setopt(easy, CURLOPT_MAXAGE_CONN, IdleConnectionLife);
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Mav/" MAV_VERSION);
    curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    // Set even when empty: otherwise the library reads the environment by itself.
    curl_easy_setopt(easy, CURLOPT_PROXY, proxy.url.constData());
    curl_easy_setopt(easy, CURLOPT_NOPROXY, "");
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (!proxy.user.isEmpty()) {
        curl_easy_setopt(easy, CURLOPT_PROXYUSERNAME, proxy.user.constData());
        curl_easy_setopt(easy, CURLOPT_PROXYPASSWORD, proxy.password.constData());
    }
}

void setTrust(CURL* easy, const HttpSettings& settings) {
    if (settings.acceptAnyServerCertificate) {
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);
    }
    if (settings.clientIdentity) {
        curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, onTlsContext);
        curl_easy_setopt(easy, CURLOPT_SSL_CTX_DATA, &settings.clientIdentity);
    }
}

} // namespace

CurlRequest::CurlRequest(HttpRequest request, Clock::time_point deadline, Finish finish)
    : m_request(std::move(request)), m_deadline(deadline), m_finish(std::move(finish)) {}

CurlRequest::~CurlRequest() {
    // A request that was never attached may come to its end without the library.
    if (m_headers)
        curl_slist_free_all(m_headers);
}

int CurlRequest::countRedirect(long status) {
    m_request.bearerToken.clear();
    if (becomesGet(status, m_request.method)) {
        m_request.method = "GET";
        m_request.body.clear();
        m_request.contentType.clear();
    }
    return ++m_redirects;
}

void CurlRequest::attach(CURL* easy, const ProxyChoice& proxy, const HttpSettings& settings) {
    m_easy = easy;
    m_limit = settings.responseLimit;
    m_detail[0] = 0;
    curl_easy_setopt(easy, CURLOPT_URL, m_url.text.constData());
    curl_easy_setopt(easy, CURLOPT_PRIVATE, this);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, m_detail.data());
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(m_limit));
    setTransport(easy, proxy);
    setTrust(easy, settings);
    setMethod();
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
    if (m_request.method == "GET" && m_request.body.isEmpty())
        return;
    if (m_request.method == "HEAD") {
        curl_easy_setopt(m_easy, CURLOPT_NOBODY, 1L);
        return;
    }
    curl_easy_setopt(m_easy, CURLOPT_POST, 1L);
    curl_easy_setopt(m_easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_request.body.size()));
    curl_easy_setopt(m_easy, CURLOPT_POSTFIELDS, m_request.body.constData());
    if (m_request.method != "POST")
        curl_easy_setopt(m_easy, CURLOPT_CUSTOMREQUEST, m_request.method.constData());
}

CURL* CurlRequest::detach() {
    return std::exchange(m_easy, nullptr);
}

CurlRequest& CurlRequest::of(CURL* easy) {
    void* self = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &self);
    return *static_cast<CurlRequest*>(self);
}

size_t CurlRequest::onBody(char* bytes, size_t size, size_t count, void* self) {
    auto& request = *static_cast<CurlRequest*>(self);
    const auto length = static_cast<qsizetype>(size * count);
    if (request.m_body.size() + length > request.m_limit) {
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
    if (line.startsWith("HTTP/"))
        request.m_isHeaderComplete = false;
    else if (line == "\r\n" || line == "\n")
        request.m_isHeaderComplete = true;
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
