#include "AccountManager.h"

#include "ArchiveStore.h"
#include "ITDevice.h"
#include "QenLogHelper.h"
#include "StateFiles.h"

#include <ctime>

using namespace Qt::StringLiterals;

namespace {

constexpr int TraceLine = 32;
const QString DeviceType = u"PC"_s;

QString getNowTimeTimestamp() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    // Rounded to a whole second, as "%0.f" does.
    return QString::number(now.tv_sec + (now.tv_nsec >= 500'000'000 ? 1 : 0));
}

} // namespace

QString AccountManager::getSoleID() {
    const auto stored =
        unarchiveObjectWithFile(m_world.applicationSupport + u'/' + StateFiles::UserFolder + u'/' + StateFiles::SoleId);
    const QString soleId = stored && stored->isString() ? stored->string() : QString();
    m_world.log.writeLog(u"[AccountManager] QenCloud get soleID:%1"_s.arg(soleId), TraceLine);
    return soleId.isNull() ? QString(""_L1) : soleId;
}

void AccountManager::GetMacAndIP() {
    const ITDevice::Addresses addresses = m_world.device.addresses();
    const std::lock_guard lock(m_mutex);
    m_loginMac = addresses.mac.join(u';');
    m_loginIp = addresses.ip.join(u';');
}

QString AccountManager::login_Mac() const {
    const std::lock_guard lock(m_mutex);
    return m_loginMac;
}

QString AccountManager::login_ip() const {
    const std::lock_guard lock(m_mutex);
    return m_loginIp;
}

QString AccountManager::deviceId() {
    return m_world.device.uuid();
}

/// What login, password reset and the text of the QR code say of the device.
QJsonObject AccountManager::deviceParameters() {
    GetMacAndIP();
    return {{"device_type", DeviceType}, {"deviceid", deviceId()}, {"hostname", m_world.device.machineName()},
        {"ip", login_ip()}, {"mac", login_Mac()}, {"os", m_world.device.osName()}, {"timestamp", getNowTimeTimestamp()},
        {"soleid", getSoleID()}};
}

QJsonObject AccountManager::createAccountUrl(const QJsonObject& parameters) {
    QJsonObject sealed = deviceParameters();
    const QString otp = parameters.value(u"otp").toString();
    if (!otp.isEmpty())
        sealed.insert(u"otp", otp);
    sealed.insert(u"logintype", otp.isEmpty() ? 0 : 1);
    sealed.insert(u"password", parameters.value(u"password"));
    sealed.insert(u"userid", parameters.value(u"userid"));
    return sealed;
}

QJsonObject AccountManager::encodeResetPassword(const QJsonObject& parameters) {
    QJsonObject sealed = deviceParameters();
    for (const auto& key : {u"userid"_s, u"old_password"_s, u"password"_s})
        sealed.insert(key, parameters.value(key));
    sealed.insert(u"logintype", 0);
    return sealed;
}

QJsonObject AccountManager::checkTicketParam(const QString& ticket) {
    GetMacAndIP();
    const QString userId = m_world.userid ? m_world.userid() : QString();
    return {{"ticket", ticket}, {"hostname", m_world.device.machineName()}, {"mac", login_Mac()},
        {"userid", userId.isNull() ? QString(""_L1) : userId}, {"deviceid", deviceId()}};
}

QJsonObject AccountManager::checkStatusParam(qint64 clientoper) {
    GetMacAndIP();
    return {{"hostname", m_world.device.machineName()}, {"deviceid", deviceId()}, {"mac", login_Mac()},
        {"clientoper", clientoper}, {"soleid", getSoleID()}};
}

QJsonObject AccountManager::qrParameters() {
    QJsonObject sealed = deviceParameters();
    sealed.insert(u"login_user", m_world.device.userName());
    return sealed;
}
