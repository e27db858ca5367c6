#include "NacRoutes.h"

#include "AccountRoutes.h"
#include "Authority.h"
#include "Router.h"
#include "Stores.h"
#include "Verdicts.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

/// The client's code for its family of systems.
constexpr int operatingSystem = 3;

FieldRules certificateFields() {
    using Type = FieldRule::Type;
    return {{"machinename", Type::Text}, {"userid", Type::FilledText}, {"deviceid", Type::FilledText},
        {"mac", Type::Text}, {"ticket", Type::FilledText}, {"os", Type::Integer}};
}

Refusal noTicket(int state) {
    return {1, 50, stateText(state)};
}

/// Why nobody gets a certificate for this ticket.
std::optional<Refusal> judgeRequest(const Stores& stores, const Session& session, const QJsonObject& fields) {
    const auto account = stores.accounts.find(session.userid);
    const QString userid = fields[u"userid"_s].toString();
    // After a sign-in by code the client sends the user's name, else the account.
    const bool isOwn = account && (userid == account->userid || userid == account->username);
    if (!isOwn || fields[u"deviceid"_s].toString() != session.deviceid)
        return noTicket(State::notSignedIn);
    if (const int state = stateOfSession(session.state); state != State::valid)
        return noTicket(state);
    if (const auto refused = judgeAccount(*account))
        return refused;
    const Device device = stores.devices.find(session.deviceid).value_or(Device());
    if (const auto refused = judgeDevice(device, account->userid))
        return refused;
    const int state = stateOfDevice(device, stores.settings.value(u"require_registration"_s).toBool());
    return state == State::valid ? std::nullopt : std::optional(Refusal{1, 51, stateText(state)});
}

Answer requestCertificate(
    Stores& stores, const Authority& authority, const Request& request, const QJsonObject& fields) {
    if (fields[u"os"_s].toInt() != operatingSystem)
        return badParameters(u"os"_s);
    if (stores.settings.value(u"require_client_certificate"_s).toBool() && request.peer.isEmpty())
        return refusal({1, 52, u"缺少客户端证书"_s});
    const Session session = stores.tickets.look(fields[u"ticket"_s].toString());
    if (const auto refused = judgeRequest(stores, session, fields))
        return refusal(*refused);
    const qint64 lifetime = stores.settings.value(u"certificate_lifetime"_s).toInteger();
    const auto issued = authority.issue(session.userid, session.deviceid, lifetime);
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    if (!issued ||
        !stores.certificates.add({issued->serial, session.userid, session.deviceid, now, now + lifetime, false}))
        return refusal({-1, 500, u"服务器内部错误"_s});
    const auto text = [](const QByteArray& bytes) { return QString::fromLatin1(bytes.toBase64()); };
    return success({{u"rootCA"_s, text(authority.root())}, {u"subCA"_s, text(authority.intermediate())},
        {u"p12"_s, text(issued->pkcs12)}, {u"pwd"_s, issued->password}});
}

int stateOfCertificate(const std::optional<IssuedCertificate>& certificate) {
    if (!certificate)
        return State::notSignedIn;
    if (certificate->revoked)
        return State::deviceLoggedOut;
    return certificate->expires <= QDateTime::currentSecsSinceEpoch() ? State::loginFailed : State::valid;
}

Answer checkStatus(const Stores& stores, const Request& request) {
    const QString serial = request.query.queryItemValue(u"serial"_s, QUrl::FullyDecoded);
    if (serial.isEmpty())
        return badParameters(u"serial"_s);
    QJsonObject data = stateData(stateOfCertificate(stores.certificates.find(serial)));
    data[u"serial"_s] = serial;
    return success(data);
}

} // namespace

void addNacRoutes(Router& router, Stores& stores, const Authority& authority) {
    router.add("POST", u"/api/inac/ca/getcert"_s,
        {.form = Form::Sealed,
            .rules = certificateFields(),
            .handle = [&stores, &authority](const Request& request,
                          const QJsonObject& fields) { return requestCertificate(stores, authority, request, fields); },
            .sealsAnswer = true});
    router.add("GET", u"/api/inac/ca/checkstatus"_s,
        {Form::None, {},
            [&stores](const Request& request, const QJsonObject&) { return checkStatus(stores, request); }});
}

} // namespace Reference
