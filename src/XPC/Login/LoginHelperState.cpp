#include "QenCloudLoginHelper.h"

#include "ArchiveStore.h"
#include "Deployment.h"
#include "ITDevice.h"
#include "IntegerValue.h"
#include "Paths.h"
#include "QenLogHelper.h"
#include "ScriptRunner.h"
#include "TaskHelper.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRandomGenerator>

#include <ctime>

using namespace Qt::StringLiterals;

// What lies on disk: the record, the sole id, the markers for the agent, and the agent's own files.

namespace {

constexpr int DomainLine = 2;
constexpr quint32 RandomRange = 99999999;
constexpr qsizetype SoleIdStart = 7;
constexpr qsizetype SoleIdLength = 16;

} // namespace

LoginFolders LoginFolders::standard() {
    return {Platform::Paths::applicationSupport(), Platform::Paths::agentState(), Deployment::vpnExecutable()};
}

QString QenCloudLoginHelper::stateFile(const QString& name) const {
    return m_world.folders.userState() + u'/' + name;
}

void QenCloudLoginHelper::replaceState(
    const QString& name, const Platform::ArchiveValue& root, Platform::Durability durability) {
    Platform::makeFolder(m_world.folders.userState());
    archiveRootObject(root, stateFile(name), durability);
}

QVariant QenCloudLoginHelper::agentFile(const QString& name) const {
    const auto root = unarchiveObjectWithFile(m_world.folders.agentState + u'/' + name);
    return root ? root->toVariant() : QVariant();
}

bool QenCloudLoginHelper::iflogin() const {
    const auto record = AccountModel::currentModel(m_world.folders.applicationSupport);
    return record && !record->userid().isNull() && !record->ticket().isEmpty();
}

bool QenCloudLoginHelper::ifOldLogin() const {
    return QFile::exists(stateFile(u"login.archive"_s)) && !iflogin();
}

qint64 QenCloudLoginHelper::currentLoginType() const {
    const auto record = AccountModel::currentModel(m_world.folders.applicationSupport);
    return record ? record->loginType() : 0;
}

bool QenCloudLoginHelper::isDomainAutoLogin() const {
    return currentLoginType() == static_cast<qint64>(LoginType::Domain);
}

bool QenCloudLoginHelper::isHideTray() const {
    const QVariant flag = agentFile(u"hideqenswitch.archive"_s);
    return flag.typeId() == QMetaType::QString && flag.toString() == u"1"_s;
}

bool QenCloudLoginHelper::iShowOTP() const {
    const QVariant flag = agentFile(u"userlogin.archive"_s).toMap().value(u"double_factor_auth"_s);
    return flag.typeId() == QMetaType::QString && flag.toString() == u"1"_s;
}

int QenCloudLoginHelper::selectBtnTag() const {
    const QVariantMap methods = agentFile(u"userlogin.archive"_s).toMap();
    const qint64 qrCode = integerValue(methods.value(u"qrcode_login"_s)).value_or(0);
    const qint64 account = integerValue(methods.value(u"pc_account_login"_s)).value_or(0);
    return account == 1 && qrCode == 0 ? 1 : 0;
}

QVariant QenCloudLoginHelper::AppMgrList() const {
    return agentFile(u"appmgrlist.archive"_s);
}

QVariantList QenCloudLoginHelper::TrustedsAppList() const {
    return agentFile(u"ngncloudlist.archive"_s).toMap().value(u"trustedapp"_s).toList();
}

std::optional<QString> QenCloudLoginHelper::joinedDomainName() {
    const Platform::ScriptRunner script(
        u"do shell script \"dsconfigad -show | grep 'Active Directory Domain' | awk '{print $5}'\""_s);
    Platform::Error error;
    const QString text = script.execute(&error);
    if (error) {
        m_world.log.writeLog(
            u"Check join domain script excute failed with error: %1"_s.arg(error.logText()), DomainLine);
        return std::nullopt;
    }
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

QString QenCloudLoginHelper::getNowTimestamp() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return QString::number(now.tv_sec + (now.tv_nsec >= 500'000'000 ? 1 : 0));
}

