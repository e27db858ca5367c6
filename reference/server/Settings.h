#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

namespace Reference {

class Database;

struct Mail {
    qint64 id = 0;
    QString recipient;
    QString subject;
    QString text;
    qint64 sent = 0; ///< seconds since 1970
};

/// What the operator can set, the domain accounts that are known, and the mails that were "sent": they stay in the
/// database, where the operator page shows them.
class Settings final {
public:
    explicit Settings(Database& database) : m_database(database) {}

    /// Values by name, defaults where nothing was set:
    /// "require_registration" false: a device that nobody approved is "not registered";
    /// "ticket_lifetime" 28800: seconds; "admin_mail": sender of mails, empty: none; "mail_works" true;
    /// "certificate_lifetime" a year: seconds; "require_client_certificate" false: a network-access certificate only
    /// for who shows a client certificate; "start_config", "policy_data", "policy_office_data": what the client
    /// fetches, objects.
    QJsonObject all() const;
    QJsonValue value(const QString& name) const;
    /// @return false for an unknown name or a value of another type than the default's
    bool set(const QString& name, const QJsonValue& value);

    bool addDomainAccount(const QString& uid, const QString& dc, const QString& userName);
    bool removeDomainAccount(const QString& uid, const QString& dc);
    /// @return the user name; null when the domain has no such account
    QString domainUserName(const QString& uid, const QString& dc) const;
    QList<QJsonObject> domainAccounts() const;

    bool sendMail(const QString& recipient, const QString& subject, const QString& text);
    QList<Mail> mails() const;

    /// Forgets devices, sessions, sign-ins, mails, settings and certificates; accounts stay.
    bool reset();

private:
    Database& m_database;
};

} // namespace Reference
