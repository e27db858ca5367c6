#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

/// The certificates of one device as the server sent them. A text that it did not send is null.
struct Data {
    explicit Data(const QJsonObject& dictionary);

    QString rootCA;
    /// The intermediate CA.
    QString subCA;
    /// The client identity as PKCS#12.
    QString p12;
    QString pwd;

    /// Whether a profile can be made of it: a password that is not empty, and all three certificates.
    bool isUsable() const;
};

/// The server's answer to a certificate request.
struct iNacCerInfo {
    explicit iNacCerInfo(const QJsonObject& dictionary);

    /// 0 is success; nothing when the server sent no number.
    std::optional<qint64> ret;
    QString msg;
    /// The server's diagnostic text.
    QString stacktrace;
    Data data;
};
