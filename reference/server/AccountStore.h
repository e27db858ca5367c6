#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace Reference {

class Database;

struct Account {
    QString userid;
    QString username;
    QString otp; ///< secret or fixed code; empty: signs in without a code
    QString mail;
    bool blocked = false;
    bool expired = false;
    bool mustChangePassword = false;
    bool requiresApproval = false; ///< a device that is new to the server waits for approval
};

/// Accounts and their passwords. Of a password only its salted hash is kept.
class AccountStore final {
public:
    enum class Flag { Blocked, Expired, MustChangePassword, RequiresApproval };
    enum class Text { Username, Otp, Mail };
    enum class Match { No, Yes, Temporary };

    explicit AccountStore(Database& database) : m_database(database) {}

    /// @return false when the user id is taken or a value cannot be used
    bool add(const Account& account, const QString& password);
    bool remove(const QString& userid);
    std::optional<Account> find(const QString& userid) const;
    QList<Account> all() const;

    bool setFlag(const QString& userid, Flag flag, bool on);
    bool setText(const QString& userid, Text text, const QString& value);

    Match checkPassword(const QString& userid, const QString& password) const;
    /// Also ends a temporary password and the demand for a change.
    bool setPassword(const QString& userid, const QString& password);
    /// A second password beside the own one, good for one sign-in within half an hour: it leads to the demand for a
    /// change.
    bool setTemporaryPassword(const QString& userid, const QString& password);

private:
    Database& m_database;
};

} // namespace Reference
