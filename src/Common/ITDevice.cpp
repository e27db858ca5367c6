#include "ITDevice.h"

#include "Facts.h"
#include "NetworkService.h"
#include "SystemLog.h"
#include "TaskHelper.h"
#include "UserFacts.h"

#include <QFile>
#include <QNetworkInterface>
#include <QUuid>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace {

const QString Unknown = u"unknow"_s;

QString runByTaskHelper(const QString& path, const QStringList& arguments) {
    QString output;
    Platform::Error error;
    TaskHelper::sharedInstance().excuteTaskPath(path, arguments, &output, &error);
    return output;
}

const QString NoAddress = u"0.0.0.0"_s;

QMap<QString, QString> systemAddresses() {
    QMap<QString, QString> found;
    for (const QNetworkInterface& interface : QNetworkInterface::allInterfaces()) {
        const auto flags = interface.flags();
        if (!(flags & QNetworkInterface::IsUp) || (flags & QNetworkInterface::IsLoopBack))
            continue;
        QString& address = found[interface.name()] = NoAddress;
        for (const QNetworkAddressEntry& entry : interface.addressEntries()) {
            if (address == NoAddress && entry.ip().protocol() == QHostAddress::IPv4Protocol)
                address = entry.ip().toString();
        }
    }
    return found;
}

/// The first line of a file that is neither empty nor a comment, without surrounding white space.
QString statement(const Facts& facts, const QString& path) {
    for (const QByteArray& line : facts.text(path).bytes.split('\n')) {
        const QString text = QString::fromUtf8(line).trimmed();
        if (!text.isEmpty() && !text.startsWith(u'#'))
            return text;
    }
    return {};
}

QString systemRelease(const QString& root, const QString& key) {
    for (const char16_t* file : {u"/etc/os-release", u"/usr/lib/os-release"}) {
        const QString value = Facts(root).variables(QString::fromUtf16(file)).value(key);
        if (!value.isEmpty())
            return value;
    }
    return {};
}

/// 32 hexadecimal digits, dashes apart, in the usual grouping and upper case; empty for anything else and for all
/// zeros.
QString grouped(const QString& identifier) {
    const QUuid uuid = QUuid::fromRfc4122(QByteArray::fromHex(identifier.toLatin1()));
    return uuid.isNull() ? QString() : uuid.toString(QUuid::WithoutBraces).toUpper();
}

/// What the shell line or command printed, as one line.
QString joinedLines(QString output) {
    return output.remove(u'\n');
}

ITDevice::Sources completed(ITDevice::Sources sources) {
    if (!sources.run)
        sources.run = runByTaskHelper;
    if (!sources.listAddresses)
        sources.listAddresses = systemAddresses;
    return sources;
}

/// System accounts come first, and what belongs to nobody has a number of its own.
bool isPerson(uid_t user) {
    constexpr uid_t FirstPerson = 1000;
    constexpr uid_t Nobody = 65534;
    return user >= FirstPerson && user != Nobody;
}

} // namespace

ITDevice::ITDevice(const QString& root) : ITDevice(root, Sources()) {}

ITDevice::ITDevice(QString root, Sources sources) : m_root(std::move(root)), m_sources(completed(std::move(sources))) {}

QString ITDevice::osName() {
    const QString version = osVersion();
    const std::lock_guard lock(m_mutex);
    if (m_operationSystemName.isEmpty()) {
        const QString name = systemRelease(m_root, u"NAME"_s);
        m_operationSystemName = (name.isEmpty() ? u"Mac OS X"_s : name) + u' ' + version;
    }
    return m_operationSystemName;
}

QString ITDevice::osVersion() {
    const std::lock_guard lock(m_mutex);
    if (m_systemVersion.isEmpty()) {
        const QString version = systemRelease(m_root, u"VERSION_ID"_s);
        m_systemVersion = version.isEmpty() ? Unknown : version;
    }
    return m_systemVersion;
}

QString ITDevice::operationSystemName() const {
    const std::lock_guard lock(m_mutex);
    return m_operationSystemName;
}

QString ITDevice::systemVersion() const {
    const std::lock_guard lock(m_mutex);
    return m_systemVersion;
}

QString ITDevice::userName() const {
    const Facts facts(m_root);
    const UserFacts users(facts);
    const QString own = users.accountName(QString::number(m_sources.user));
    QString name = isPerson(m_sources.user) ? own : QString();
    if (name.isEmpty())
        name = users.atFirstSeat();
    if (name.isEmpty())
        name = own;
    if (name.isEmpty())
        name = joinedLines(m_sources.run(u"/usr/bin/defaults"_s,
            {u"read"_s, u"/Library/Preferences/com.apple.loginwindow.plist"_s, u"lastUserName"_s}));
    return name.isEmpty() ? Unknown : name;
}

