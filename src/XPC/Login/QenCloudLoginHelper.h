#pragma once

#include "AccountModel.h"
#include "Error.h"
#include "Files.h"
#include "LoginLinks.h"
#include "TaskGroup.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QVariant>

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>

using namespace Qt::StringLiterals;

class AccountManager;
class ITDevice;
class QenCloudNGNLogin;
class QenLogHelper;

/// Folders that hold the session's state.
struct LoginFolders {
    /// The user's Application Support folder; state files lie in its "QenCloudL".
    QString applicationSupport;
    /// The agent's data folder.
    QString agentState;
    /// The VPN component's executable, by whose path its process is found.
    QString vpnExecutable;

    QString userState() const;
    static LoginFolders standard();
};

/// Owns the user's session on this machine: signs in and out, keeps the record in step with the server's verdicts and
/// tells the views of every change through one callback.
///
/// The state lives on disk and is read afresh by each operation. Completions and the login block are called on the
/// network thread, exactly once with (answer, error); views hop to the main thread by themselves. Destruction waits for
/// what is under way.
class QenCloudLoginHelper final {
public:
    using Completion = std::function<void(const QJsonObject& answer, const Platform::Error& error)>;

    struct World {
        QenCloudNGNLogin& server;
        AccountManager& accounts;
        ITDevice& device;
        QenLogHelper& log;
        LoginFolders folders;
        LoginLinks links;
    };

    explicit QenCloudLoginHelper(World world);
    static QenCloudLoginHelper& sharedInstance();

    /// True after every successful login or ticket confirmation, false after a logout.
    bool isCheckAndShow() const { return m_isCheckAndShow; }
    /// Called with true when the user became or stays signed in, false when the session ended. Network thread.
    void setLoginBlock(std::function<void(bool)> block);

    /// @param parameters  "userid", "password", "otp"
    void login(const QJsonObject& parameters, Completion complete);
    /// One poll of the QR-code login.
    void CheckQRLoginState(Completion complete);
    /// Confirms the stored ticket with the server. Signed out: nothing happens and @p complete is never called.
    void checkTicketStatus(Completion complete);
    void logout(const QJsonObject& parameters, Completion complete);
    /// @param parameters  "userid", "old_password", "password"
    void resetPassword(const QJsonObject& parameters, Completion complete);
    void retrievePassWordWithUserId(const QString& userId, Completion complete);
    void checkDomainAccount(const QString& account, const QString& domain,
        std::function<void(bool, std::optional<QString>, const Platform::Error&)> completion);
    void pingServerToResult(std::function<void(bool)> result);

    void Get_network_type();
    void Get_GeneralNGNPolicy();
    void Get_Save_Config();
    /// The QR code at @p side points; waits at most 3 seconds, null then. Not on the main thread.
    QImage getCurrentQR(double side);

    /// A record with a user id and a ticket exists.
    bool iflogin() const;
    /// The record's file exists without proving a login.
    bool ifOldLogin() const;
    /// The record's login type, 0 without a record.
    qint64 currentLoginType() const;
    bool isDomainAutoLogin() const;
    /// The agent asks for no presence in the tray.
    bool isHideTray() const;
    /// The one-time-code field is wanted.
    bool iShowOTP() const;
    /// 1 when only the account login is offered, else 0.
    int selectBtnTag() const;
    QVariant AppMgrList() const;
    QVariantList TrustedsAppList() const;
    bool HiddenNGNSwitchBtn() const { return false; }
    /// The directory domain that the computer is joined to.
    std::optional<QString> joinedDomainName();

    /// Makes a sole id only while there is none and nobody is signed in.
    void createSoleidAndSave();
    std::optional<QString> getSoleID() const;
    void removeSoleID();
    /// Asks the agent to load the user's policy anew.
    void reloadZelVPN();
    /// Stops the VPN component through the agent when it runs. Returns at once; the look-up and the stop run in the
    /// background.
    /// @param done  called once on a background thread when nothing more is to come, whatever happened
    void existZelVPN(const std::function<void()>& done = {});
    /// 16 characters: those from index 7 of the MD5 sum's hexadecimal digits.
    static QString stringToMD5(const QString& text);
    static QString getNowTimestamp();
    /// Stores the network type: 1 extranet, 0 intranet.
    void creatNetworkTpye(int type);
    void loginSuccessToSaveAndLoadVPN(const QJsonObject& answer);
    AccountManager& accounts() { return m_world.accounts; }

private:
    void finishSignIn(const QJsonObject& answer, bool fetchPolicy);
    void handleQRAnswer(const QJsonObject& answer, const std::optional<AccountModel>& before);
    void handleTicketAnswer(const QJsonObject& answer, const AccountModel& before, const QString& plainTicket);
    void handleLogoutAnswer();
    void followNetworkAccess(const QString& userName, const QString& ticket);
    void invalidate(const std::optional<AccountModel>& before);
    void saveRecord(const QJsonObject& data, qint64 status, LoginType type);
    void callLoginBlock(bool signedIn);
    void stopVpn(const std::shared_ptr<void>& end);
    static QString stopOutcome(const QJsonObject& answer, const Platform::Error& error);
    /// Replaces one of the client's state files in one step; the folder is made when missing.
    void replaceState(const QString& name, const Platform::ArchiveValue& root,
        Platform::Durability durability = Platform::Durability::Plain);
    QString stateFile(const QString& name) const;
    QVariant agentFile(const QString& name) const;

    World m_world;
    std::atomic<bool> m_isCheckAndShow{false};
    mutable std::mutex m_blockMutex;
    std::function<void(bool)> m_loginBlock;
    /// Last: its end waits for all that is under way.
    Platform::TaskGroup m_pending;
};
