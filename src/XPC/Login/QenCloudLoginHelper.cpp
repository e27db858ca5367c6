#include "QenCloudLoginHelper.h"

#include "AccountManager.h"
#include "QenCloudNGNLogin.h"
#include "QenLogHelper.h"
#include "ScriptRunner.h"
#include "SealedBody.h"
#include "StateFiles.h"
#include "SystemLog.h"
#include "VpnComponent.h"

#include <QFile>

#include <condition_variable>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;
using Platform::Error;

namespace {

constexpr std::chrono::seconds QrWait{3};
constexpr int DomainLine = 2;

/// The answer, of which the unsealed parts are mutable throughout.
ArchiveValue policyRecord(const QJsonObject& answer) {
    auto record = ArchiveValue::fromJson(answer).asMutable();
    for (const auto& key : {u"data"_s, u"office_data"_s}) {
        if (const auto& part = record.value(key); !part.isNothing())
            record.insert(key, part.asDeeplyMutable());
    }
    return record;
}

QString stopOutcome(const AgentStop& stop) {
    if (stop.access != 0)
        return u"[QenCloudLoginHelper] QenCloud Vindor Access Fail!!!"_s;
    if (stop.error)
        return u"[QenCloudLoginHelper] QenCloud Vindor Stop Fail: %1"_s.arg(stop.error.logText());
    const auto code = integerValue(stop.answer.value(u"code"));
    return code == 0 ? u"[QenCloudLoginHelper] QenCloud Vindor Stop Success!!!"_s
                     : u"[QenCloudLoginHelper] QenCloud Vindor Stop Fail:code = %1"_s.arg(ServerAnswer::logged(code));
}

} // namespace

QenCloudLoginHelper::QenCloudLoginHelper(World world) : m_world(world), m_soleId(m_world.state, m_world.device) {
    m_world.session.setEffects(
        [this](SessionEffect effect, const SessionModel& session) { carryOut(effect, session); });
}

void QenCloudLoginHelper::carryOut(SessionEffect effect, const SessionModel& session) {
    switch (effect) {
    case SessionEffect::Store:
        break;
    case SessionEffect::RequestUserPolicy:
        return reloadZelVPN();
    case SessionEffect::StartTicketService:
        if (m_world.links.ticketService)
            m_world.links.ticketService->runTicketXPC();
        break;
    case SessionEffect::CloseTicketService:
        if (m_world.links.ticketService)
            m_world.links.ticketService->closeNgnServerXpc();
        break;
    case SessionEffect::StopVpn:
        return existZelVPN();
    case SessionEffect::TellSignedIn:
        return callLoginBlock(true);
    case SessionEffect::TellSignedOut:
        return callLoginBlock(false);
    case SessionEffect::MakeSoleId:
        return createSoleidAndSave();
    case SessionEffect::RemoveSoleId:
        return removeSoleID();
    case SessionEffect::FetchPolicy:
        return Get_GeneralNGNPolicy();
    case SessionEffect::FollowNetworkAccess:
        if (session.record)
            followNetworkAccess(session.record->username(), session.record->decryptTicket());
    }
}

void QenCloudLoginHelper::setLoginBlock(std::function<void(bool)> loginBlock) {
    const std::lock_guard lock(m_mutex);
    m_loginBlock = std::move(loginBlock);
}

void QenCloudLoginHelper::callLoginBlock(bool signedIn) {
    std::function<void(bool)> loginBlock;
    {
        const std::lock_guard lock(m_mutex);
        loginBlock = m_loginBlock;
    }
    if (loginBlock)
        loginBlock(signedIn);
}

void QenCloudLoginHelper::submit(SessionEvent event, const QJsonObject& answer, const Completion& complete) {
    m_world.session.submit(
        std::move(event), [this, busy = m_taskArray.token(), answer, complete](const Session::Outcome& outcome) {
            if (outcome.isNotStored)
                m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud session could not be stored"_s);
            if (outcome.isNotStored || outcome.isUnusable)
                complete({}, outcome.isNotStored ? ServerAnswer::notStored() : ServerAnswer::unusable());
            else
                complete(answer, {});
        });
}

void QenCloudLoginHelper::signInAnswered(const AskedFor& asked, bool fetchesPolicy, const QJsonObject& answer,
    const Error& error, const Completion& complete) {
    if (error) {
        Platform::systemLog(error.logText());
        complete(answer, error);
        return;
    }
    if (ServerAnswer::ret(answer) != 0)
        m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud refused ret:%1 errorcode:%2 msg:%3"_s.arg(
            ServerAnswer::logged(ServerAnswer::ret(answer)), ServerAnswer::logged(ServerAnswer::errorcode(answer)),
            ServerAnswer::loggedMsg(answer)));
    submit(SignInAnswer{asked, answer, fetchesPolicy}, answer, complete);
}

