#include "ErrorText.h"

#include "StringTable.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

struct CodeKey {
    qint64 code;
    const char16_t* key;
};
constexpr CodeKey Keys[] = {{Error::Cancelled, u"HttpCancelled"}, {Error::BadUrl, u"HttpBadUrl"},
    {Error::TimedOut, u"HttpTimedOut"}, {Error::UnsupportedUrl, u"HttpUnsupportedUrl"},
    {Error::CannotFindHost, u"HttpCannotFindHost"}, {Error::CannotConnect, u"HttpCannotConnect"},
    {Error::ConnectionLost, u"HttpConnectionLost"}, {Error::TooManyRedirects, u"HttpTooManyRedirects"},
    {Error::CannotDecodeContent, u"HttpCannotDecodeContent"}, {Error::CannotParseResponse, u"HttpUnusableAnswer"},
    {Error::ResponseTooLarge, u"HttpResponseTooLarge"}, {Error::SecureConnectionFailed, u"HttpSecureConnectionFailed"}};

/// Key of the text of an error of the network; empty for one that came from elsewhere.
QString keyOf(const Error& error) {
    if (error.domain() == Platform::CocoaErrorDomain && error.code() == Error::NotJson)
        return u"HttpNotJson"_s;
    if (error.domain() != Platform::UrlErrorDomain)
        return {};
    if (error.code() == Error::BadServerResponse && error.httpStatus() >= 400)
        return error.httpStatus() >= 500 ? u"HttpServerFails"_s : u"HttpServerRefuses"_s;
    if (error.code() == Error::BadServerResponse)
        return u"HttpUnusableAnswer"_s;
    const auto* const row = std::ranges::find(Keys, error.code(), &CodeKey::code);
    return row == std::end(Keys) ? u"HttpFailed"_s : QString::fromUtf16(row->key);
}

} // namespace

Error describedError(const Error& error) {
    if (!error || !error.localizedDescription().isEmpty())
        return error;
    const QString text = localizedString(keyOf(error));
    return error.withDescription(text.isEmpty() ? u"Fail:code=%1"_s.arg(error.code()) : text);
}
