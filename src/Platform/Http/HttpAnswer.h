#pragma once

#include "Error.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>

#include <curl/curl.h>

namespace Platform {

/// A complete answer, whatever its status.
struct HttpAnswer {
    long status = 0;
    /// The server's own for it, on one line and of bounded length; may be empty.
    QString statusWords = {};
    /// As sent; empty when the server named none.
    QByteArray contentType = {};
    /// Decompressed.
    QByteArray body = {};
    /// Absolute address that the server points to; empty without one.
    QByteArray location = {};
};

/// An error of UrlErrorDomain; @p failureReason in English.
Error httpError(qint64 code, const QString& failureReason);
/// What the transport's failure means for the caller; @p detail is its own words.
Error transportError(CURLcode code, const QString& detail);
/// No error for a status of 200-299 and a type among @p acceptableTypes (empty: any).
Error judgeAnswer(const HttpAnswer& answer, const QList<QByteArray>& acceptableTypes);
/// Fills @p object from JSON text; an array leaves it empty. Error NotJson for everything else, the empty text and what
/// parseForeignJson() refuses included.
Error parseJsonAnswer(const QByteArray& text, QJsonObject* object);

/// The answer sends the request on to its location: 301, 302, 303, 307 or 308 with a location.
bool isRedirect(const HttpAnswer& answer);
/// The request that follows @p status goes as GET without a body, as every browser has it.
bool becomesGet(long status);

} // namespace Platform
