#include "ErrorText.h"

#include "StringTable.h"

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

QString keyOfStatus(int status) {
    if (status >= 500)
        return u"HttpServerFails"_s;
    return status >= 400 ? u"HttpServerRefuses"_s : u"HttpUnusableAnswer"_s;
}

/// Key of the text of an error of the network.
QString keyOfCode(qint64 code) {
    switch (code) {
    case Error::Cancelled:
        return u"HttpCancelled"_s;
    case Error::BadUrl:
        return u"HttpBadUrl"_s;
    case Error::TimedOut:
        return u"HttpTimedOut"_s;
    case Error::UnsupportedUrl:
        return u"HttpUnsupportedUrl"_s;
    case Error::CannotFindHost:
        return u"HttpCannotFindHost"_s;
    case Error::CannotConnect:
        return u"HttpCannotConnect"_s;
    case Error::ConnectionLost:
        return u"HttpConnectionLost"_s;
    case Error::TooManyRedirects:
        return u"HttpTooManyRedirects"_s;
    case Error::CannotDecodeContent:
        return u"HttpCannotDecodeContent"_s;
    case Error::CannotParseResponse:
        return u"HttpUnusableAnswer"_s;
    case Error::ResponseTooLarge:
        return u"HttpResponseTooLarge"_s;
    case Error::SecureConnectionFailed:
        return u"HttpSecureConnectionFailed"_s;
    default:
        return u"HttpFailed"_s;
    }
}

} // namespace

Error describedError(const Error& error) {
    if (!error || !error.localizedDescription().isEmpty())
        return error;
    if (error.domain() == Platform::CocoaErrorDomain && error.code() == Error::NotJson)
        return error.withDescription(localizedString(u"HttpNotJson"_s));
    if (error.domain() != Platform::UrlErrorDomain)
        return error;
    const bool isStatus = error.code() == Error::BadServerResponse;
    return error.withDescription(localizedString(isStatus ? keyOfStatus(error.httpStatus()) : keyOfCode(error.code())));
}

Error normalisedError(const Error& error) {
    if (!error || !error.localizedDescription().isEmpty())
        return error;
    return error.withDescription(u"Fail:code=%1"_s.arg(error.code()));
}
