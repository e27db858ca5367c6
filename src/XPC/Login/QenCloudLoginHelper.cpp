#include "QenCloudLoginHelper.h"

#include "AccountManager.h"
#include "ArchiveStore.h"
#include "ITDevice.h"
#include "IntegerValue.h"
#include "NetworkAccess.h"
#include "QenCloudNGNLogin.h"
#include "QenCloudTicketHelper.h"
#include "QenLogHelper.h"
#include "SealedBody.h"
#include "StateFiles.h"
#include "SystemLog.h"
#include "VindorClient.h"

#include <QFile>

#include <condition_variable>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

constexpr std::chrono::seconds QrWait{3};

/// States of an answer's "data" that end the session.
bool isInvalidating(std::optional<qint64> state) {
    return state == -7 || state == -4 || state == -3 || state == -2;
}

QJsonObject dataOf(const QJsonObject& answer) {
    return answer.value(u"data").toObject();
}

std::optional<qint64> stateOf(const QJsonObject& answer) {
    return integerValue(dataOf(answer).value(u"state"));
}

/// The answer, of which the unsealed parts are mutable throughout.
Platform::ArchiveValue policyRecord(const QJsonObject& answer) {
    auto record = Platform::ArchiveValue::fromJson(answer).asMutable();
    for (const auto& key : {u"data"_s, u"office_data"_s}) {
        if (const auto& part = record.value(key); !part.isNothing())
            record.insert(key, part.asDeeplyMutable());
    }
    return record;
}

/// State 0 with a ticket: the server signed the user in.
bool signsIn(const QJsonObject& answer) {
    return stateOf(answer) == 0 && dataOf(answer).value(u"ticket").isString();
}

} // namespace

QenCloudLoginHelper::QenCloudLoginHelper(World world) : m_world(std::move(world)) {}

QenCloudLoginHelper& QenCloudLoginHelper::sharedInstance() {
    static auto* instance = new QenCloudLoginHelper({QenCloudNGNLogin::sharedInstance(), AccountManager::shareManager(),
        ITDevice::currentDevice(), QenLogHelper::sharedInstance(), LoginFolders::standard(),
        {&QenCloudTicketHelper::sharedInstance(), &VindorClient::sharedInstance(), &NetworkAccess::sharedInstance()}});
    return *instance;
}

void QenCloudLoginHelper::setLoginBlock(std::function<void(bool)> block) {
    const std::lock_guard lock(m_blockMutex);
    m_loginBlock = std::move(block);
}

void QenCloudLoginHelper::callLoginBlock(bool signedIn) {
    std::function<void(bool)> block;
    {
        const std::lock_guard lock(m_blockMutex);
        block = m_loginBlock;
    }
    if (block)
        block(signedIn);
}

void QenCloudLoginHelper::login(const QJsonObject& parameters, Completion complete) {
    createSoleidAndSave();
    m_world.server.loginAccount(parameters,
        [this, busy = m_pending.token(), complete = std::move(complete)](
            const QJsonObject& answer, const Error& error) {
            if (error)
                Platform::systemLog(error.logText());
            else
                finishSignIn(answer, true);
            complete(answer, error);
        });
}

void QenCloudLoginHelper::resetPassword(const QJsonObject& parameters, Completion complete) {
    m_world.server.ResetPasswordState(parameters,
        [this, busy = m_pending.token(), complete = std::move(complete)](
            const QJsonObject& answer, const Error& error) {
            if (error)
                Platform::systemLog(error.logText());
            else
                finishSignIn(answer, false);
            complete(answer, error);
        });
}

void QenCloudLoginHelper::finishSignIn(const QJsonObject& answer, bool fetchPolicy) {
    if (!signsIn(answer))
        return;
    m_isCheckAndShow = true;
    loginSuccessToSaveAndLoadVPN(answer);
    if (fetchPolicy)
        Get_GeneralNGNPolicy();
}

void QenCloudLoginHelper::loginSuccessToSaveAndLoadVPN(const QJsonObject& answer) {
    saveRecord(dataOf(answer), stateOf(answer).value_or(0), LoginType::Account);
    reloadZelVPN();
    if (m_world.links.ticketService)
        m_world.links.ticketService->runTicketXPC();
    callLoginBlock(true);
    removeSoleID();
}

void QenCloudLoginHelper::CheckQRLoginState(Completion complete) {
    const auto before = AccountModel::currentModel(m_world.folders.applicationSupport);
    const qint64 clientoper = before && !before->userid().isNull() ? before->islogout() : 0;
    m_world.server.startCheckQRLoginState(clientoper,
        [this, busy = m_pending.token(), before, complete = std::move(complete)](
            const QJsonObject& answer, const Error& error) {
            if (error)
                Get_network_type(); // the network may have changed
            else if (integerValue(answer.value(u"ret")) == 0)
                handleQRAnswer(answer, before);
            complete(answer, error);
        });
}

void QenCloudLoginHelper::handleQRAnswer(const QJsonObject& answer, const std::optional<AccountModel>& before) {
    if (isInvalidating(stateOf(answer))) {
        invalidate(before);
        return;
    }
    if (!signsIn(answer))
        return;
    const QJsonObject data = dataOf(answer);
    m_isCheckAndShow = true;
    saveRecord(data, 0, LoginType::QrCode);
    reloadZelVPN();
    if (m_world.links.ticketService)
        m_world.links.ticketService->runTicketXPC();
    callLoginBlock(true);
    followNetworkAccess(data.value(u"username").toString(), data.value(u"ticket").toString());
}

