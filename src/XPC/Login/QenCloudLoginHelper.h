#pragma once

#include "AccountManager.h"
#include "ArchiveStore.h"
#include "LoginLinks.h"
#include "Session.h"
#include "StateFiles.h"
#include "TaskGroup.h"

class ITDevice;
class QenCloudNGNLogin;
class QenLogHelper;
class VpnComponent;

/// Signs in and out on behalf of the views, keeps what the server decides for the agent, and reads the agent's flags.
///
/// Who is signed in is the session's to know: each answer is handed to it with the session that it was asked for, and
/// what follows from it is carried out here. Completions are called exactly once with (answer, error), when all that
/// follows has been carried out; without a receiver on the session's queue, or at once while no server is configured.
/// Destruction waits for what is under way.
class QenCloudLoginHelper final {
public:
    using Completion = AccountManager::Completion;
    using DomainCompletion = AccountManager::DomainCompletion;

    struct World {
        Session& session;
        QenCloudNGNLogin& server;
        AccountManager& accounts;
        ITDevice& device;
        QenLogHelper& log;
        VpnComponent& vpn;
        /// The folders of the client's state files and of the agent's.
        QString userState;
        QString agentState;
        LoginLinks links;
    };

    explicit QenCloudLoginHelper(World world);
    /// Waits for what is under way; the session goes on without what follows from its events.
    ~QenCloudLoginHelper();
    QenCloudLoginHelper(const QenCloudLoginHelper&) = delete;
    QenCloudLoginHelper& operator=(const QenCloudLoginHelper&) = delete;
    static QenCloudLoginHelper& sharedInstance() { return Platform::Shared<QenCloudLoginHelper>::instance(); }

    Session& session() { return m_world.session; }
    /// True after every successful login or ticket confirmation, false after a logout.
    bool isCheckAndShow() const { return m_world.session.current().isConfirmed; }
    /// Called with true when the user became or stays signed in, false when the session ended. On the session's queue.
    /// Set once, before the first request.
    void setLoginBlock(std::function<void(bool)> loginBlock) { m_loginBlock = std::move(loginBlock); }

    /// @param parameters  "userid", "password", "otp"
    void login(const QJsonObject& parameters, Completion complete);
    /// One poll of the QR-code login.
    void CheckQRLoginState(Completion complete);
    /// Confirms the stored ticket with the server. Signed out: nothing happens and @p complete is never called.
    void checkTicketStatus(Completion complete);
    void logout(const QJsonObject& parameters, Completion complete);
    /// @param parameters  "userid", "old_password", "password"
    void resetPassword(const QJsonObject& parameters, Completion complete);
    void retrievePassWordWithUserId(const QString& userId, Completion complete) {
        m_world.accounts.retrievePassWord({{"user_id", userId}}, std::move(complete));
    }
    /// Returns at once: a request is made of files and of what the computer is asked.
    void checkDomainAccount(const QString& account, const QString& domain, DomainCompletion completion);
    void pingServerToResult(Platform::Completion<bool> result) { m_world.accounts.pingServerResult(std::move(result)); }

    void Get_network_type();
    void Get_GeneralNGNPolicy();
    void Get_Save_Config();
    /// The QR code at @p side points; waits at most 3 seconds, null then. Not on the main thread.
    QImage getCurrentQR(double side);

    /// A record with a user id and a ticket exists.
    bool iflogin() const { return m_world.session.isSignedIn(); }
    /// The record's file exists without proving a login.
    bool ifOldLogin() const { return hasState(StateFiles::Login) && !iflogin(); }
    /// The record's login type, 0 without a record.
    qint64 currentLoginType() const { return m_world.session.current().record.value_or(AccountModel()).loginType(); }
    bool isDomainAutoLogin() const { return currentLoginType() == static_cast<qint64>(LoginType::Domain); }
    // What the agent has left in its folder. Read afresh with each call; a file that is missing or damaged is a setting
    // that is absent.
    /// No presence in the tray is wanted.
    bool isHideTray() const;
    /// The one-time-code field is wanted.
    bool iShowOTP() const;
    /// 1 when only the account login is offered, else 0.
    int selectBtnTag() const;
    QVariant AppMgrList() const { return agentSetting(StateFiles::OfficeTools); }
    QVariantList TrustedsAppList() const;
    bool HiddenNGNSwitchBtn() const { return false; }
    /// The directory domain that the computer is joined to.
    std::optional<QString> joinedDomainName();

    /// Makes a sole id only while there is none and nobody is signed in.
    void createSoleidAndSave();
    /// Under which the server knows this device until somebody has signed in.
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
    static QString getNowTimestamp() { return AccountManager::getNowTimeTimestamp(); }
    /// Stores the network type: 1 extranet, 0 intranet.
    void creatNetworkTpye(int type);
    /// Makes a session of an answer that grants one.
    void loginSuccessToSaveAndLoadVPN(const QJsonObject& answer);
    AccountManager& accounts() { return m_world.accounts; }

private:
    void carryOut(SessionEffect effect, const SessionModel& session);
    /// What hears the answer to a sign-in that is asked for now.
    Completion signingIn(bool fetchesPolicy, Completion complete);
    void submit(SessionEvent event, const QJsonObject& answer, const Completion& complete);
    void storePolicy(const QJsonObject& answer);
    void followNetworkAccess(const SessionModel& session);
    /// Nobody has signed in or out since @p asked.
    bool isSameSignIn(const AskedFor& asked) { return m_world.session.asked().signIn == asked.signIn; }

    QVariant agentSetting(const QString& name) const;
    QString statePath(const QString& name) const { return m_world.userState + u'/' + name; }
    bool hasState(const QString& name) const {
        return Platform::fileIdentity(statePath(name)) != Platform::FileIdentity();
    }
    /// Leaves a file alone that holds this already, so that whoever follows it hears of changes only. True when it does
    /// afterwards.
    bool replaceState(const QString& name, const Platform::ArchiveValue& root,
        Platform::Durability durability = Platform::Durability::Plain);

    const World m_world;
    std::atomic<bool> m_isChoosingNetwork{false};
    std::function<void(bool)> m_loginBlock = [](bool) {};
    std::mutex m_mutex;
    /// The gateway policy that was stored last, and its file as it was then.
    QJsonObject m_policy;
    Platform::FileIdentity m_policyFile;
    /// Last: its end waits for all that is under way.
    Platform::TaskGroup m_taskArray;
};
