#pragma once

#include "AgentSettings.h"
#include "Completion.h"
#include "LoginLinks.h"
#include "Session.h"
#include "Shared.h"
#include "SoleId.h"
#include "StateFiles.h"
#include "StateFolder.h"
#include "TaskGroup.h"

#include <QImage>

#include <functional>
#include <mutex>
#include <optional>

class AccountManager;
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
    using Completion = Platform::Completion<QJsonObject, Platform::Error>;
    using DomainCompletion = std::function<void(bool, std::optional<QString>, const Platform::Error&)>;

    struct World {
        Session& session;
        QenCloudNGNLogin& server;
        AccountManager& accounts;
        ITDevice& device;
        QenLogHelper& log;
        VpnComponent& vpn;
        /// The client's state files.
        StateFolder& state;
        AgentSettings& agent;
        LoginLinks links;
    };

    explicit QenCloudLoginHelper(World world);
    static QenCloudLoginHelper& sharedInstance() { return Platform::Shared<QenCloudLoginHelper>::instance(); }

    Session& session() { return m_world.session; }
    /// True after every successful login or ticket confirmation, false after a logout.
    bool isCheckAndShow() const { return m_world.session.current().isConfirmed; }
    /// Called with true when the user became or stays signed in, false when the session ended. On the session's queue.
    void setLoginBlock(std::function<void(bool)> loginBlock);

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
    void checkDomainAccount(const QString& account, const QString& domain, DomainCompletion completion);
    void pingServerToResult(Platform::Completion<bool> result);

    void Get_network_type();
    void Get_GeneralNGNPolicy();
    void Get_Save_Config();
    /// The QR code at @p side points; waits at most 3 seconds, null then. Not on the main thread.
    QImage getCurrentQR(double side);

    /// A record with a user id and a ticket exists.
    bool iflogin() const { return m_world.session.isSignedIn(); }
    /// The record's file exists without proving a login.
    bool ifOldLogin() const { return m_world.state.exists(StateFiles::Login) && !iflogin(); }
    /// The record's login type, 0 without a record.
    qint64 currentLoginType() const { return m_world.session.current().record.value_or(AccountModel()).loginType(); }
    bool isDomainAutoLogin() const { return currentLoginType() == static_cast<qint64>(LoginType::Domain); }
    // The agent's settings, as AgentSettings tells them.
    bool isHideTray() const { return m_world.agent.isHideTray(); }
    bool iShowOTP() const { return m_world.agent.iShowOTP(); }
    int selectBtnTag() const { return m_world.agent.selectBtnTag(); }
    QVariant AppMgrList() const { return m_world.agent.AppMgrList(); }
    QVariantList TrustedsAppList() const { return m_world.agent.TrustedsAppList(); }
    bool HiddenNGNSwitchBtn() const { return false; }
    /// The directory domain that the computer is joined to.
    std::optional<QString> joinedDomainName();

    /// Makes a sole id only while there is none and nobody is signed in.
    void createSoleidAndSave();
    std::optional<QString> getSoleID() const { return m_soleId.value(); }
    void removeSoleID() { m_soleId.remove(); }
    /// Asks the agent to load the user's policy anew.
    void reloadZelVPN();
    /// Stops the VPN component through the agent when it runs. Returns at once; the look-up and the stop run in the
    /// background.
    /// @param done  called once on a background thread when nothing more is to come, whatever happened
    void existZelVPN(const std::function<void()>& done = {});
    /// 16 characters: those from index 7 of the MD5 sum's hexadecimal digits.
    static QString stringToMD5(const QString& text) { return SoleId::stringToMD5(text); }
    static QString getNowTimestamp() { return SoleId::getNowTimestamp(); }
    /// Stores the network type: 1 extranet, 0 intranet.
    void creatNetworkTpye(int type);
    /// Makes a session of an answer that grants one.
    void loginSuccessToSaveAndLoadVPN(const QJsonObject& answer);
    AccountManager& accounts() { return m_world.accounts; }

private:
    void carryOut(SessionEffect effect, const SessionModel& session);
    void signInAnswered(const AskedFor& asked, bool fetchesPolicy, const QJsonObject& answer,
        const Platform::Error& error, const Completion& complete);
    void submit(SessionEvent event, const QJsonObject& answer, const Completion& complete);
    void storePolicy(const QJsonObject& answer);
    void followNetworkAccess(const QString& userName, const QString& ticket);
    void callLoginBlock(bool signedIn);

    const World m_world;
    SoleId m_soleId;
    mutable std::mutex m_mutex;
    std::function<void(bool)> m_loginBlock;
    /// The gateway policy that was stored last.
    QJsonObject m_policy;
    /// Last: its end waits for all that is under way.
    Platform::TaskGroup m_taskArray;
};