void QenCloudLoginHelper::followNetworkAccess(const QString& userName, const QString& ticket) {
    NetworkAccessLink* access = m_world.links.networkAccess;
    if (!access)
        return;
    access->requestGeneralConfig(
        [this, busy = m_pending.token(), access, userName, ticket](const QJsonObject& answer, const Error& error) {
            if (error || integerValue(answer.value(u"ret")) != 0)
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
    const auto record = AccountModel::currentModel(m_world.folders.applicationSupport);
    if (!record || !iflogin())
        return;
    const QString plain = record->decryptTicket();
    m_world.server.checkTicket(plain,
        [this, busy = m_pending.token(), before = *record, plain, complete = std::move(complete)](
            const QJsonObject& answer, const Error& error) {
            if (!error)
                handleTicketAnswer(answer, before, plain);
            complete(answer, error);
        });
}

void QenCloudLoginHelper::handleTicketAnswer(
    const QJsonObject& answer, const AccountModel& before, const QString& plainTicket) {
    const auto ret = integerValue(answer.value(u"ret"));
    // An answer without a result says nothing, so it ends nobody's session.
    if (!ret)
        return;
    if (*ret != 0 || isInvalidating(stateOf(answer))) {
        invalidate(before);
        return;
    }
    if (stateOf(answer) != 0)
        return;
    m_isCheckAndShow = true;
    Get_GeneralNGNPolicy();
    callLoginBlock(true);
    const QJsonObject data = dataOf(answer);
    const QJsonValue ticket = data.value(u"ticket");
    if (ticket.isString() && ticket.toString() != plainTicket)
        saveRecord(data, 0, LoginType::Account);
}

void QenCloudLoginHelper::logout(const QJsonObject& parameters, Completion complete) {
    Platform::globalQueue().async(
        [this, busy = m_pending.token(), parameters, complete = std::move(complete)]() mutable {
            m_world.server.logoutAccount(parameters,
                [this, busy, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
                    if (error) {
                        if (auto record = AccountModel::currentModel(m_world.folders.applicationSupport)) {
                            record->setIslogout(1);
                            record->save(m_world.folders.applicationSupport);
                        }
                        m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud logout fail because no network!!!"_s);
                    } else if (integerValue(answer.value(u"ret")) == 0) {
                        handleLogoutAnswer();
                    }
                    complete(answer, error);
                    // The record's own path stands where a folder belongs, on purpose: this file never exists, and
                    // "userpolicy.archive" survives the logout for the agent.
                    QFile::remove(
                        stateFile(StateFiles::Login) + u'/' + StateFiles::UserFolder + u'/' + StateFiles::UserPolicy);
                });
        });
}

void QenCloudLoginHelper::handleLogoutAnswer() {
    m_isCheckAndShow = false;
    existZelVPN();
    if (QFile::remove(stateFile(StateFiles::Login)))
        createSoleidAndSave();
    if (m_world.links.ticketService)
        m_world.links.ticketService->closeNgnServerXpc();
    callLoginBlock(false);
}

void QenCloudLoginHelper::retrievePassWordWithUserId(const QString& userId, Completion complete) {
    m_world.accounts.retrievePassWord({{"user_id", userId}}, std::move(complete));
}

void QenCloudLoginHelper::checkDomainAccount(const QString& account, const QString& domain,
    std::function<void(bool, std::optional<QString>, const Error&)> completion) {
    m_world.server.checkDomainAccount(account, domain, std::move(completion));
}

void QenCloudLoginHelper::pingServerToResult(std::function<void(bool)> result) {
    m_world.accounts.pingServerResult(std::move(result));
}

void QenCloudLoginHelper::Get_network_type() {
    Platform::globalQueue().async([this, busy = m_pending.token()] {
        m_world.server.GetNetWorkType([this](int type) {
            creatNetworkTpye(type);
            auto record = AccountModel::currentModel(m_world.folders.applicationSupport);
            const qint64 networkType = type == 1 ? 1 : 0;
            if (!record || record->networkType() == networkType)
                return;
            record->setNetworkType(networkType);
            record->save(m_world.folders.applicationSupport);
        });
    });
}

void QenCloudLoginHelper::Get_GeneralNGNPolicy() {
    Platform::globalQueue().async([this, busy = m_pending.token()] {
        m_world.accounts.GetGeneralNGNPolicyRep([this, busy](const QJsonObject& answer, const Error& error) {
            // This answer's result key is "code", not "ret".
            if (!error && integerValue(answer.value(u"code")) == 0)
                replaceState(StateFiles::NGNPolicy, policyRecord(answer));
        });
    });
}

void QenCloudLoginHelper::Get_Save_Config() {
    m_world.server.GetgeneralConfig([this, busy = m_pending.token()](const QJsonObject& answer, const Error& error) {
        if (error) {
            m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud get General fail!!!"_s);
            return;
        }
        if (integerValue(answer.value(u"ret")) != 0)
            return;
        const QJsonValue data = answer.value(u"data");
        if (data.isUndefined() || data.isNull())
            QFile::remove(stateFile(StateFiles::GeneralConfig));
        else
            replaceState(StateFiles::GeneralConfig, Platform::ArchiveValue::fromJson(data).asDeeplyMutable());
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
    Platform::globalQueue().async([this, busy = m_pending.token(), side, waiting] {
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
