#include "AppDelegate.h"

#include "AccountModel.h"
#include "ApplicationMenu.h"
#include "ClientNotifications.h"
#include "ITDevice.h"
#include "IntegerValue.h"
#include "LogRedaction.h"
#include "LoginVerdict.h"
#include "MavServerSetingWinCtrl.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "QenMainWindow.h"
#include "Queue.h"

using namespace Qt::StringLiterals;

// What the application does with the session: log-out, ticket and certificate checks.

namespace {

QJsonObject logoutRequest(ITDevice& device, const QString& applicationSupport) {
    device.getMacAndIPAddr();
    const ITDevice::Addresses addresses = device.addresses();
    const auto account = AccountModel::currentModel(applicationSupport).value_or(AccountModel());
    return {{u"userid"_s, account.userid()}, {u"mac"_s, addresses.mac.join(u';')}, {u"ip"_s, addresses.ip.join(u';')},
        {u"deviceid"_s, device.uuid()}, {u"ticket"_s, account.decryptTicket()}, {u"msg"_s, u"logout"_s}};
}

} // namespace

void AppDelegate::logoutClick() {
    if (m_isLoggingOut)
        return;
    m_isLoggingOut = true;
    setItemsHiddenMenu();
    // The device's addresses take their time, so not on this thread.
    Platform::globalQueue().async([delegate = QPointer(this), &login = m_world.login, &device = m_world.device,
                                      applicationSupport = m_world.applicationSupport] {
        login.logout(logoutRequest(device, applicationSupport),
            [delegate](const QJsonObject& answer, const Platform::Error& error) {
                Platform::mainQueue().async([delegate, answer, error] {
                    if (AppDelegate* self = delegate.data())
                        self->logoutAnswered(answer, error);
                });
            });
    });
}

void AppDelegate::logoutAnswered(const QJsonObject& answer, const Platform::Error& error) {
    m_isLoggingOut = false;
    setItemsHiddenMenu();
    const LogoutVerdict verdict = judgeLogoutAnswer(answer, error);
    if (error) {
        m_world.log.writeLog(u"[QenDetailWindow] QenCloud logout fail msg:%1"_s.arg(error.localizedDescription()), 1);
        showAlertTipForLogin(verdict.message);
        return;
    }
    if (verdict.signedOut)
        m_world.center.post(ClientNotification::Logout, 0);
    else
        showAlertTipForLogin(verdict.message);
    const auto ret = integerValue(answer.value(u"ret"));
    m_world.log.writeLog(u"[QenDetailWindow] QenCloud logout ret:%1 msg:%2"_s.arg(
                             ret ? QString::number(*ret) : u"(null)"_s, redacted(answer.value(u"msg"))),
        1);
}

void AppDelegate::checkStatusTicket() {
    if (!m_world.login.iflogin())
        return;
    m_world.login.checkTicketStatus([&log = m_world.log](const QJsonObject& answer, const Platform::Error& error) {
        log.writeLog(error
                ? u"[QenDetailWindow] QenCloud Check ticket error:%1"_s.arg(error.localizedDescription())
                : u"[QenDetailWindow] QenCloud Check ticket response msg:%1"_s.arg(redacted(answer.value(u"msg"))),
            1);
    });
}

void AppDelegate::checkIsCAVersion() {
    m_world.log.writeLog(u"[iNacManager] QenCloud Check Ca"_s, 1);
    if (!m_world.parts.checkCaVersion || !m_world.parts.checkCaVersion())
        return;
    m_world.log.writeLog(u"[iNacManager] QenCloud Ca exist"_s);
    if (m_world.parts.installStaticMobileconfig)
        m_world.parts.installStaticMobileconfig();
}
