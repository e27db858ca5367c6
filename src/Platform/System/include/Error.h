#pragma once

#include <QString>

using namespace Qt::StringLiterals;

namespace Platform {

/// Why an operation failed. A default-made one is "no error"; codes keep the platform's numbers, since callers compare
/// them.
class Error {
public:
    static constexpr qint64 Unknown = -1;
    static constexpr qint64 Cancelled = -999;
    static constexpr qint64 BadUrl = -1000;
    /// The request ran out of time.
    static constexpr qint64 TimedOut = -1001;
    /// The URL's scheme is neither http nor https.
    static constexpr qint64 UnsupportedUrl = -1002;
    static constexpr qint64 CannotFindHost = -1003;
    static constexpr qint64 CannotConnect = -1004;
    static constexpr qint64 ConnectionLost = -1005;
    static constexpr qint64 TooManyRedirects = -1007;
    /// The HTTP status was outside 200-299.
    static constexpr qint64 BadServerResponse = -1011;
    /// The answer's content encoding is broken, or its type is not one that the session takes.
    static constexpr qint64 CannotDecodeContent = -1016;
    /// What came was no HTTP.
    static constexpr qint64 CannotParseResponse = -1017;
    static constexpr qint64 ResponseTooLarge = -1103;
    static constexpr qint64 SecureConnectionFailed = -1200;
    /// The answer was not JSON.
    static constexpr qint64 NotJson = 3840;
    static constexpr qint64 NoSuchFile = 4;

    Error() = default;
    Error(QString domain, qint64 code, QString localizedDescription = {}, QString localizedFailureReason = {},
        int httpStatus = 0)
        : m_present(true), m_domain(std::move(domain)), m_code(code), m_description(std::move(localizedDescription)),
          m_failureReason(std::move(localizedFailureReason)), m_httpStatus(httpStatus) {}

    explicit operator bool() const { return m_present; }
    const QString& domain() const { return m_domain; }
    qint64 code() const { return m_code; }
    /// Text for a person; empty when the source gave none.
    const QString& localizedDescription() const { return m_description; }
    const QString& localizedFailureReason() const { return m_failureReason; }
    /// Of a BadServerResponse; 0 for every other error.
    int httpStatus() const { return m_httpStatus; }
    /// The same failure, told in other words.
    Error withDescription(const QString& text) const { return {m_domain, m_code, text, m_failureReason, m_httpStatus}; }

    /// The form that log lines print for %@: domain, code and texts, or "(null)" without an error.
    QString logText() const;

private:
    bool m_present = false;
    QString m_domain;
    qint64 m_code = 0;
    QString m_description;
    QString m_failureReason;
    int m_httpStatus = 0;
};

inline const QString UrlErrorDomain = u"NSURLErrorDomain"_s;
inline const QString CocoaErrorDomain = u"NSCocoaErrorDomain"_s;

} // namespace Platform
