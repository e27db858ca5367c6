#include "Settings.h"

#include "Database.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

const QJsonObject& defaults() {
    static const QJsonObject values{
        {u"require_registration"_s, false},
        {u"ticket_lifetime"_s, 8 * 60 * 60},
        {u"admin_mail"_s, u"admin@mav.example"_s},
        {u"mail_works"_s, true},
        {u"certificate_lifetime"_s, 365 * 24 * 60 * 60},
        {u"require_client_certificate"_s, false},
        {u"start_config"_s,
            QJsonObject{{u"client_name"_s, u"Mav"_s},
                // Neither "2" nor "3": no network access control until the operator asks for it.
                {u"domain"_s, QJsonObject{{u"auth_method"_s, u"1"_s}, {u"inac_addr"_s, QString()}}},
                {u"wifisettings"_s, QJsonObject{{u"ssidlist"_s, QJsonArray()}}}}},
        {u"policy_data"_s,
            QJsonObject{{u"name"_s, u"默认策略"_s}, {u"gateways"_s, QJsonArray()}, {u"apps"_s, QJsonArray()}}},
        {u"policy_office_data"_s, QJsonObject{{u"apps"_s, QJsonArray()}}},
    };
    return values;
}

} // namespace

QJsonObject Settings::all() const {
    QJsonObject values = defaults();
    for (const QVariantMap& row : m_database.select(u"SELECT name, value FROM settings"_s)) {
        // Wrapped in an array, since a JSON document holds no bare value here.
        const QJsonArray stored = QJsonDocument::fromJson(row[u"value"_s].toByteArray()).array();
        if (stored.size() == 1)
            values[row[u"name"_s].toString()] = stored.first();
    }
    return values;
}

QJsonValue Settings::value(const QString& name) const {
    return all().value(name);
}

bool Settings::set(const QString& name, const QJsonValue& value) {
    if (!defaults().contains(name) || defaults().value(name).type() != value.type())
        return false;
    return m_database.run(u"INSERT OR REPLACE INTO settings (name, value) VALUES (?, ?)"_s,
        {name, QString::fromUtf8(QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact))});
}

bool Settings::addDomainAccount(const QString& uid, const QString& dc, const QString& userName) {
    return !uid.isEmpty() && !dc.isEmpty() &&
        m_database.run(
            u"INSERT OR REPLACE INTO domain_accounts (uid, dc, user_name) VALUES (?, ?, ?)"_s, {uid, dc, userName});
}

bool Settings::removeDomainAccount(const QString& uid, const QString& dc) {
    return m_database.run(u"DELETE FROM domain_accounts WHERE uid = ? AND dc = ?"_s, {uid, dc});
}

QString Settings::domainUserName(const QString& uid, const QString& dc) const {
    return m_database.selectOne(u"SELECT user_name FROM domain_accounts WHERE uid = ? AND dc = ?"_s, {uid, dc})
        .value(u"user_name"_s)
        .toString();
}

QList<QJsonObject> Settings::domainAccounts() const {
    QList<QJsonObject> accounts;
    for (const QVariantMap& row : m_database.select(u"SELECT * FROM domain_accounts ORDER BY dc, uid"_s))
        accounts.append(QJsonObject::fromVariantMap(row));
    return accounts;
}

bool Settings::sendMail(const QString& recipient, const QString& subject, const QString& text) {
    return m_database.run(u"INSERT INTO mails (recipient, subject, text, sent) VALUES (?, ?, ?, ?)"_s,
        {recipient, subject, text, QDateTime::currentSecsSinceEpoch()});
}

QList<Mail> Settings::mails() const {
    QList<Mail> mails;
    for (const QVariantMap& row : m_database.select(u"SELECT * FROM mails ORDER BY id DESC LIMIT 50"_s))
        mails.append({row[u"id"_s].toLongLong(), row[u"recipient"_s].toString(), row[u"subject"_s].toString(),
            row[u"text"_s].toString(), row[u"sent"_s].toLongLong()});
    return mails;
}

bool Settings::reset() {
    Database::Transaction transaction(m_database);
    for (const char* statement : {"DELETE FROM devices", "DELETE FROM sessions", "DELETE FROM scans",
             "DELETE FROM mails", "DELETE FROM settings", "DELETE FROM certificates"})
        m_database.run(QString::fromLatin1(statement));
    return transaction.commit();
}

} // namespace Reference
