#include "ITDevice.h"

#include "DeviceFiles.h"
#include "DeviceSerials.h"
#include "DeviceUsers.h"
#include "PermanentAddress.h"
#include "StringExtension.h"
#include "SystemLog.h"
#include "TaskHelper.h"

#include <QFile>

#include <cerrno>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

const QString Unknown = u"unknow"_s;

QString runByTaskHelper(const QString& path, const QStringList& arguments) {
    QString output;
    Platform::Error error;
    TaskHelper::sharedInstance().excuteTaskPath(path, arguments, &output, &error);
    return output;
}

QString systemRelease(const QString& root, const QString& key) {
    for (const char16_t* file : {u"/etc/os-release", u"/usr/lib/os-release"}) {
        const QString value = DeviceFiles::variables(root + QString::fromUtf16(file)).value(key);
        if (!value.isEmpty())
            return value;
    }
    return {};
}

/// 32 hexadecimal digits, dashes apart, in the usual grouping and upper case; empty for anything else and for all
/// zeros.
QString grouped(QString identifier) {
    identifier = identifier.remove(u'-').toUpper();
    if (!StringExtension::isHexadecimal(identifier, 32) || identifier.count(u'0') == identifier.size())
        return {};
    for (const int place : {20, 16, 12, 8})
        identifier.insert(place, u'-');
    return identifier;
}

/// What the shell line or command printed, as one line.
QString joinedLines(QString output) {
    return output.remove(u'\n');
}

ITDevice::Sources completed(ITDevice::Sources sources, bool isRealRoot) {
    if (!sources.run)
        sources.run = runByTaskHelper;
    if (!sources.listAddresses)
        sources.listAddresses = systemInterfaceAddresses;
    if (!sources.permanentAddress && isRealRoot)
        sources.permanentAddress = PermanentAddress::ofInterface;
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

ITDevice::ITDevice(QString root, Sources sources)
    : m_root(std::move(root)), m_sources(completed(std::move(sources), m_root.isEmpty())) {}

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
    const QString own = DeviceUsers::accountName(m_root, m_sources.user);
    QString name = isPerson(m_sources.user) ? own : QString();
    if (name.isEmpty())
        name = DeviceUsers::consoleUser(m_root);
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
    {
        const std::lock_guard lock(m_mutex);
        // Asked for with every poll, and read when another file stands there.
        if (!m_machineName.isEmpty() && m_nameFiles == files)
            return m_machineName;
    }
    const auto information = DeviceFiles::variables(m_root + u"/etc/machine-info"_s);
    QString name = information.value(u"PRETTY_HOSTNAME"_s).trimmed();
    if (name.isEmpty())
        name = DeviceFiles::statement(m_root + u"/etc/hostname"_s);
    if (name.isEmpty()) {
        // The kernel tells nobody when its own changes, so that one is not kept.
        name = DeviceFiles::statement(m_root + u"/proc/sys/kernel/hostname"_s);
        return name.isEmpty() ? Unknown : name;
    }
    const std::lock_guard lock(m_mutex);
    m_machineName = name;
    m_nameFiles = files;
    return name;
}

QString ITDevice::modelName() const {
    const QString model = DeviceFiles::line(m_root + u"/sys/class/dmi/id/product_name"_s);
    if (!model.isEmpty())
        return model;
    // Boards without such firmware have a device tree; its texts end with a zero byte.
    return DeviceFiles::line(m_root + u"/sys/firmware/devicetree/base/model"_s).remove(QChar(0));
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
            m_uuid = grouped(DeviceFiles::line(m_root + QString::fromUtf16(file)));
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
    // Not DeviceFiles::line(): the reason of the failure goes to the log.
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
    const auto addresses = m_sources.listAddresses();
    auto table = interfaceTable(addresses.value_or(QList<InterfaceAddress>()),
        [this](const QString& name) { return getNetworkMacAddress(name); });
    const std::lock_guard lock(m_mutex);
    m_networkInfos = std::move(table);
}

std::optional<DeviceInterface> ITDevice::getNetworkMacAddress(const QString& name) const {
    return networkServiceOf(m_root, name, m_sources.permanentAddress);
}

QMap<QString, DeviceInterface> ITDevice::filledNetworkInfos() {
    std::unique_lock lock(m_mutex);
    if (!m_networkInfos) {
        lock.unlock();
        getMacAndIPAddr();
        lock.lock();
    }
    return *m_networkInfos;
}

ITDevice::Addresses ITDevice::addresses() {
    Addresses lists;
    for (const DeviceInterface& interface : filledNetworkInfos()) {
        lists.mac.append(interface.macAddress);
        lists.ip.append(interface.ip);
    }
    return lists;
}

QList<HardwarePort> ITDevice::hardwareports() const {
    const std::lock_guard lock(m_mutex);
    return m_hardwareports;
}

void ITDevice::listNetworkServices(const std::function<void(const QList<HardwarePort>&)>& completion) {
    const QString tool = u"/usr/sbin/networksetup"_s;
    QList<HardwarePort> ports = parseHardwarePorts(m_sources.run(tool, {u"-listallhardwareports"_s}));
    addServiceNames(ports, m_sources.run(tool, {u"-listnetworkserviceorder"_s}));
    {
        const std::lock_guard lock(m_mutex);
        m_hardwareports = ports;
    }
    if (completion)
        completion(ports);
}

QList<HardwarePort> ITDevice::getHardwareportsIP(QList<HardwarePort> ports) {
    const std::lock_guard round(m_portRound);
    for (HardwarePort& port : ports) {
        const QString command = serviceAddressCommand(port.value(u"service"_s));
        port.insert(u"ip"_s, parseServiceAddress(m_sources.run(u"/bin/bash"_s, {u"-c"_s, command})));
    }
    const std::lock_guard lock(m_mutex);
    m_hardwareports = ports;
    return ports;
}

QStringList ITDevice::boardSerialNums() const {
    return DeviceSerials::boards(m_root);
}

QStringList ITDevice::memorySerialNums() const {
    return DeviceSerials::memoryModules(m_root);
}

QStringList ITDevice::hardDiskSerialNums() const {
    return DeviceSerials::fixedDisks(m_root);
}

QString ITDevice::pathFromPid(qint64 processIdentifier) const {
    const QString deleted = u" (deleted)"_s;
    const QString path = QFile::symLinkTarget(u"%1/proc/%2/exe"_s.arg(m_root).arg(processIdentifier));
    return path.endsWith(deleted) ? path.chopped(deleted.size()) : path;
}
