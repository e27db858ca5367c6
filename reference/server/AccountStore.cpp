#include "AccountStore.h"

#include "Database.h"
#include "Secrets.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

constexpr int saltLength = 16;
constexpr int temporarySeconds = 30 * 60;

Account fromRow(const QVariantMap& row) {
    Account account;
    account.userid = row[u"userid"_s].toString();
    account.username = row[u"username"_s].toString();
    account.otp = row[u"otp"_s].toString();
    account.mail = row[u"mail"_s].toString();
    account.blocked = row[u"blocked"_s].toBool();
    account.expired = row[u"expired"_s].toBool();
    account.mustChangePassword = row[u"must_change"_s].toBool();
    account.requiresApproval = row[u"requires_approval"_s].toBool();
    return account;
}

} // namespace

bool AccountStore::add(const Account& account, const QString& password) {
    if (account.userid.isEmpty() || password.isEmpty() || (!account.otp.isEmpty() && !isUsableCodeSecret(account.otp)))
        return false;
    const QByteArray salt = randomBytes(saltLength);
    return m_database.run(
        u"INSERT OR IGNORE INTO accounts (userid, username, salt, password_hash, otp, mail, requires_approval)"
        " VALUES (?, ?, ?, ?, ?, ?, ?)"_s,
        {account.userid, account.username.isEmpty() ? account.userid : account.username, salt,
            passwordHash(password, salt), account.otp, account.mail, int(account.requiresApproval)});
}

bool AccountStore::remove(const QString& userid) {
    return m_database.run(u"DELETE FROM accounts WHERE userid = ?"_s, {userid});
}

std::optional<Account> AccountStore::find(const QString& userid) const {
    const QVariantMap row = m_database.selectOne(u"SELECT * FROM accounts WHERE userid = ?"_s, {userid});
    if (row.isEmpty())
        return {};
    return fromRow(row);
}

QList<Account> AccountStore::all() const {
    QList<Account> accounts;
    for (const QVariantMap& row : m_database.select(u"SELECT * FROM accounts ORDER BY userid"_s))
        accounts.append(fromRow(row));
    return accounts;
}

bool AccountStore::setFlag(const QString& userid, Flag flag, bool on) {
    switch (flag) {
    case Flag::Blocked:
        return m_database.run(u"UPDATE accounts SET blocked = ? WHERE userid = ?"_s, {int(on), userid});
    case Flag::Expired:
        return m_database.run(u"UPDATE accounts SET expired = ? WHERE userid = ?"_s, {int(on), userid});
    case Flag::MustChangePassword:
        return m_database.run(u"UPDATE accounts SET must_change = ? WHERE userid = ?"_s, {int(on), userid});
    case Flag::RequiresApproval:
        return m_database.run(u"UPDATE accounts SET requires_approval = ? WHERE userid = ?"_s, {int(on), userid});
    }
    return false;
}

bool AccountStore::setText(const QString& userid, Text text, const QString& value) {
    switch (text) {
    case Text::Username:
        return m_database.run(u"UPDATE accounts SET username = ? WHERE userid = ?"_s, {value, userid});
    case Text::Otp:
        return (value.isEmpty() || isUsableCodeSecret(value)) &&
            m_database.run(u"UPDATE accounts SET otp = ? WHERE userid = ?"_s, {value, userid});
    case Text::Mail:
        return m_database.run(u"UPDATE accounts SET mail = ? WHERE userid = ?"_s, {value, userid});
    }
    return false;
}

AccountStore::Match AccountStore::checkPassword(const QString& userid, const QString& password) const {
    const QVariantMap row = m_database.selectOne(
        u"SELECT salt, password_hash, temporary_hash, temporary_until FROM accounts WHERE userid = ?"_s, {userid});
    // An unknown account costs the same time as a known one.
    const QByteArray hash = passwordHash(password, row.value(u"salt"_s, QByteArray("unknown account!")).toByteArray());
    if (sameBytes(hash, row.value(u"password_hash"_s).toByteArray()))
        return Match::Yes;
    if (row.value(u"temporary_until"_s).toLongLong() > QDateTime::currentSecsSinceEpoch() &&
        sameBytes(hash, row.value(u"temporary_hash"_s).toByteArray()))
        return Match::Temporary;
    return Match::No;
}

bool AccountStore::setPassword(const QString& userid, const QString& password) {
    if (password.isEmpty())
        return false;
    const QByteArray salt = randomBytes(saltLength);
    return m_database.run(
        u"UPDATE accounts SET salt = ?, password_hash = ?, temporary_hash = NULL, temporary_until = 0,"
        " must_change = 0 WHERE userid = ?"_s,
        {salt, passwordHash(password, salt), userid});
}

bool AccountStore::setTemporaryPassword(const QString& userid, const QString& password) {
    const QVariantMap row = m_database.selectOne(u"SELECT salt FROM accounts WHERE userid = ?"_s, {userid});
    if (row.isEmpty())
        return false;
    return m_database.run(u"UPDATE accounts SET temporary_hash = ?, temporary_until = ? WHERE userid = ?"_s,
        {passwordHash(password, row[u"salt"_s].toByteArray()), QDateTime::currentSecsSinceEpoch() + temporarySeconds,
            userid});
}

} // namespace Reference
