#include "DeviceInterfaces.h"

#include "DeviceFiles.h"
#include "Reachability.h"
#include "StringExtension.h"

#include <QDir>
#include <QFileInfo>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace {

QString folderOf(const QString& root, const QString& name) {
    return root + u"/sys/class/net/"_s + name;
}

bool isFileName(const QString& name) {
    return !name.isEmpty() && !name.contains(u'/') && name != u"." && name != u"..";
}

bool isMember(const QString& folder) {
    const QString master = folder + u"/master"_s;
    return QFileInfo::exists(master + u"/bonding"_s) || QFileInfo::exists(master + u"/bridge"_s);
}

QString hardwareAddress(const QString& folder) {
    const QString digits = DeviceFiles::line(folder + u"/address"_s).remove(u':').toUpper();
    const bool isZero = digits.count(u'0') == digits.size();
    return StringExtension::isHexadecimal(digits, 12) && !isZero ? digits : QString();
}

QString displayName(const QString& folder) {
    static const QMap<QString, QString> names{
        {u"wlan"_s, u"Wi-Fi"_s},
        {u"wwan"_s, u"Mobile"_s},
        {u"bond"_s, u"Bond"_s},
        {u"bridge"_s, u"Bridge"_s},
        {u"vlan"_s, u"VLAN"_s},
        {u"bluetooth"_s, u"Bluetooth PAN"_s},
    };
    if (QFileInfo::exists(folder + u"/wireless"_s) || QFileInfo::exists(folder + u"/phy80211"_s))
        return u"Wi-Fi"_s;
    const QString type = DeviceFiles::variables(folder + u"/uevent"_s).value(u"DEVTYPE"_s);
    return names.value(type, u"Ethernet"_s);
}

/// The name that NetworkManager's user gave to a connection; its files are often for root alone.
QString connectionName(const QString& root, const QString& identifier) {
    for (const char16_t* place : {u"/etc", u"/run"}) {
        const QDir folder(root + QString::fromUtf16(place) + u"/NetworkManager/system-connections"_s);
        for (const QString& file : folder.entryList({u"*.nmconnection"_s}, QDir::Files, QDir::Name)) {
            const auto connection = DeviceFiles::keyGroup(folder.filePath(file), u"connection"_s);
            if (connection.value(u"uuid"_s) == identifier)
                return connection.value(u"id"_s);
        }
    }
    return {};
}

} // namespace

QMap<QString, QString> DeviceInterface::dictionary() const {
    return {{u"MacAddress"_s, macAddress}, {u"HardwarePort"_s, hardwarePort}, {u"service"_s, service},
        {u"Device"_s, device}, {u"ServiceID"_s, serviceID}, {u"ip"_s, ip}};
}

std::optional<QList<InterfaceAddress>> systemInterfaceAddresses() {
    using Family = InterfaceAddress::Family;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return std::nullopt;
    QList<InterfaceAddress> addresses;
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr)
            continue;
        InterfaceAddress address;
        address.name = QString::fromLocal8Bit(entry->ifa_name);
        address.isUp = (entry->ifa_flags & IFF_UP) != 0;
        address.isLoopback = (entry->ifa_flags & IFF_LOOPBACK) != 0;
        switch (entry->ifa_addr->sa_family) {
        case AF_INET: {
            char text[INET_ADDRSTRLEN] = "";
            const auto* internet = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
            ::inet_ntop(AF_INET, &internet->sin_addr, text, sizeof text);
            address.family = Family::IPv4;
            address.ipv4 = QString::fromLatin1(text);
            break;
        }
        case AF_INET6:
            address.family = Family::IPv6;
            break;
        case AF_PACKET:
            address.family = Family::Link;
            break;
        default:
            break;
        }
        addresses.append(address);
    }
    ::freeifaddrs(list);
    return addresses;
}

std::optional<DeviceInterface> networkServiceOf(
    const QString& root, const QString& name, const PermanentAddressReader& permanentAddress) {
    const QString folder = folderOf(root, name);
    if (!isFileName(name) || !Platform::standsOnHardware(root, name) || isMember(folder))
        return std::nullopt;
    DeviceInterface found;
    found.macAddress = permanentAddress ? permanentAddress(name) : QString();
    if (found.macAddress.isEmpty())
        found.macAddress = hardwareAddress(folder);
    found.hardwarePort = displayName(folder);
    found.device = name;
    const QString index = DeviceFiles::line(folder + u"/ifindex"_s);
    const QString state = root + u"/run/NetworkManager/devices/"_s + index;
    const QString identifier = DeviceFiles::keyGroup(state, u"device"_s).value(u"connection-uuid"_s);
    found.serviceID = identifier.isEmpty() ? name : identifier;
    const QString connection = identifier.isEmpty() ? QString() : connectionName(root, identifier);
    found.service = connection.isEmpty() ? name : connection;
    return found;
}

QMap<QString, DeviceInterface> interfaceTable(const QList<InterfaceAddress>& addresses,
    const std::function<std::optional<DeviceInterface>(const QString&)>& lookUp) {
    using Family = InterfaceAddress::Family;
    QMap<QString, DeviceInterface> table;
    for (const InterfaceAddress& address : addresses) {
        if (!address.isUp || address.isLoopback || address.family == Family::Other)
            continue;
        // An address with a label of its own comes as "eth0:label".
        const QString name = address.name.section(u':', 0, 0);
        auto known = table.find(name);
        if (known == table.end()) {
            const std::optional<DeviceInterface> found = lookUp(name);
            if (!found || found->macAddress.isEmpty())
                continue;
            known = table.insert(name, *found);
        }
        if (known->ip == u"0.0.0.0" && address.family == Family::IPv4)
            known->ip = address.ipv4;
    }
    return table;
}
