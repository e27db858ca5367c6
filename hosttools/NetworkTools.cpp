#include "KeyFile.h"
#include "NetworkService.h"
#include "Tool.h"

#include <algorithm>
#include <vector>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

using namespace Qt::StringLiterals;

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
    for (const QByteArray& line : facts.text(u"/proc/net/route"_s).bytes.split('\n')) {
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

QString hardwarePorts(const Facts& facts) {
    QString text;
    for (const NetworkService& interface : networkServices(facts)) {
        const QString address = interface.address.isEmpty() ? u"N/A"_s : interface.address;
        text += u"\nHardware Port: %1\nDevice: %2\nEthernet Address: %3\n"_s.arg(
            interface.hardwarePort, interface.device, address);
    }
    return text + u"\nVLAN Configurations\n===================\n"_s;
}

/// Those with a way out first, the nearest one at the top.
QString serviceOrder(const Facts& facts) {
    const QList<DefaultRoute> routes = defaultRoutes(facts);
    const auto rank = [&routes](const NetworkService& interface) {
        for (qsizetype i = 0; i < routes.size(); ++i) {
            if (routes[i].device == interface.device)
                return i;
        }
        return routes.size();
    };
    QList<NetworkService> ordered = networkServices(facts);
    std::stable_sort(ordered.begin(), ordered.end(),
        [&rank](const NetworkService& left, const NetworkService& right) { return rank(left) < rank(right); });
    QString text = u"An asterisk (*) denotes that a network service is disabled.\n"_s;
    int number = 0;
    for (const NetworkService& interface : ordered)
        text += u"(%1) %2\n(Hardware Port: %3, Device: %4)\n\n"_s.arg(
            QString::number(++number), interface.service, interface.hardwarePort, interface.device);
    return text;
}

bool hasLease(const Facts& facts, const NetworkService& interface) {
    const QString index = facts.line(u"/sys/class/net/%1/ifindex"_s.arg(interface.device));
    const auto managed = parseKeyFile(facts.text(u"/run/NetworkManager/devices/"_s + index).bytes);
    return facts.exists(u"/run/systemd/netif/leases/"_s + index) ||
        facts.exists(u"/var/lib/dhcp/dhclient.%1.leases"_s.arg(interface.device)) || managed.contains(u"dhcp4"_s);
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
        text = u"IP address: %1\nSubnet mask: %2\n"_s.arg(
            dotted(reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr),
            dotted(reinterpret_cast<const sockaddr_in*>(entry->ifa_netmask)->sin_addr));
    }
    ::freeifaddrs(list);
    return text;
}

Outcome information(const Facts& facts, const QString& service) {
    for (const NetworkService& interface : networkServices(facts)) {
        if (interface.service != service)
            continue;
        QString text = hasLease(facts, interface) ? u"DHCP Configuration\n"_s : QString();
        text += addressLines(interface.device);
        for (const DefaultRoute& route : defaultRoutes(facts)) {
            if (route.device == interface.device && text.contains(u"IP address:")) {
                text += u"Router: %1\n"_s.arg(route.gateway);
                break;
            }
        }
        const QString kind = interface.hardwarePort == u"Wi-Fi" ? u"Wi-Fi ID"_s : u"Ethernet Address"_s;
        if (!interface.address.isEmpty())
            text += u"%1: %2\n"_s.arg(kind, interface.address);
        return {text, {}, 0};
    }
    return failed(u"%1 is not a recognized network service."_s.arg(service.simplified()), NoSuchService);
}

} // namespace

Outcome runNetworksetup(const Facts& facts, const QStringList& arguments) {
    if (arguments == QStringList{u"-listallhardwareports"_s})
        return {hardwarePorts(facts), {}, 0};
    if (arguments == QStringList{u"-listnetworkserviceorder"_s})
        return {serviceOrder(facts), {}, 0};
    if (arguments.size() == 2 && arguments[0] == u"-getinfo")
        return information(facts, arguments[1]);
    return notUnderstood("networksetup -listallhardwareports, networksetup -listnetworkserviceorder, "
                         "networksetup -getinfo SERVICE");
}
