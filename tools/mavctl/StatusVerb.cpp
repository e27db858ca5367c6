#include "AccountModel.h"
#include "ArchiveStore.h"
#include "Deployment.h"
#include "Paths.h"
#include "QenServerConfig.h"
#include "SessionBus.h"
#include "StateCatalogue.h"
#include "StateFiles.h"
#include "TaskHelper.h"
#include "Verb.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace Paths = Platform::Paths;

namespace {

QString text(const char* english) {
    return QString::fromLatin1(english);
}

QString methodOf(qint64 loginType) {
    switch (loginType) {
    case static_cast<qint64>(LoginType::Account):
        return text("account");
    case static_cast<qint64>(LoginType::QrCode):
        return text("QR code");
    case static_cast<qint64>(LoginType::Domain):
        return text("domain account");
    default:
        return text("unknown");
    }
}

/// "state" is "signed in", "logout pending", "stale record" or "signed out".
QJsonObject sessionFacts() {
    const auto record = AccountModel::currentModel(Paths::applicationSupport());
    if (!record)
        return {{text("state"), text("signed out")}};
    const bool isSignedIn = !record->userid().isNull() && !record->ticket().isEmpty();
    return {{text("state"),
                !isSignedIn                   ? text("stale record")
                    : record->islogout() == 1 ? text("logout pending")
                                              : text("signed in")},
        {text("userid"), record->userid()}, {text("username"), record->username()},
        {text("method"), methodOf(record->loginType())},
        {text("ticket"), record->ticket_state() == 2 ? text("timed out") : text("valid as far as is known here")}};
}

QJsonValue endpoint(const QString& server, quint64 port) {
    return server.isEmpty() ? QJsonValue() : QJsonValue(server + u':' + QString::number(port));
}

QJsonObject serverFacts() {
    const auto config =
        std::make_unique<QenServerConfig>(Paths::agentState() + u'/' + StateFiles::ServerList, Paths::userState());
    config->readServerConfig();
    return {{text("used"), endpoint(config->AcountIP_Config(), config->AcountIP_Port())},
        {text("intranet"), endpoint(config->intranet_server(), config->intranet_port())},
        {text("extranet"), endpoint(config->extranet_server(), config->extranet_port())},
        {text("domain"), endpoint(config->domain_server(), config->domain_port())}};
}

QString networkChoice() {
    const auto marker = unarchiveObjectWithFile(Paths::userState() + u'/' + StateFiles::NetType);
    if (!marker || !marker->isString())
        return text("not chosen yet");
    return marker->string() == u"1" ? text("extranet") : text("intranet");
}

/// Asks the bus, never the service: asking would start it.
QString ticketService() {
    const QVariant answer = SessionBus::askBus(text("NameHasOwner"), {Deployment::TicketServiceName});
    if (answer.isValid())
        return answer.toBool() ? text("running") : text("not running");
    return SessionBus::isThere() ? text("the session bus does not answer") : text("no session bus");
}

QJsonArray vpnProcesses() {
    QString output;
    TaskHelper::sharedInstance().excuteTaskPath(text("/bin/bash"),
        {text("-c"),
            text("/bin/ps aux | grep -w '%1' | grep -v 'grep' | awk '{print $2}'").arg(Deployment::vpnExecutable())},
        &output, nullptr);
    QJsonArray processes;
    for (const QString& line : output.split(u'\n', Qt::SkipEmptyParts))
        processes.append(line.toLongLong());
    return processes;
}

QJsonArray fileFacts() {
    QJsonArray files;
    for (const StateCatalogue::File& file : StateCatalogue::all()) {
        const StateCatalogue::State state = StateCatalogue::stateOf(file.path, file.form);
        QJsonObject object{{text("path"), file.path}, {text("writer"), file.isAgents ? text("agent") : text("client")},
            {text("file"), StateCatalogue::word(state.condition)}};
        if (state.changed.isValid())
            object.insert(text("age_s"), std::max<qint64>(0, state.changed.secsTo(QDateTime::currentDateTime())));
        files.append(object);
    }
    return files;
}

QString ageOf(qint64 seconds) {
    constexpr qint64 Minute = 60;
    constexpr qint64 Hour = 60 * Minute;
    constexpr qint64 Day = 24 * Hour;
    if (seconds < 2 * Minute)
        return u"%1 s"_s.arg(seconds);
    if (seconds < 2 * Hour)
        return u"%1 min"_s.arg(seconds / Minute);
    return seconds < 2 * Day ? u"%1 h"_s.arg(seconds / Hour) : u"%1 d"_s.arg(seconds / Day);
}

QString lineOf(const char* name, const QString& value) {
    return QString::fromLatin1(name).leftJustified(16) + (value.isEmpty() ? text("-") : value) + u'\n';
}

QString statusText(const QJsonObject& status) {
    const QJsonObject session = status.value(u"session").toObject();
    QString user = session.value(u"state").toString();
    if (session.contains(u"userid"))
        user += u": %1 (%2), by %3, ticket %4"_s.arg(session.value(u"userid").toString(),
            session.value(u"username").toString(), session.value(u"method").toString(),
            session.value(u"ticket").toString());
    const QJsonObject server = status.value(u"server").toObject();
    QStringList processes;
    for (const QJsonValue& process : status.value(u"vpn").toArray())
        processes << QString::number(process.toInteger());
    QString result = lineOf("session", user) + lineOf("server", server.value(u"used").toString());
    for (const char* name : {"intranet", "extranet", "domain"})
        result += lineOf((QByteArray("  ") + name).constData(), server.value(QLatin1StringView(name)).toString());
    result += lineOf("network", status.value(u"network").toString()) +
        lineOf("ticket service", status.value(u"ticket_service").toString()) +
        lineOf("VPN component",
            processes.isEmpty() ? text("not running") : text("running, process ") + processes.join(u' '));
    for (const QJsonValue& entry : status.value(u"files").toArray()) {
        const QJsonObject file = entry.toObject();
        const QString age = file.contains(u"age_s") ? ageOf(file.value(u"age_s").toInteger()) : text("-");
        result += file.value(u"writer").toString().leftJustified(8) + file.value(u"file").toString().leftJustified(9) +
            age.rightJustified(8) + text("  ") + file.value(u"path").toString() + u'\n';
    }
    return result;
}

} // namespace

Exit runStatus(const QStringList& arguments) {
    const bool asJson = arguments == QStringList{text("--json")};
    if (!asJson && !arguments.isEmpty())
        return Exit::Usage;
    const QJsonObject status{{text("session"), sessionFacts()}, {text("server"), serverFacts()},
        {text("network"), networkChoice()}, {text("ticket_service"), ticketService()}, {text("vpn"), vpnProcesses()},
        {text("files"), fileFacts()}};
    return print(asJson ? QJsonDocument(status).toJson() : statusText(status).toUtf8());
}
