#include "QenCloudLoginHelper.h"

#include "QenCloudNGNLogin.h"
#include "QenLogHelper.h"
#include "SealedBody.h"
#include "SystemLog.h"
#include "VpnComponent.h"

#include <QFile>

#include <future>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

constexpr std::chrono::seconds QrWait{3};

} // namespace

QenCloudLoginHelper::QenCloudLoginHelper(World world) : m_world(std::move(world)) {
    m_world.session.setEffects(
        [this](SessionEffect effect, const SessionModel& session) { carryOut(effect, session); });
}

QenCloudLoginHelper::~QenCloudLoginHelper() {
    m_world.session.setEffects({});
}

void QenCloudLoginHelper::carryOut(SessionEffect effect, const SessionModel& session) {
    switch (effect) {
    case SessionEffect::Store:
        break;
    case SessionEffect::RequestUserPolicy:
        return reloadZelVPN();
    case SessionEffect::StartTicketService:
        return m_world.links.runTicketXPC();
    case SessionEffect::CloseTicketService:
        return m_world.links.closeNgnServerXpc();
    case SessionEffect::StopVpn:
        return existZelVPN();
    case SessionEffect::TellSignedIn:
    case SessionEffect::TellSignedOut:
        return m_loginBlock(effect == SessionEffect::TellSignedIn);
    case SessionEffect::MakeSoleId:
        return createSoleidAndSave();
    case SessionEffect::RemoveSoleId:
        return removeSoleID();
    case SessionEffect::FetchPolicy:
        return Get_GeneralNGNPolicy();
    case SessionEffect::FollowNetworkAccess:
        return followNetworkAccess(session);
    }
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

QenCloudLoginHelper::Completion QenCloudLoginHelper::signingIn(bool fetchesPolicy, Completion complete) {
    return [this, busy = m_taskArray.token(), asked = m_world.session.asked(), fetchesPolicy,
               complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
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
    };
}

void QenCloudLoginHelper::login(const QJsonObject& parameters, Completion complete) {
    createSoleidAndSave();
    m_world.server.loginAccount(parameters, signingIn(true, std::move(complete)));
}

void QenCloudLoginHelper::resetPassword(const QJsonObject& parameters, Completion complete) {
    m_world.session.submit(PasswordChange{true});
    // Gone with the answer, behind what follows from it.
    const std::shared_ptr<void> change(
        nullptr, [this, busy = m_taskArray.token()](void*) { m_world.session.submit(PasswordChange{false}); });
    m_world.server.ResetPasswordState(parameters,
        [change, answered = signingIn(false, std::move(complete))](
            const QJsonObject& answer, const Error& error) { answered(answer, error); });
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

void QenCloudLoginHelper::followNetworkAccess(const SessionModel& session) {
    const NetworkAccessLink* access = m_world.links.networkAccess;
    if (!access || !session.record)
        return;
    access->requestGeneralConfig([this, busy = m_taskArray.token(), access, session](
                                     const QJsonObject& answer, const Error& error) {
        if (error || ServerAnswer::ret(answer) != 0 || !isSameSignIn(session.asked))
            return;
        const QJsonObject config = ServerAnswer::data(SealedBody::opened(answer, {"data"_L1}));
        const QJsonObject domain = config.value(u"domain").toObject();
        const QString method = domain.value(u"auth_method").toString();
        const QString address = domain.value(u"inac_addr").toString();
        const QJsonArray ssids = config.value(u"wifisettings").toObject().value(u"ssidlist").toArray();
        access->checkiNacNecessaryWithUrl(address, [this, busy, access, session, method, ssids, address](bool present) {
            if (present || !isSameSignIn(session.asked))
                return;
            if (method == u"3"_s) {
                access->executeInacTaskWithUserName(
                    session.record->username(), session.record->decryptTicket(), ssids, address);
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
    const auto removePolicyRequest = [path = statePath(StateFiles::Login) + u'/' + StateFiles::UserFolder + u'/' +
                                             StateFiles::UserPolicy] { QFile::remove(path); };
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

void QenCloudLoginHelper::checkDomainAccount(
    const QString& account, const QString& domain, DomainCompletion completion) {
    Platform::globalQueue().async(
        [this, busy = m_taskArray.token(), account, domain, completion = std::move(completion)] {
            m_world.server.checkDomainAccount(account, domain, completion);
        });
}

void QenCloudLoginHelper::Get_network_type() {
    // One at a time: an older choice that ended later would undo a newer one.
    if (m_isChoosingNetwork.exchange(true))
        return;
    Platform::globalQueue().async([this, busy = m_taskArray.token()] {
        m_world.server.GetNetWorkType([this, asked = m_world.session.asked()](int type) {
            creatNetworkTpye(type);
            m_world.session.submit(NetworkTypeAnswer{asked, type == 1 ? 1 : 0});
        });
        m_isChoosingNetwork = false;
    });
}

void QenCloudLoginHelper::Get_GeneralNGNPolicy() {
    m_world.accounts.GetGeneralNGNPolicyRep([this, busy = m_taskArray.token(), asked = m_world.session.asked()](
                                                const QJsonObject& answer, const Error& error) {
        // This answer's result key is "code", not "ret".
        if (!error && integerValue(answer.value(u"code")) == 0 && isSameSignIn(asked))
            storePolicy(answer);
    });
}

QImage QenCloudLoginHelper::getCurrentQR(double side) {
    const auto made = std::make_shared<std::promise<QImage>>();
    auto image = made->get_future();
    Platform::globalQueue().async([this, busy = m_taskArray.token(), side, made] {
        m_world.server.createQRForSize(side, [made](const QImage& code) { made->set_value(code); });
    });
    return image.wait_for(QrWait) == std::future_status::ready ? image.get() : QImage();
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
        m_world.vpn.stop([this, end, busy](const AgentStop& stop) {
            const bool hasError = stop.access == 0 && stop.error;
            const QString error = u"QenCloud Vindor Stop Fail: %1"_s.arg(stop.error.logText());
            m_world.log.writeLog(u"[QenCloudLoginHelper] "_s + (hasError ? error : stop.outcome()));
        });
    });
}