void QenCloudLoginHelper::login(const QJsonObject& parameters, Completion complete) {
    createSoleidAndSave();
    m_world.server.loginAccount(parameters,
        [this, busy = m_taskArray.token(), asked = m_world.session.asked(), complete = std::move(complete)](
            const QJsonObject& answer, const Error& error) { signInAnswered(asked, true, answer, error, complete); });
}

void QenCloudLoginHelper::resetPassword(const QJsonObject& parameters, Completion complete) {
    m_world.server.ResetPasswordState(parameters,
        [this, busy = m_taskArray.token(), asked = m_world.session.asked(), complete = std::move(complete)](
            const QJsonObject& answer, const Error& error) { signInAnswered(asked, false, answer, error, complete); });
}

void QenCloudLoginHelper::loginSuccessToSaveAndLoadVPN(const QJsonObject& answer) {
    submit(SignInAnswer{m_world.session.asked(), answer, false}, answer, {});
}

void QenCloudLoginHelper::CheckQRLoginState(Completion complete) {
    const SessionModel session = m_world.session.current();
    const qint64 clientoper = session.record && !session.record->userid().isNull() ? session.record->islogout() : 0;
    m_world.server.startCheckQRLoginState(clientoper,
        [this, busy = m_taskArray.token(), asked = session.asked, complete = std::move(complete)](
            const QJsonObject& answer, const Error& error) {
            if (!error) {
                submit(QRAnswer{asked, answer}, answer, complete);
                return;
            }
            Get_network_type(); // the network may have changed
            complete(answer, error);
        });
}

void QenCloudLoginHelper::followNetworkAccess(const QString& userName, const QString& ticket) {
    NetworkAccessLink* access = m_world.links.networkAccess;
    if (!access)
        return;
    access->requestGeneralConfig(
        [this, busy = m_taskArray.token(), access, userName, ticket](const QJsonObject& answer, const Error& error) {
            if (error || ServerAnswer::ret(answer) != 0)
                return;
            const auto opened = SealedBody::decodeSM4(answer.value(u"data").toString());
            const QJsonObject config = opened ? opened->toObject() : QJsonObject();
            const QJsonObject domain = config.value(u"domain").toObject();
            const QString method = domain.value(u"auth_method").toString();
            const QString address = domain.value(u"inac_addr").toString();
            const QJsonArray ssids = config.value(u"wifisettings").toObject().value(u"ssidlist").toArray();
            access->checkiNacNecessaryWithUrl(
                address, [this, busy, access, method, userName, ticket, ssids, address](bool present) {
                    if (present)
                        return;
                    if (method == u"3"_s) {
                        access->executeInacTaskWithUserName(userName, ticket, ssids, address);
                        m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud inac type 3"_s);
                    } else if (method == u"2"_s) {
                        access->installStaticMobileconfig();
                        m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud inac type 2"_s);
                    }
                });
        });
}

void QenCloudLoginHelper::checkTicketStatus(Completion complete) {
    const SessionModel session = m_world.session.current();
    if (!session.isSignedIn())
        return;
    m_world.server.checkTicket(session.record->decryptTicket(),
        [this, busy = m_taskArray.token(), asked = session.asked, complete = std::move(complete)](
            const QJsonObject& answer, const Error& error) {
            if (error)
                complete(answer, error);
            else
                submit(TicketAnswer{asked, answer}, answer, complete);
        });
}

void QenCloudLoginHelper::logout(const QJsonObject& parameters, Completion complete) {
    // Kept for the agent: the record's own path stands where a folder belongs, on purpose. This file never exists, and
    // "userpolicy.archive" survives the logout.
    const auto removePolicyRequest = [path = m_world.state.path(StateFiles::Login) + u'/' + StateFiles::UserFolder +
                                             u'/' + StateFiles::UserPolicy] { QFile::remove(path); };
    const auto answered = [this, busy = m_taskArray.token(), asked = m_world.session.asked(), removePolicyRequest,
                              complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        if (error)
            m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud logout fail because no network!!!"_s);
        m_world.session.submit(LogoutAnswer{asked, error ? std::nullopt : std::optional(answer)},
            [busy, answer, error, complete, removePolicyRequest](const Session::Outcome&) {
                complete(answer, error);
                removePolicyRequest();
            });
    };
    Platform::globalQueue().async([this, busy = m_taskArray.token(), parameters, answered] {
        m_world.server.logoutAccount(parameters, answered);
    });
}

