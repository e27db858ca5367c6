#include "QenCloudLoginHelper.h"

#include "ITDevice.h"
#include "KeyedArchiver.h"
#include "PropertyListLimits.h"
#include "QenCloudNGNLogin.h"
#include "QenLogHelper.h"
#include "ScriptRunner.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRandomGenerator>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;
using Platform::Error;

namespace {

constexpr int DomainLine = 2;
constexpr quint32 RandomRange = 99999999;
// Of a sole id among the digits of its sum.
constexpr qsizetype Start = 7;
constexpr qsizetype Length = 16;

/// The answer, of which the unsealed parts are mutable throughout.
ArchiveValue policyRecord(const QJsonObject& answer) {
    auto record = ArchiveValue::fromJson(answer).asMutable();
    for (const auto& key : {u"data"_s, u"office_data"_s}) {
        if (const auto& part = record.value(key); !part.isNothing())
            record.insert(key, part.asDeeplyMutable());
    }
    return record;
}

/// The agent writes its flags as strings; a number is none.
bool isSet(const QVariant& flag) {
    return flag.typeId() == QMetaType::QString && flag.toString() == u"1"_s;
}

} // namespace

QVariant QenCloudLoginHelper::agentSetting(const QString& name) const {
    const auto root = unarchiveObjectWithFile(m_world.agentState + u'/' + name);
    return root ? root->toVariant() : QVariant();
}

bool QenCloudLoginHelper::isHideTray() const {
    return isSet(agentSetting(StateFiles::HideTray));
}

bool QenCloudLoginHelper::iShowOTP() const {
    return isSet(agentSetting(StateFiles::UserLogin).toMap().value(u"double_factor_auth"_s));
}

int QenCloudLoginHelper::selectBtnTag() const {
    const QVariantMap methods = agentSetting(StateFiles::UserLogin).toMap();
    const qint64 qrCode = integerValue(methods.value(u"qrcode_login"_s)).value_or(0);
    const qint64 account = integerValue(methods.value(u"pc_account_login"_s)).value_or(0);
    return account == 1 && qrCode == 0 ? 1 : 0;
}

QVariantList QenCloudLoginHelper::TrustedsAppList() const {
    return agentSetting(StateFiles::TrustedApps).toMap().value(u"trustedapp"_s).toList();
}

bool QenCloudLoginHelper::replaceState(const QString& name, const ArchiveValue& root, Platform::Durability durability) {
    const QByteArray bytes = Platform::KeyedArchiver::archivedData(root);
    if (bytes.isEmpty())
        return false;
    if (Platform::readFile(statePath(name), Platform::PropertyListLimits::FileSize) == bytes)
        return true;
    Platform::makeFolder(m_world.userState);
    return !Platform::replaceFile(statePath(name), bytes, durability);
}

std::optional<QString> QenCloudLoginHelper::getSoleID() const {
    const auto root = unarchiveObjectWithFile(statePath(StateFiles::SoleId));
    return root && root->isString() ? std::optional(root->string()) : std::nullopt;
}

void QenCloudLoginHelper::removeSoleID() {
    QFile::remove(statePath(StateFiles::SoleId));
}

QString QenCloudLoginHelper::stringToMD5(const QString& text) {
    const QByteArray digits = QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex();
    return QString::fromLatin1(digits.mid(Start, Length));
}

void QenCloudLoginHelper::createSoleidAndSave() {
    if (hasState(StateFiles::SoleId) || iflogin())
        return;
    const quint32 random = QRandomGenerator::system()->generate() % RandomRange + 1;
    const QString seed = m_world.device.machineName() + getNowTimestamp() + QString::number(random) +
        m_world.device.uuid() + m_world.device.macAddresses().join(u';');
    replaceState(StateFiles::SoleId, stringToMD5(seed), Platform::Durability::Synced);
}

void QenCloudLoginHelper::reloadZelVPN() {
    // The same words each time: that they are written is the request.
    Platform::makeFolder(m_world.userState);
    archiveRootObject(u"userPolicyRequest"_s, statePath(StateFiles::UserPolicy));
}

void QenCloudLoginHelper::creatNetworkTpye(int type) {
    // Replaced in one step rather than removed first: a reader in between sees the old choice, never none.
    replaceState(StateFiles::NetType, QString::number(type));
}

void QenCloudLoginHelper::storePolicy(const QJsonObject& answer) {
    const QString path = statePath(StateFiles::NGNPolicy);
    const std::lock_guard lock(m_mutex);
    // Asked for with every confirmation: the same policy is not even made into an archive again.
    if (answer == m_policy && Platform::fileIdentity(path) == m_policyFile)
        return;
    const bool isStored = replaceState(StateFiles::NGNPolicy, policyRecord(answer));
    m_policy = isStored ? answer : QJsonObject();
    m_policyFile = Platform::fileIdentity(path);
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
            QFile::remove(statePath(StateFiles::GeneralConfig));
        else
            replaceState(StateFiles::GeneralConfig, ArchiveValue::fromJson(data).asDeeplyMutable());
        m_world.log.writeLog(u"[QenCloudLoginHelper] QenCloud get General Success!!!"_s);
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
