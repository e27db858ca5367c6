#include "OperatorRoutes.h"

#include "Faults.h"
#include "RequestLog.h"
#include "Stores.h"

#include <QHash>

#include <functional>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

/// One action with its values. Each says whether it changed anything.
using Action = std::function<bool(const OperatorDesk&, const QJsonObject&)>;
using Actions = QHash<QString, Action>;

QString text(const QJsonObject& json, const char* name) {
    return json.value(QLatin1StringView(name)).toString();
}
QString userOf(const QJsonObject& json) {
    return text(json, "userid");
}
QString deviceOf(const QJsonObject& json) {
    return text(json, "deviceid");
}

Action accountFlag(AccountStore::Flag flag, bool on) {
    return [flag, on](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.accounts.setFlag(userOf(json), flag, on);
    };
}

/// As above; "on": false takes it back.
Action accountSwitch(AccountStore::Flag flag) {
    return [flag](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.accounts.setFlag(userOf(json), flag, json.value(u"on"_s).toBool(true));
    };
}

Action accountText(AccountStore::Text kind, const char* name) {
    return [kind, name](const OperatorDesk& desk, const QJsonObject& json) {
        return json.value(QLatin1StringView(name)).isString() &&
            desk.stores.accounts.setText(userOf(json), kind, text(json, name));
    };
}

Action deviceStanding(Device::Standing standing) {
    return [standing](const OperatorDesk& desk, const QJsonObject& json) {
        // A device can be decided about before it was ever seen.
        if (!deviceOf(json).isEmpty() && !desk.stores.devices.find(deviceOf(json)))
            desk.stores.devices.see({{u"deviceid"_s, deviceOf(json)}});
        return desk.stores.devices.setStanding(deviceOf(json), standing);
    };
}

Action deviceBlock(bool on) {
    return [on](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.devices.setBlocked(deviceOf(json), on);
    };
}

Action ticketChange(Tickets::Change change) {
    return [change](const OperatorDesk& desk, const QJsonObject& json) {
        const qint64 session = json.value(u"session"_s).toInteger();
        return desk.stores.tickets.change(change, session, userOf(json), deviceOf(json)) > 0;
    };
}

bool addAccount(const OperatorDesk& desk, const QJsonObject& json) {
    Account account;
    account.userid = userOf(json);
    account.username = text(json, "username");
    account.otp = text(json, "otp");
    account.mail = text(json, "mail");
    account.requiresApproval = json.value(u"require_approval"_s).toBool();
    return desk.stores.accounts.add(account, text(json, "password"));
}

bool confirmScan(const OperatorDesk& desk, const QJsonObject& json) {
    return desk.stores.accounts.find(userOf(json)) &&
        desk.stores.scans.confirm(text(json, "soleid"), deviceOf(json), userOf(json));
}

bool setPolicy(const OperatorDesk& desk, const QJsonObject& json) {
    bool changed = false;
    for (const auto& [name, setting] :
        {std::pair{u"data"_s, u"policy_data"_s}, {u"office_data"_s, u"policy_office_data"_s}}) {
        if (json.contains(name))
            changed = desk.stores.settings.set(setting, json.value(name));
    }
    return changed;
}

bool reset(const OperatorDesk& desk, const QJsonObject&) {
    desk.faults.clear();
    desk.log.clear();
    return desk.stores.settings.reset();
}

void addAccountActions(Actions& actions) {
    using Flag = AccountStore::Flag;
    using Text = AccountStore::Text;
    actions[u"add_account"_s] = addAccount;
    actions[u"remove_account"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        desk.stores.tickets.change(Tickets::Change::End, 0, userOf(json), {});
        return desk.stores.accounts.remove(userOf(json));
    };
    actions[u"set_password"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.accounts.setPassword(userOf(json), text(json, "password"));
    };
    actions[u"set_username"_s] = accountText(Text::Username, "username");
    actions[u"set_otp"_s] = accountText(Text::Otp, "otp");
    actions[u"set_mail"_s] = accountText(Text::Mail, "mail");
    actions[u"block_user"_s] = accountFlag(Flag::Blocked, true);
    actions[u"unblock_user"_s] = accountFlag(Flag::Blocked, false);
    actions[u"expire_user"_s] = accountFlag(Flag::Expired, true);
    actions[u"renew_user"_s] = accountFlag(Flag::Expired, false);
    actions[u"require_password_change"_s] = accountSwitch(Flag::MustChangePassword);
    actions[u"require_approval"_s] = accountSwitch(Flag::RequiresApproval);
    actions[u"add_domain_account"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.settings.addDomainAccount(text(json, "uid"), text(json, "dc"), text(json, "user_name"));
    };
    actions[u"remove_domain_account"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.settings.removeDomainAccount(text(json, "uid"), text(json, "dc"));
    };
}

void addDeviceActions(Actions& actions) {
    using Standing = Device::Standing;
    actions[u"approve_device"_s] = deviceStanding(Standing::Approved);
    actions[u"reject_device"_s] = deviceStanding(Standing::Rejected);
    actions[u"wait_device"_s] = deviceStanding(Standing::Waiting);
    actions[u"deregister_device"_s] = deviceStanding(Standing::Deregistered);
    actions[u"renew_device"_s] = deviceStanding(Standing::New);
    actions[u"block_device"_s] = deviceBlock(true);
    actions[u"unblock_device"_s] = deviceBlock(false);
    actions[u"bind_device"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.devices.bind(deviceOf(json), userOf(json));
    };
    actions[u"forget_device"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        desk.stores.tickets.endOfDevice(deviceOf(json));
        return desk.stores.devices.forget(deviceOf(json));
    };
}

void addOtherActions(Actions& actions) {
    actions[u"expire_ticket"_s] = ticketChange(Tickets::Change::Expire);
    actions[u"revoke_ticket"_s] = ticketChange(Tickets::Change::Revoke);
    actions[u"rotate_ticket"_s] = ticketChange(Tickets::Change::Rotate);
    actions[u"end_ticket"_s] = ticketChange(Tickets::Change::End);
    actions[u"revoke_certificate"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.certificates.revoke(text(json, "serial"));
    };
    actions[u"confirm_scan"_s] = confirmScan;
    actions[u"reject_scan"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.scans.reject(text(json, "soleid"), deviceOf(json));
    };
    actions[u"set_start_config"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.settings.set(u"start_config"_s, json.value(u"config"_s));
    };
    actions[u"set_policy"_s] = setPolicy;
    actions[u"set_setting"_s] = [](const OperatorDesk& desk, const QJsonObject& json) {
        return desk.stores.settings.set(text(json, "name"), json.value(u"value"_s));
    };
    actions[u"clear_requests"_s] = [](const OperatorDesk& desk, const QJsonObject&) {
        desk.log.clear();
        return true;
    };
}

const Actions& allActions() {
    static const Actions actions = [] {
        Actions all;
        addAccountActions(all);
        addDeviceActions(all);
        addOtherActions(all);
        return all;
    }();
    return actions;
}

} // namespace

QString runAction(const OperatorDesk& desk, const QJsonObject& action) {
    const QString name = text(action, "action");
    const QString nothing = u"nothing to change for "_s + name;
    // Brings its own transaction.
    if (name == "reset"_L1)
        return reset(desk, action) ? QString() : nothing;
    const auto found = allActions().constFind(name);
    if (found == allActions().constEnd())
        return u"unknown action "_s + name;
    Database::Transaction transaction(desk.stores.database);
    return (*found)(desk, action) && transaction.commit() ? QString() : nothing;
}

} // namespace Reference
