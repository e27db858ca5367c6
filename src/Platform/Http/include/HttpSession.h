#pragma once

#include "Error.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

#include <functional>
#include <memory>

namespace Platform {

struct HttpSessionState;

struct HttpRequest {
    /// Absolute; "http" or "https", without user name or password.
    QString url = {};
    /// "GET" or "POST".
    QByteArray method = "GET";
    /// Of a POST.
    QByteArray body = {};
    /// The header is sent only when this is not empty.
    QByteArray contentType = {};
    /// Sent as "Authorization: Bearer …" when not empty, and never after a redirect.
    QByteArray bearerToken = {};
    /// Seconds until the whole answer must have come; 0 takes the session's.
    double timeout = 0;
};

/// A PKCS#12 file and its password; empty for none.
struct ClientIdentity {
    QByteArray pkcs12 = {};
    QString password = {};
};

struct HttpSettings {
    /// Neither the chain nor the host name of the server's certificate is looked at.
    bool acceptAnyServerCertificate = false;
    /// Seconds, of a request that names none.
    double requestTimeout = 60.0;
    /// Bytes of an answer after decompression; a longer one fails with code -1103.
    qint64 responseLimit = 16 * 1024 * 1024;
    /// Empty takes every type. Otherwise an answer with a body of another type fails with code -1016; one that names no
    /// type passes.
    QList<QByteArray> acceptableContentTypes = {};
    /// Asked on the network thread when a server wants a certificate of the client; without one, or with one that
    /// cannot be read, the server gets none.
    std::function<ClientIdentity()> clientIdentity = {};
};

/// Sends HTTP requests and keeps their connections.
///
/// Every completion is called exactly once with (answer, error), one of them present, on the one network thread of the
/// process; it must not block there, may send again and may destroy the session. Any thread may send. HTTP/1.1, gzip
/// and deflate; no cookies, no cache, no authentication; up to five redirects are followed, never from https to http.
/// The system's proxy is used except towards loopback.
///
/// Errors are those of Error.h in UrlErrorDomain, -1 for what has no name, and NotJson in CocoaErrorDomain. None has a
/// text for a person; the failure reason is in English, mostly the transport's own words.
class HttpSession final {
public:
    using JsonCompletion = std::function<void(const QJsonObject& answer, const Error& error)>;
    using DataCompletion = std::function<void(const QByteArray& answer, const Error& error)>;

    explicit HttpSession(HttpSettings settings = {});
    /// Cancels what is under way and waits for its completions, except for the one that it may have been called from. A
    /// completion must not send again on Cancelled.
    ~HttpSession();
    HttpSession(const HttpSession&) = delete;
    HttpSession& operator=(const HttpSession&) = delete;

    /// Seconds.
    double requestTimeout() const;

    /// An answer that is neither object nor array, or is empty, fails with NotJson. An array is passed as an empty
    /// object: it holds no key, so nobody takes it for a success.
    void sendForJson(const HttpRequest& request, JsonCompletion completion);
    void sendForData(const HttpRequest& request, DataCompletion completion);

    using Parameters = QList<QPair<QString, QString>>;
    /// GET with @p parameters escaped into the query, in their order.
    void getJson(const QString& url, const Parameters& parameters, JsonCompletion completion);

private:
    const std::shared_ptr<HttpSessionState> m_state;
};

} // namespace Platform
