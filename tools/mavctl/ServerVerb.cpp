#include "Verb.h"

#include "ArchiveStore.h"
#include "Files.h"
#include "IntegerValue.h"
#include "KeyedArchiver.h"
#include "Paths.h"
#include "StringExtension.h"

#include <QFileInfo>

#include <array>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

/// The client's requests go over plain HTTP.
constexpr quint16 DefaultPort = 80;
/// The order in which the file has them.
constexpr std::array PlaceNames{"intranet", "extranet", "domain"};

struct Server {
    QString address;
    quint16 port = DefaultPort;

    QString text() const { return u"%1:%2"_s.arg(address).arg(port); }
    ArchiveValue::Array pair() const { return {ArchiveValue(address), ArchiveValue(qint64{port})}; }
};

QString configFile() {
    return Platform::Paths::agentState() + u"/.QenConfig"_s;
}

std::optional<ArchiveValue> configured() {
    const auto root = unarchiveObjectWithFile(configFile(), {"NSString", "NSArray", "NSValue", "NSNull"});
    return root && root->isArray() ? root : std::nullopt;
}

/// The window's rules for a typed server, and that the port is one: what the window leaves open would make a
/// configuration that reaches nobody.
std::optional<Server> serverOf(const QString& text, QString& reason) {
    const QString address = text.section(u':', 0, 0);
    const QString port = text.section(u':', 1);
    if (StringExtension::isLetter(address) || !StringExtension::isValidatIP(address)) {
        reason = u"%1: not an IPv4 address; host names are refused, as in the client's window"_s.arg(address);
        return {};
    }
    if (!text.contains(u':'))
        return Server{address};
    bool isNumber = StringExtension::isPureNumandCharacters(port);
    const quint16 number = isNumber ? port.toUShort(&isNumber) : 0;
    if (!isNumber || number == 0) {
        reason = u"%1: not a port from 1 to 65535"_s.arg(port);
        return {};
    }
    return Server{address, number};
}

/// Everybody reads the file, or the clients find no server.
bool isInPlace(const ArchiveValue& wanted) {
    constexpr QFile::Permissions Readable = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
    const auto present = configured();
    return present && present->toVariant() == wanted.toVariant() &&
        (QFileInfo(configFile()).permissions() & Readable) == Readable;
}

Exit show() {
    if (!QFileInfo::exists(configFile()))
        return fail(u"no server is configured"_s);
    const auto root = configured();
    if (!root)
        return fail(configFile() + u" cannot be read or is damaged"_s);
    QString lines;
    const QVariantList places = root->toVariant().toList();
    for (qsizetype i = 0; i < places.size() && i < qsizetype(PlaceNames.size()); ++i) {
        const QVariantList pair = places[i].toList();
        if (pair.size() >= 2)
            lines += u"%1 %2:%3\n"_s.arg(QLatin1StringView(PlaceNames[size_t(i)]))
                         .arg(pair[0].toString())
                         .arg(integerValue(pair[1]).value_or(0));
    }
    return print(lines.toUtf8());
}

/// One server for all three places, in one step.
Exit set(const QString& text, bool checksOnly) {
    QString reason;
    const auto server = serverOf(text, reason);
    if (!server)
        return fail(reason);
    const ArchiveValue::Array pair = server->pair();
    const ArchiveValue wanted(ArchiveValue::Array{ArchiveValue(pair), ArchiveValue(pair), ArchiveValue(pair)});
    if (isInPlace(wanted))
        return print(u"unchanged %1\n"_s.arg(server->text()).toUtf8());
    if (checksOnly) {
        const Exit printed = print(u"would change to %1\n"_s.arg(server->text()).toUtf8());
        return printed == Exit::Ok ? Exit::Different : printed;
    }
    const QByteArray bytes = Platform::KeyedArchiver::archivedData(wanted);
    if (const Platform::Error error = Platform::replaceFile(configFile(), bytes, Platform::Durability::Synced, 0644))
        return fail(u"%1: %2"_s.arg(configFile(), error.localizedDescription()));
    return print(u"changed to %1\n"_s.arg(server->text()).toUtf8());
}

} // namespace

Exit runServer(const QStringList& arguments) {
    if (arguments == QStringList{u"show"_s})
        return show();
    QStringList rest = arguments.mid(1);
    const bool checksOnly = rest.removeOne(u"--check"_s);
    if (arguments.value(0) != "set"_L1 || rest.size() != 1 || rest[0].startsWith(u'-'))
        return Exit::Usage;
    return set(rest[0], checksOnly);
}
