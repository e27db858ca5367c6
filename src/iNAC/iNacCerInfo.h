#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

/// The certificates of one device as the server sent them. A text that it did not send is null.
class Data final {
public:
    Data() = default;
    explicit Data(const QJsonObject& dictionary);

    const QString& rootCA() const { return m_rootCA; }
    /// The intermediate CA.
    const QString& subCA() const { return m_subCA; }
    /// The client identity as PKCS#12.
    const QString& p12() const { return m_p12; }
    const QString& pwd() const { return m_pwd; }
    /// Whether a profile can be made of it: a password that is not empty, and all three certificates.
    bool isUsable() const;

private:
    QString m_rootCA;
    QString m_subCA;
    QString m_p12;
    QString m_pwd;
};

/// The server's answer to a certificate request.
class iNacCerInfo final {
public:
    iNacCerInfo() = default;
    explicit iNacCerInfo(const QJsonObject& dictionary);

    /// 0 is success; nothing when the server sent no number.
    std::optional<qint64> ret() const { return m_ret; }
    const QString& msg() const { return m_msg; }
    /// The server's diagnostic text.
    const QString& stacktrace() const { return m_stacktrace; }
    const Data& data() const { return m_data; }

private:
    std::optional<qint64> m_ret;
    QString m_msg;
    QString m_stacktrace;
    Data m_data;
};