QString ITDevice::machineName() const {
    const std::array files{
        Platform::fileIdentity(m_root + u"/etc/machine-info"_s), Platform::fileIdentity(m_root + u"/etc/hostname"_s)};
    const std::lock_guard lock(m_mutex);
    // Asked for with every poll, and read when another file stands there.
    if (!m_machineName.isEmpty() && m_nameFiles == files)
        return m_machineName;
    const Facts facts(m_root);
    QString name = facts.variables(u"/etc/machine-info"_s).value(u"PRETTY_HOSTNAME"_s).trimmed();
    if (name.isEmpty())
        name = statement(facts, u"/etc/hostname"_s);
    m_machineName = name;
    m_nameFiles = files;
    // The kernel tells nobody when its own changes, so that one is not kept.
    if (name.isEmpty())
        name = statement(facts, u"/proc/sys/kernel/hostname"_s);
    return name.isEmpty() ? Unknown : name;
}

QString ITDevice::modelName() const {
    const Facts facts(m_root);
    const QString model = facts.line(u"/sys/class/dmi/id/product_name"_s);
    if (!model.isEmpty())
        return model;
    // Boards without such firmware have a device tree; its texts end with a zero byte.
    return facts.line(u"/sys/firmware/devicetree/base/model"_s).remove(QChar(0));
}

QString ITDevice::machinePrefixName() const {
    const QString model = modelName().toLower();
    const bool isMobile = model.startsWith(u"macbook") || model.startsWith(u"macmini");
    return isMobile ? u"MB"_s : u"MC"_s;
}

QString ITDevice::getADDomainName() const {
    const QString shell = u"/bin/sh"_s;
    const QString option = u"-c"_s;
    QString name =
        joinedLines(m_sources.run(shell, {option, u"dsconfigad -show | grep 'Computer Account' | awk '{print $4}'"_s}));
    name = name.remove(u'$').toUpper();
    if (!name.isEmpty() && name.contains(machinePrefixName()))
        return name;
    return joinedLines(m_sources.run(shell, {option, u"/usr/sbin/scutil --get ComputerName"_s}));
}

QString ITDevice::uuid() {
    const std::lock_guard lock(m_mutex);
    // The firmware's identifier comes last: only root may read it, and who runs us must not change who we are.
    for (const char16_t* file : {u"/etc/machine-id", u"/var/lib/dbus/machine-id", u"/sys/class/dmi/id/product_uuid"}) {
        if (m_uuid.isEmpty())
            m_uuid = grouped(Facts(m_root).line(QString::fromUtf16(file)));
    }
    return m_uuid;
}

QString ITDevice::systemInfoString(const QString& name) const {
    if (name == u"hw.model") {
        const QString model = modelName();
        if (!model.isEmpty())
            return model;
    }
    QFile file(m_root + u"/proc/sys/"_s + QString(name).remove(u'/').replace(u'.', u'/'));
    // Not Facts: the reason of the failure goes to the log.
    errno = ENOENT;
    if (!name.isEmpty() && file.open(QIODevice::ReadOnly)) {
        const QString value = QString::fromUtf8(file.readLine()).trimmed();
        if (!value.isEmpty())
            return value;
    }
    Platform::systemLog(u"sysctlbyname(%1) failed: %2"_s.arg(name, qt_error_string(errno)));
    return u"unkown name"_s;
}

QMap<QString, DeviceInterface> ITDevice::networkInfos() const {
    const std::lock_guard lock(m_mutex);
    return m_networkInfos.value_or(QMap<QString, DeviceInterface>());
}

void ITDevice::getMacAndIPAddr() {
    QMap<QString, DeviceInterface> table;
    const auto addresses = m_sources.listAddresses();
    for (auto address = addresses.begin(); address != addresses.end(); ++address) {
        DeviceInterface found = getNetworkMacAddress(address.key());
        if (found.value(u"MacAddress"_s).isEmpty())
            continue;
        found.insert(u"ip"_s, address.value());
        table.insert(address.key(), found);
    }
    const std::lock_guard lock(m_mutex);
    m_networkInfos = std::move(table);
}

DeviceInterface ITDevice::getNetworkMacAddress(const QString& name) const {
    const auto found = networkService(Facts(m_root), name);
    if (!found)
        return {};
    return {{u"MacAddress"_s, QString(found->address).remove(u':').toUpper()}, {u"HardwarePort"_s, found->hardwarePort},
        {u"service"_s, found->service}, {u"Device"_s, name},
        {u"ServiceID"_s, found->identifier.isEmpty() ? name : found->identifier}};
}

ITDevice::Addresses ITDevice::addresses() {
    std::unique_lock lock(m_mutex);
    if (!m_networkInfos) {
        lock.unlock();
        getMacAndIPAddr();
        lock.lock();
    }
    Addresses lists;
    for (const DeviceInterface& interface : *m_networkInfos) {
        lists.mac.append(interface.value(u"MacAddress"_s));
        lists.ip.append(interface.value(u"ip"_s));
    }
    return lists;
}
