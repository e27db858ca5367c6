#pragma once

#include "Error.h"

#include <QByteArray>
#include <QList>
#include <QPair>

namespace Platform {

/// A request's address, taken apart by the transport's own parser so that both see the same host.
struct HttpUrl {
    QByteArray text;
    QByteArray scheme;
    QByteArray host;
    QByteArray port;
    bool isSecure() const { return scheme == "https"; }
    /// The host is this machine by its name or by its number.
    bool isLoopback() const;
};

/// Fills @p url. Error BadUrl for anything but plain URL characters, for a missing or impossible host and for user
/// names; UnsupportedUrl for schemes other than http and https.
Error parseHttpUrl(const QString& text, HttpUrl* url);

/// @p url with @p parameters appended to its query; all but letters, digits and "-._~/?" escaped.
QString urlWithQuery(const QString& url, const QList<QPair<QString, QString>>& parameters);

} // namespace Platform
