#pragma once

#include "CheckLog.h"
#include "Completion.h"
#include "DispatchTimer.h"
#include "Error.h"
#include "QenCheckModel.h"
#include "Shared.h"

#include <chrono>
#include <optional>

using namespace Qt::StringLiterals;

struct CheckVerdict;
class TaskHelper;

namespace Platform {
class NotificationCenter;
}

/// Posted on the main queue for each result; the object is a CheckResult.
inline const QString CheckNotificationName = u"kCheckNotificationName"_s;

/// How the domain-login probe reaches the client's session and its server. May answer on any thread.
struct DomainAccountLink {
    using Answer = std::function<void(bool isValid, const std::optional<QString>& name, const Platform::Error& error)>;

    /// An account record exists.
    std::function<bool()> hasRecord;
    /// Asks the server whether a domain account is valid.
    std::function<void(const QString& account, const QString& domain, Answer answer)> check;
    /// Makes the account that was asked about last a session, unless somebody has signed in since it was asked; then
    /// called once with whether the record was saved.
    std::function<void(const QString& userid, const QString& username, const QString& domainName,
        std::function<void(bool isSaved)> done)>
        signIn;
};

/// Runs the checks of the catalogue by the names of its methods, and the domain-login probe.
///
/// A check blocks its caller until its command has ended or been stopped; its result is posted later, on the main
/// queue. Everything else is for the main thread.
class QenCheck final {
public:
    struct World {
        CheckLog log;
        const TaskHelper& tasks;
        Platform::NotificationCenter& center;
        /// The agent's data folder.
        QString agentState;
        /// The bundle whose version is checked.
        QString applicationBundle;
        /// Only for checkDomainLogin(); empty otherwise.
        DomainAccountLink accounts = {};
    };

    /// @param tick  of the domain-login probe's timer
    explicit QenCheck(World world, std::chrono::milliseconds tick = std::chrono::seconds(1));
    /// Waits for a probe's commands under way; an answer that comes later is dropped.
    ~QenCheck();
    QenCheck(const QenCheck&) = delete;
    QenCheck& operator=(const QenCheck&) = delete;
    /// The running client's, with its log and its session.
    static QenCheck& sharedInstance() { return Platform::Shared<QenCheck>::instance(); }

    /// Calls the method that the model's selectorName() names; nothing, and never a result, when there is none.
    void checkWithModel(const QenCheckModelPointer& model);
    void checkFileVault(const QenCheckModelPointer& model);
    void checkFireWall(const QenCheckModelPointer& model);
    void checkJoinDomain(const QenCheckModelPointer& model);
    void checkQenVersion(const QenCheckModelPointer& model);
    /// Does nothing and posts nothing.
    void checkPasswordSecurity(const QenCheckModelPointer& model);
    void postNotfication(const QString& key, const QenCheckModelPointer& model);

    /// While nobody is signed in: recognises the last console user as a domain account of the joined domain and makes
    /// that a session, asking the server again every 15 ticks until it answers or somebody signs in. Call it once. Its
    /// commands run in the background.
    void checkDomainLogin();
    /// The directory domain that this computer is joined to; null without one. Blocks.
    QString joinedDomainName();
    void sendDomainAccountCheckRequest();
    void timerHandler();
    /// Resolves backslash-u escapes; null for a text that is no escaped one.
    static QString replaceUnicode(const QString& text);

private:
    struct DomainUser {
        QString uid;
        QString domain;
    };

    struct Probe {
        QString output;
        Platform::Error error;
        /// It had to be stopped.
        bool isLate = false;
    };

    Probe probe(const QString& command) const;
    /// With the host tools' reason about @p subject; they are asked only where the verdict does not tell.
    CheckVerdict explained(CheckVerdict verdict, const Probe& probe, const QString& subject) const;
    /// "ent_domain" or "ent_qen"; null when not stated.
    QString requirement(QStringView key) const;
    void report(const QenCheckModelPointer& model, const CheckVerdict& verdict);
    void log(const QString& message) const { m_world.log(message, OrdinaryLine); }
    QString lastUserName() const;
    std::optional<DomainUser> domainUser();
    void beginRequests(const DomainUser& user);
    void domainAnswered(bool isValid, const QString& name, const Platform::Error& error);
    void retryLater();

    const World m_world;
    const std::chrono::milliseconds m_tick;
    DomainUser m_user;
    /// Ticks between two requests, and those left.
    quint32 m_time = 0;
    quint32 m_timeCount = 0;
    /// The server has answered.
    bool m_isDomainLoginChecked = false;
    /// Absent while parked.
    std::unique_ptr<Platform::DispatchTimer> m_timer;
    Platform::Receiver m_main;
    Platform::SerialQueue m_probeQueue;
};
