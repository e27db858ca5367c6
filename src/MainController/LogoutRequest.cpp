#include "LogoutRequest.h"

#include "AccountManager.h"
#include "ITDevice.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "Queue.h"

using namespace Qt::StringLiterals;

namespace {

/// The menu reads the addresses anew, the login window takes those that the last request sent.
QJsonObject parameters(const AccountModel& account, ITDevice& device, const AccountManager& accounts, bool isMenu) {
    if (isMenu)
        device.getMacAndIPAddr();
    const ITDevice::Addresses now = device.addresses();
    const QString ip = isMenu ? QString() : accounts.login_ip();
    const QString mac = isMenu ? QString() : accounts.login_Mac();
    QJsonObject parameters{{u"userid"_s, account.userid()}, {u"ticket"_s, account.decryptTicket()},
        {u"deviceid"_s, device.uuid()}, {u"ip"_s, ip.isEmpty() ? now.ip.join(u';') : ip},
        {u"mac"_s, mac.isEmpty() ? now.mac.join(u';') : mac}};
    if (isMenu)
        parameters.insert(u"msg"_s, u"logout"_s);
    return parameters;
}

} // namespace

void requestLogout(const LogoutWorld& world, LogoutPlace place, std::function<void(const AnswerVerdict&)> show) {
    const bool isMenu = place == LogoutPlace::Menu;
    const auto answered = [&log = world.log, show = std::move(show),
                              reads = isMenu ? AnswerPlace::LogoutMenu : AnswerPlace::LogoutInLoginWindow](
                              const QJsonObject& answer, const Platform::Error& error) {
        const AnswerVerdict verdict = judgeAnswer(answer, error, reads);
        if (!verdict.log.isEmpty())
            log.writeLog(verdict.log, 1);
        show(verdict);
    };
    // Reading the device's addresses takes its time.
    Platform::globalQueue().async(
        [&login = world.login, &device = world.device, busy = world.work.token(), isMenu, answered] {
            const AccountModel account = login.session().current().record.value_or(AccountModel());
            login.logout(parameters(account, device, login.accounts(), isMenu), answered);
        });
}
