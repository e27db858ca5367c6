#include "AppDelegate.h"

#include "AnswerVerdict.h"
#include "ClientNotifications.h"
#include "ITDevice.h"
#include "LogoutRequest.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "QenMainWindow.h"
#include "StringTable.h"

using namespace Qt::StringLiterals;

// What the application does with the session: log-out, ticket and certificate checks.

void AppDelegate::logoutClick() {
    if (m_isLoggingOut)
        return;
    m_isLoggingOut = true;
    setItemsHiddenMenu();
    requestLogout({.login = m_world.login, .device = m_world.device, .log = m_world.log, .work = m_world.work},
        LogoutPlace::Menu, m_answers.wrapped([this](const AnswerVerdict& verdict) { logoutAnswered(verdict); }));
}

void AppDelegate::logoutAnswered(const AnswerVerdict& verdict) {
    m_isLoggingOut = false;
    setItemsHiddenMenu();
    if (verdict.show == AnswerVerdict::Show::Done)
        m_world.center.post(ClientNotification::Logout, 0);
    else
        showAlertTipForLogin(verdict.show == AnswerVerdict::Show::Key ? localizedString(verdict.text) : verdict.text);
}

void AppDelegate::checkStatusTicket() {
    if (!m_world.login.iflogin())
        return;
    m_world.login.checkTicketStatus([&log = m_world.log](const QJsonObject& answer, const Platform::Error& error) {
        log.writeLog(ticketPollLine(answer, error), 1);
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
