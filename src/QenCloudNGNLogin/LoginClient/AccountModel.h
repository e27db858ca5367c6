#pragma once

#include <QString>

#include <optional>

using namespace Qt::StringLiterals;

namespace Platform {
class ArchiveValue;
}

/// How the user signed in.
enum class LoginType { None = 0, Account = 1, QrCode = 2, Domain = 3 };

/// Says under which folder the signed-in record lives.
class AccountModelHelper final {
public:
    static AccountModelHelper& helper();
    /// The user's Application Support folder.
    QString rootPath() const { return m_rootPath; }

private:
    explicit AccountModelHelper(QString rootPath) : m_rootPath(std::move(rootPath)) {}
    QString m_rootPath;
};

/// The signed-in record, the only proof of a login that survives a restart. A value; any thread.
///
/// The ticket is held and archived enciphered.
class AccountModel final {
public:
    AccountModel();

    QString userid() const { return m_userid; }
    void setUserid(const QString& userid) { m_userid = userid; }
    QString username() const { return m_username; }
    void setUsername(const QString& username) { m_username = username; }
    /// The enciphered form.
    QString ticket() const { return m_ticket; }
    /// @param ticket  plain; stored enciphered
    void setTicket(const QString& ticket);
    /// The plain ticket, or the stored text when it does not decipher to anything.
    QString decryptTicket() const;

    qint64 qenStatus() const { return m_qenStatus; }
    void setQenStatus(qint64 status) { m_qenStatus = status; }
    /// 1 once the user has logged out.
    qint64 islogout() const { return m_islogout; }
    void setIslogout(qint64 islogout) { m_islogout = islogout; }
    /// 2: the agent found the ticket timed out.
    qint64 ticket_state() const { return m_ticketState; }
    void setTicket_state(qint64 state) { m_ticketState = state; }
    /// 1 extranet, 0 intranet.
    qint64 networkType() const { return m_networkType; }
    void setNetworkType(qint64 type) { m_networkType = type; }
    qint64 loginType() const { return m_loginType; }
    void setLoginType(LoginType type) { m_loginType = static_cast<qint64>(type); }
    QString domainName() const { return m_domainName; }
    void setDomainName(const QString& name) { m_domainName = name; }

    /// The stored record; nothing when the file is missing, damaged or foreign.
    /// @param mayPass  as Platform::readFile() sets it
    static std::optional<AccountModel> currentModel(
        const QString& rootPath = AccountModelHelper::helper().rootPath(), bool* mayPass = nullptr);
    /// Replaces the stored record, safe against power loss; false when it could not be written.
    bool save(const QString& rootPath = AccountModelHelper::helper().rootPath()) const;
    /// True only when the file existed and is gone.
    static bool deleteCurrentModel(const QString& rootPath = AccountModelHelper::helper().rootPath());
    /// Path of "login.archive"; with @p check its folder is made first.
    static QString modelSavePathWithCheck(
        bool check, const QString& rootPath = AccountModelHelper::helper().rootPath());
    static bool supportsSecureCoding() { return true; }

    bool operator==(const AccountModel&) const = default;

    Platform::ArchiveValue encoded() const;
    static std::optional<AccountModel> decoded(const Platform::ArchiveValue& object);

private:
    QString m_ticket;
    qint64 m_qenStatus = 0;
    // Present but empty: a record without a user id is another thing.
    QString m_userid = ""_L1;
    QString m_username = ""_L1;
    qint64 m_islogout = 0;
    qint64 m_ticketState = 1;
    qint64 m_networkType = 1;
    qint64 m_loginType = 0;
    QString m_domainName = ""_L1;
};