QString QenCloudLoginHelper::stringToMD5(const QString& text) {
    const QByteArray digits = QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex();
    return QString::fromLatin1(digits.mid(SoleIdStart, SoleIdLength));
}

void QenCloudLoginHelper::createSoleidAndSave() {
    const QString name = u"soleid.archive"_s;
    if (QFile::exists(stateFile(name)) || iflogin())
        return;
    const quint32 random = QRandomGenerator::system()->generate() % RandomRange + 1;
    const QString seed = m_world.device.machineName() + getNowTimestamp() + QString::number(random) +
        m_world.device.uuid() + m_world.device.macAddresses().join(u';');
    replaceState(name, stringToMD5(seed), Platform::Durability::Synced);
}

std::optional<QString> QenCloudLoginHelper::getSoleID() const {
    const auto root = unarchiveObjectWithFile(stateFile(u"soleid.archive"_s));
    return root && root->isString() ? std::optional(root->string()) : std::nullopt;
}

void QenCloudLoginHelper::removeSoleID() {
    QFile::remove(stateFile(u"soleid.archive"_s));
}

void QenCloudLoginHelper::reloadZelVPN() {
    replaceState(u"userpolicy.archive"_s, u"userPolicyRequest"_s);
}

void QenCloudLoginHelper::creatNetworkTpye(int type) {
    // Replaced in one step rather than removed first: a reader in between sees the old choice, never none.
    replaceState(u"netType.archive"_s, QString::number(type));
}

void QenCloudLoginHelper::saveRecord(const QJsonObject& data, qint64 status, LoginType type) {
    AccountModel record;
    record.setQenStatus(status);
    record.setUsername(data.value(u"username").toString());
    record.setUserid(data.value(u"userid").toString());
    record.setTicket(data.value(u"ticket").toString());
    record.setLoginType(type);
    record.save(m_world.folders.applicationSupport);
}

void QenCloudLoginHelper::invalidate(const std::optional<AccountModel>& before) {
    const QString file = stateFile(u"login.archive"_s);
    // A domain session is never ended this way.
    if (!QFile::exists(file) || !before || before->loginType() == static_cast<qint64>(LoginType::Domain))
        return;
    QFile::remove(file);
    existZelVPN();
    createSoleidAndSave();
    callLoginBlock(false);
}

void QenCloudLoginHelper::existZelVPN(const std::function<void()>& done) {
    // Called when the last of those who carry the stop on lets it go.
    const std::shared_ptr<void> end(nullptr, [done](void*) {
        if (done)
            done();
    });
    Platform::globalQueue().async([this, end, busy = m_pending.token()] { stopVpn(end); });
}

void QenCloudLoginHelper::stopVpn(const std::shared_ptr<void>& end) {
    QString running;
    TaskHelper::sharedInstance().excuteTaskPath(u"/bin/bash"_s,
        {u"-c"_s, u"/bin/ps aux | grep -w '%1' | grep -v 'grep'"_s.arg(m_world.folders.vpnExecutable)}, &running,
        nullptr);
    if (running.isEmpty())
        return;
    const auto refused = [this] { m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud Vindor Access Fail!!!"_s); };
    AgentAccessLink* agent = m_world.links.agent;
    if (!agent) {
        refused();
        return;
    }
    agent->startRequestAccess([this, end, busy = m_pending.token(), agent, refused](int status) {
        if (status != 0) {
            refused();
            return;
        }
        agent->stopSmartAgent([this, end, busy](const QJsonObject& answer, const Platform::Error& error) {
            m_world.log.writeLog(stopOutcome(answer, error));
        });
    });
}

QString QenCloudLoginHelper::stopOutcome(const QJsonObject& answer, const Platform::Error& error) {
    if (error)
        return u"[QenCloudLoginHelper] QenCloud Vindor Stop Fail: %1"_s.arg(error.logText());
    const auto code = integerValue(answer.value(u"code"));
    if (code == 0)
        return u"[QenCloudLoginHelper] QenCloud Vindor Stop Success!!!"_s;
    return u"[QenCloudLoginHelper] QenCloud Vindor Stop Fail:code = %1"_s.arg(
        code ? QString::number(*code) : u"(null)"_s);
}
