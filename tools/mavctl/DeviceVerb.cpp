#include "ITDevice.h"
#include "Verb.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QJsonObject jsonOf(const QMap<QString, QString>& dictionary) {
    QJsonObject object;
    for (auto entry = dictionary.begin(); entry != dictionary.end(); ++entry)
        object.insert(entry.key(), entry.value());
    return object;
}

/// The interfaces that sysfs below @p root has, as if all were up.
QMap<QString, QString> interfacesBelow(const QString& root) {
    QMap<QString, QString> found;
    const QDir folder(root + u"/sys/class/net"_s);
    for (const QString& name : folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        found.insert(name, u"0.0.0.0"_s);
    return found;
}

QString lineOf(const QJsonValue& value) {
    if (!value.isObject())
        return value.toString().isEmpty() ? u"-"_s : value.toString();
    const QJsonObject object = value.toObject();
    QStringList parts;
    for (auto entry = object.begin(); entry != object.end(); ++entry)
        parts.append(entry.key() + u'=' + entry.value().toString());
    return parts.join(u"  "_s);
}

QStringList linesOf(const QJsonValue& value) {
    QStringList lines;
    if (value.isArray()) {
        for (const QJsonValue& entry : value.toArray())
            lines.append(lineOf(entry));
    } else if (value.isObject()) {
        const QJsonObject table = value.toObject();
        for (auto entry = table.begin(); entry != table.end(); ++entry)
            lines.append(entry.key() + u": "_s + lineOf(entry.value()));
    } else {
        lines.append(lineOf(value));
    }
    return lines.isEmpty() ? QStringList{u"-"_s} : lines;
}

/// Every fact under the name that the client uses for it.
QJsonObject deviceFacts(ITDevice& device) {
    QJsonObject interfaces;
    device.getMacAndIPAddr();
    const auto infos = device.networkInfos();
    for (auto info = infos.begin(); info != infos.end(); ++info)
        interfaces.insert(info.key(), jsonOf(info.value()));
    QJsonArray ports;
    device.listNetworkServices({});
    for (const HardwarePort& port : device.getHardwareportsIP(device.hardwareports()))
        ports.append(jsonOf(port));
    const auto list = [](const QStringList& texts) { return QJsonArray::fromStringList(texts); };
    return {{u"osName"_s, device.osName()}, {u"osVersion"_s, device.osVersion()}, {u"userName"_s, device.userName()},
        {u"machineName"_s, device.machineName()}, {u"modelName"_s, device.modelName()},
        {u"machinePrefixName"_s, device.machinePrefixName()}, {u"ADDomainName"_s, device.getADDomainName()},
        {u"uuid"_s, device.uuid()}, {u"networkInfos"_s, interfaces}, {u"macAddresses"_s, list(device.macAddresses())},
        {u"ipArray"_s, list(device.ipArray())}, {u"hardwareports"_s, ports},
        {u"boardSerialNums"_s, list(device.boardSerialNums())},
        {u"memorySerialNums"_s, list(device.memorySerialNums())},
        {u"hardDiskSerialNums"_s, list(device.hardDiskSerialNums())}};
}

/// One fact a line, names aligned; entries of lists and tables on lines of their own below.
QString deviceText(const QJsonObject& facts) {
    qsizetype width = 0;
    for (const QString& name : facts.keys())
        width = std::max(width, name.size());
    QString text;
    for (auto fact = facts.begin(); fact != facts.end(); ++fact) {
        QString name = fact.key();
        for (const QString& line : linesOf(fact.value())) {
            text += name.leftJustified(width + 2) + line + u'\n';
            name.clear();
        }
    }
    return text;
}

} // namespace

// With --root the facts come from the files below a folder: no command is run, and the interfaces are those found
// there, without addresses, since these are in no file.
Exit runDevice(const QStringList& arguments) {
    bool asJson = false;
    QString root;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == u"--json")
            asJson = true;
        else if (arguments.at(i) == u"--root" && i + 1 < arguments.size())
            root = QDir(arguments.at(++i)).absolutePath();
        else
            return Exit::Usage;
    }
    if (!root.isEmpty() && !QDir(root).exists())
        return fail(u"%1: is no folder"_s.arg(root));
    ITDevice system;
    const auto runNothing = [](const QString&, const QStringList&) { return QString(); };
    ITDevice fixture(root, {.run = runNothing, .listAddresses = [&root] { return interfacesBelow(root); }});
    const QJsonObject facts = deviceFacts(root.isEmpty() ? system : fixture);
    return print(asJson ? QJsonDocument(facts).toJson() : deviceText(facts).toUtf8());
}