void QenCloudLoginHelper::retrievePassWordWithUserId(const QString& userId, Completion complete) {
    m_world.accounts.retrievePassWord({{"user_id", userId}}, std::move(complete));
}

void QenCloudLoginHelper::checkDomainAccount(
    const QString& account, const QString& domain, DomainCompletion completion) {
    m_world.server.checkDomainAccount(account, domain, std::move(completion));
}

void QenCloudLoginHelper::pingServerToResult(Platform::Completion<bool> result) {
    m_world.accounts.pingServerResult(std::move(result));
}

void QenCloudLoginHelper::Get_network_type() {
    Platform::globalQueue().async([this, busy = m_taskArray.token()] {
        m_world.server.GetNetWorkType([this, asked = m_world.session.asked()](int type) {
            creatNetworkTpye(type);
            m_world.session.submit(NetworkTypeAnswer{asked, type == 1 ? 1 : 0});
        });
    });
}

void QenCloudLoginHelper::Get_GeneralNGNPolicy() {
    m_world.accounts.GetGeneralNGNPolicyRep(
        [this, busy = m_taskArray.token()](const QJsonObject& answer, const Error& error) {
            // This answer's result key is "code", not "ret".
            if (!error && integerValue(answer.value(u"code")) == 0)
                storePolicy(answer);
        });
}

void QenCloudLoginHelper::storePolicy(const QJsonObject& answer) {
    const std::lock_guard lock(m_mutex);
    // Asked for with every confirmation: the same policy is not even made into an archive again.
    if (answer == m_policy && m_world.state.isUntouched(StateFiles::NGNPolicy))
        return;
    m_world.state.replace(StateFiles::NGNPolicy, policyRecord(answer));
    m_policy = answer;
}

void QenCloudLoginHelper::Get_Save_Config() {
    m_world.server.GetgeneralConfig([this, busy = m_taskArray.token()](const QJsonObject& answer, const Error& error) {
        if (error) {
            m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud get General fail!!!"_s);
            return;
        }
        if (ServerAnswer::ret(answer) != 0)
            return;
        const QJsonValue data = answer.value(u"data");
        if (data.isUndefined() || data.isNull())
            m_world.state.remove(StateFiles::GeneralConfig);
        else
            m_world.state.replace(StateFiles::GeneralConfig, ArchiveValue::fromJson(data).asDeeplyMutable());
        m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud get General Success!!!"_s);
    });
}

QImage QenCloudLoginHelper::getCurrentQR(double side) {
    struct Waiting {
        std::mutex mutex;
        std::condition_variable arrived;
        bool done = false;
        QImage image;
    };
    const auto waiting = std::make_shared<Waiting>();
    Platform::globalQueue().async([this, busy = m_taskArray.token(), side, waiting] {
        m_world.server.createQRForSize(side, [waiting](const QImage& image) {
            const std::lock_guard lock(waiting->mutex);
            waiting->image = image;
            waiting->done = true;
            waiting->arrived.notify_all();
        });
    });
    std::unique_lock lock(waiting->mutex);
    waiting->arrived.wait_for(lock, QrWait, [&] { return waiting->done; });
    return waiting->image;
}

void QenCloudLoginHelper::existZelVPN(const std::function<void()>& done) {
    // Called when the last of those who carry the stop on lets it go.
    const std::shared_ptr<void> end(nullptr, [done](void*) {
        if (done)
            done();
    });
    Platform::globalQueue().async([this, end, busy = m_taskArray.token()] {
        if (m_world.vpn.processes().isEmpty())
            return;
        m_world.vpn.stop([this, end, busy](const AgentStop& stop) { m_world.log.writeLog(stopOutcome(stop)); });
    });
}

std::optional<QString> QenCloudLoginHelper::joinedDomainName() {
    const Platform::ScriptRunner script(
        u"do shell script \"dsconfigad -show | grep 'Active Directory Domain' | awk '{print $5}'\""_s);
    Error error;
    const QString text = script.execute(&error);
    if (error) {
        m_world.log.writeLog(
            u"Check join domain script excute failed with error: %1"_s.arg(error.logText()), DomainLine);
        return std::nullopt;
    }
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

void QenCloudLoginHelper::createSoleidAndSave() {
    if (!m_soleId.exists() && !iflogin())
        m_soleId.make();
}

void QenCloudLoginHelper::reloadZelVPN() {
    // The same words each time: that they are written is the request.
    m_world.state.rewrite(StateFiles::UserPolicy, u"userPolicyRequest"_s);
}

void QenCloudLoginHelper::creatNetworkTpye(int type) {
    // Replaced in one step rather than removed first: a reader in between sees the old choice, never none.
    m_world.state.replace(StateFiles::NetType, QString::number(type));
}
