#include "DeviceFiles.h"
#include "DeviceInterfaces.h"
#include "Tool.h"

#include <algorithm>
#include <vector>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

namespace {

constexpr int NoSuchService = 4;

/// A line of the kernel's table of IPv4 routes that leads everywhere.
struct DefaultRoute {
    QString device;
    QString gateway;
    uint metric = 0;
};

QString dotted(in_addr address) {
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    return QString::fromLatin1(text);
}

QList<DefaultRoute> defaultRoutes(const Facts& facts) {
    QList<DefaultRoute> routes;
    for (const QByteArray& line : facts.text(QStringLiteral("/proc/net/route")).bytes.split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        bool isNumber = false;
        // In hexadecimal, as the machine's own byte order shows the bytes of the network's.
        const in_addr gateway{fields.value(2).toUInt(&isNumber, 16)};
        if (isNumber && fields.size() > 7 && fields[1] == "00000000" && fields[7] == "00000000")
            routes.append({QString::fromUtf8(fields[0]), dotted(gateway), fields[6].toUInt()});
    }
    std::stable_sort(routes.begin(), routes.end(),
                     [](const DefaultRoute& left, const DefaultRoute& right) { return left.metric < right.metric; });
    return routes;
}

/// Names come from people: what would end a line or a bracketed entry must not.
QString asOneLine(const QString& name) {
    QString line = name.simplified();
    for (QChar& character : line) {
        if (!character.isPrint())
            character = u'?';
    }
    return line;
}

QList<DeviceInterface> services(const Facts& facts) {
    QList<DeviceInterface> found;
    for (const QString& name : facts.names(QStringLiteral("/sys/class/net"))) {
        if (auto interface = networkServiceOf(facts.root(), name)) {
            interface->service = asOneLine(interface->service);
            found.append(*interface);
        }
    }
    return found;
}

QString withColons(QString digits) {
    for (qsizetype place = digits.size() - 2; place > 0; place -= 2)
        digits.insert(place, u':');
    return digits.toLower();
}

QString hardwarePorts(const Facts& facts) {
    QString text;
    for (const DeviceInterface& interface : services(facts)) {
        const QString address =
            interface.macAddress.isEmpty() ? QStringLiteral("N/A") : withColons(interface.macAddress);
        text += QStringLiteral("\nHardware Port: %1\nDevice: %2\nEthernet Address: %3\n")
                    .arg(interface.hardwarePort, interface.device, address);
    }
    return text + QStringLiteral("\nVLAN Configurations\n===================\n");
}

/// Those with a way out first, the nearest one at the top.
QString serviceOrder(const Facts& facts) {
    const QList<DefaultRoute> routes = defaultRoutes(facts);
    const auto rank = [&routes](const DeviceInterface& interface) {
        for (qsizetype i = 0; i < routes.size(); ++i) {
            if (routes[i].device == interface.device)
                return i;
        }
        return routes.size();
    };
    QList<DeviceInterface> ordered = services(facts);
    std::stable_sort(
        ordered.begin(), ordered.end(),
        [&rank](const DeviceInterface& left, const DeviceInterface& right) { return rank(left) < rank(right); });
    QString text = QStringLiteral("An asterisk (*) denotes that a network service is disabled.\n");
    int number = 0;
    for (const DeviceInterface& interface : ordered)
        text += QStringLiteral("(%1) %2\n(Hardware Port: %3, Device: %4)\n\n")
                    .arg(QString::number(++number), interface.service, interface.hardwarePort, interface.device);
    return text;
}

bool hasLease(const Facts& facts, const DeviceInterface& interface) {
    const QString index = facts.line(QStringLiteral("/sys/class/net/%1/ifindex").arg(interface.device));
    const QString managed = facts.root() + QStringLiteral("/run/NetworkManager/devices/") + index;
    return facts.exists(QStringLiteral("/run/systemd/netif/leases/") + index) ||
           facts.exists(QStringLiteral("/var/lib/dhcp/dhclient.%1.leases").arg(interface.device)) ||
           !DeviceFiles::keyGroup(managed, QStringLiteral("dhcp4")).isEmpty();
}

/// First IPv4 address and its mask; the kernel's interfaces are those of the running system, whatever the root.
QString addressLines(const QString& device) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return {};
    QString text;
    for (const ifaddrs* entry = list; entry && text.isEmpty(); entry = entry->ifa_next) {
        if (!entry->ifa_addr || !entry->ifa_netmask || entry->ifa_addr->sa_family != AF_INET ||
            QString::fromUtf8(entry->ifa_name).section(u':', 0, 0) != device)
            continue;
        text = QStringLiteral("IP address: %1\nSubnet mask: %2\n")
                   .arg(dotted(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr),
                        dotted(reinterpret_cast<const sockaddr_in*>(entry->ifa_netmask)->sin_addr));
    }
    ::freeifaddrs(list);
    return text;
}

Outcome information(const Facts& facts, const QString& service) {
    for (const DeviceInterface& interface : services(facts)) {
        if (interface.service != service)
            continue;
        QString text = hasLease(facts, interface) ? QStringLiteral("DHCP Configuration\n") : QString();
        text += addressLines(interface.device);
        for (const DefaultRoute& route : defaultRoutes(facts)) {
            if (route.device == interface.device && text.contains(u"IP address:")) {
                text += QStringLiteral("Router: %1\n").arg(route.gateway);
                break;
            }
        }
        const QString kind =
            interface.hardwarePort == u"Wi-Fi" ? QStringLiteral("Wi-Fi ID") : QStringLiteral("Ethernet Address");
        if (!interface.macAddress.isEmpty())
            text += QStringLiteral("%1: %2\n").arg(kind, withColons(interface.macAddress));
        return {text, {}, 0};
    }
    return failed(QStringLiteral("%1 is not a recognized network service.").arg(asOneLine(service)), NoSuchService);
}

} // namespace

Outcome runNetworksetup(const Facts& facts, const QStringList& arguments) {
    if (arguments == QStringList{QStringLiteral("-listallhardwareports")})
        return {hardwarePorts(facts), {}, 0};
    if (arguments == QStringList{QStringLiteral("-listnetworkserviceorder")})
        return {serviceOrder(facts), {}, 0};
    if (arguments.size() == 2 && arguments[0] == u"-getinfo")
        return information(facts, arguments[1]);
    return notUnderstood("networksetup -listallhardwareports, networksetup -listnetworkserviceorder, "
                         "networksetup -getinfo SERVICE");
}
