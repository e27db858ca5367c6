#include "HttpAnswer.h"

#include "CurlCalls.h"
#include "ForeignJson.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

qint64 errorCode(CURLcode code) {
    switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
        return Error::TimedOut;
    case CURLE_URL_MALFORMAT:
        return Error::BadUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return Error::CannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
        return Error::CannotConnect;
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
        return Error::ConnectionLost;
    case CURLE_FILESIZE_EXCEEDED:
#if LIBCURL_VERSION_NUM >= 0x080600
    case CURLE_TOO_LARGE:
#endif
        return Error::ResponseTooLarge;
    case CURLE_BAD_CONTENT_ENCODING:
        return Error::CannotDecodeContent;
    // The scheme was checked before: what the transport does not support is an answer without a status line.
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
        return Error::CannotParseResponse;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CLIENTCERT:
        return Error::SecureConnectionFailed;
    default:
        return Error::Unknown;
    }
}

} // namespace

Error httpError(qint64 code, const QString& failureReason) {
    return Error(UrlErrorDomain, code, {}, failureReason);
}

Error transportError(CURLcode code, const QString& detail) {
    return httpError(errorCode(code), detail.isEmpty() ? QString::fromUtf8(curl_easy_strerror(code)) : detail);
}

Error judgeAnswer(const HttpAnswer& answer, const QList<QByteArray>& acceptableTypes) {
    if (answer.status < 200 || answer.status > 299)
        return Error(UrlErrorDomain, Error::BadServerResponse, {},
            u"HTTP status %1 %2"_s.arg(QString::number(answer.status), answer.statusWords).trimmed(),
            static_cast<int>(answer.status));
    const QByteArray type = answer.contentType.split(';').first().trimmed().toLower();
    if (acceptableTypes.isEmpty() || answer.body.isEmpty() || type.isEmpty() || acceptableTypes.contains(type))
        return {};
    return httpError(Error::CannotDecodeContent, u"unacceptable content type: %1"_s.arg(QString::fromLatin1(type)));
}

Error parseJsonAnswer(const QByteArray& text, QJsonObject* object) {
    QJsonParseError failure;
    const QJsonDocument document = parseForeignJson(text, &failure);
    if (!document.isObject() && !document.isArray())
        return Error(CocoaErrorDomain, Error::NotJson, {}, failure.errorString());
    *object = document.object();
    return {};
}

bool isRedirect(const HttpAnswer& answer) {
    constexpr long Redirects[] = {301, 302, 303, 307, 308};
    return !answer.location.isEmpty() && std::ranges::find(Redirects, answer.status) != std::end(Redirects);
}

bool becomesGet(long status) {
    return status == 301 || status == 302 || status == 303;
}

} // namespace Platform
