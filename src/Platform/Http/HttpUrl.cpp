#include "HttpUrl.h"

#include "CurlCalls.h"
#include "HttpAnswer.h"

#include <QHostAddress>
#include <QUrl>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

struct CurlUrlDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

/// What may stand in a URL; a space or a letter outside ASCII was typed by somebody and names no host.
bool isUrlCharacter(QChar character) {
    const char16_t unit = character.unicode();
    return unit > 0x20 && unit < 0x7f && !QStringView(u"\"<>\\^`{|}").contains(character);
}

QByteArray part(CURLU* url, CURLUPart which, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url, which, &text, flags) != CURLUE_OK)
        return {};
    const QByteArray copy(text);
    curl_free(text);
    return copy;
}

} // namespace

bool HttpUrl::isLoopback() const {
    QByteArray name = host.toLower();
    if (name.startsWith('[') && name.endsWith(']'))
        name = name.mid(1, name.size() - 2);
    if (name == "localhost" || name.endsWith(".localhost"))
        return true;
    QHostAddress address;
    return address.setAddress(QString::fromLatin1(name)) && address.isLoopback();
}

Error parseHttpUrl(const QString& text, HttpUrl* url) {
    if (text.isEmpty() || !std::all_of(text.begin(), text.end(), isUrlCharacter))
        return httpError(Error::BadUrl, u"characters that no URL has"_s);
    const std::unique_ptr<CURLU, CurlUrlDeleter> parsed(curl_url());
    url->text = text.toLatin1();
    const CURLUcode code = curl_url_set(
        parsed.get(), CURLUPART_URL, url->text.constData(), CURLU_NON_SUPPORT_SCHEME | CURLU_DISALLOW_USER);
    if (code == CURLUE_BAD_SCHEME || code == CURLUE_UNSUPPORTED_SCHEME)
        return httpError(Error::UnsupportedUrl, u"neither http nor https"_s);
    if (code != CURLUE_OK)
        return httpError(Error::BadUrl, QString::fromUtf8(curl_url_strerror(code)));
    url->scheme = part(parsed.get(), CURLUPART_SCHEME);
    url->host = part(parsed.get(), CURLUPART_HOST);
    url->port = part(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    if (url->scheme != "http" && url->scheme != "https")
        return httpError(Error::UnsupportedUrl, u"neither http nor https"_s);
    return url->host.isEmpty() ? httpError(Error::BadUrl, u"no host"_s) : Error();
}

QString urlWithQuery(const QString& url, const QList<QPair<QString, QString>>& parameters) {
    const auto escape = [](const QString& text) {
        return QString::fromLatin1(QUrl::toPercentEncoding(text, QByteArrayLiteral("/?")));
    };
    QString result = url;
    QChar separator = url.contains(u'?') ? u'&' : u'?';
    for (const auto& [key, value] : parameters) {
        result += separator + escape(key) + u'=' + escape(value);
        separator = u'&';
    }
    return result;
}

} // namespace Platform
