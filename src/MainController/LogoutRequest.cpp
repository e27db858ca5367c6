#include "LogoutRequest.h"

#include "AccountManager.h"
#include "ITDevice.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "Queue.h"

using namespace Qt::StringLiterals;

namespace {

/// The addresses as they are now.
QJsonObject menuRequest(const AccountModel& account, ITDevice& device) {
    device.getMacAndIPAddr();
    const ITDevice::Addresses addresses = device.addresses();
    return {{u"userid"_s, account.userid()}, {u"mac"_s, addresses.mac.join(u';')}, {u"ip"_s, addresses.ip.join(u';')},
        {u"deviceid"_s, device.uuid()}, {u"ticket"_s, account.decryptTicket()}, {u"msg"_s, u"logout"_s}};
}

/// The addresses as the last request sent them, or as they are now.
QJsonObject windowRequest(const AccountModel& account, ITDevice& device, const AccountManager& accounts) {
    const QString ip = accounts.login_ip();
    const QString mac = accounts.login_Mac();
    const ITDevice::Addresses now = device.addresses();
    return {{u"userid"_s, account.userid()}, {u"ticket"_s, account.decryptTicket()}, {u"deviceid"_s, device.uuid()},
        {u"ip"_s, ip.isEmpty() ? now.ip.join(u';') : ip}, {u"mac"_s, mac.isEmpty() ? now.mac.join(u';') : mac}};
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
            login.logout(
                isMenu ? menuRequest(account, device) : windowRequest(account, device, login.accounts()), answered);
        });
}
