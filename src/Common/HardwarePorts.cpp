#include "ITDevice.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isSkipped(const QString& block) {
    static const QStringList skipped{u"Hardware Port: Bluetooth PAN"_s, u"Hardware Port: Thunderbolt 1"_s,
        u"Hardware Port: Thunderbolt 2"_s, u"Hardware Port: Thunderbolt Bridge"_s};
    return std::any_of(skipped.begin(), skipped.end(), [&](const QString& name) { return block.contains(name); });
}

/// The line "(1) Name" or "(*) Name" of a block. The listing's heading and the port's own line have brackets, too.
QString serviceLine(const QString& block) {
    for (const QString& line : block.split(u'\n')) {
        if (line.startsWith(u'(') && line.contains(u')') && !line.startsWith(u"(Hardware Port:"))
            return line;
    }
    return {};
}

/// The ports of a port listing, in its order, without Bluetooth and Thunderbolt ones.
QList<HardwarePort> parseHardwarePorts(const QString& listing) {
    QList<HardwarePort> ports;
    for (const QString& block : listing.split(u"\n\n"_s)) {
        if (!block.contains(u"Hardware Port:") || isSkipped(block))
            continue;
        HardwarePort port;
        for (QString line : block.split(u'\n')) {
            if (line.startsWith(u"Hardware Port:"))
                port.insert(u"HardwarePort"_s, line.remove(u"Hardware Port: "_s));
            else if (line.startsWith(u"Device:"))
                port.insert(u"Device"_s, line.remove(u"Device: "_s));
            else if (line.startsWith(u"Ethernet Address:"))
                port.insert(u"MacAddress"_s, line.remove(u"Ethernet Address: "_s).remove(u':').toUpper());
        }
        ports.append(port);
    }
    return ports;
}

/// Adds to each of @p ports the name of its network service from a listing of the service order.
void addServiceNames(QList<HardwarePort>& ports, const QString& serviceOrder) {
    static const QRegularExpression number(u"^\\(\\d{1,}\\) "_s);
    for (const QString& block : serviceOrder.split(u"\n\n"_s)) {
        for (HardwarePort& port : ports) {
            const QString wanted =
                u"Hardware Port: %1, Device: %2"_s.arg(port.value(u"HardwarePort"_s), port.value(u"Device"_s));
            if (!block.contains(wanted))
                continue;
            const QString line = serviceLine(block);
            if (!line.isEmpty())
                port.insert(u"service"_s, QString(line).remove(number));
        }
    }
}

} // namespace

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
        // People name services: an apostrophe must not end the quoting.
        const QString service = port.value(u"service"_s).replace(u'\'', u"'\\''"_s);
        const QString output = m_sources.run(
            u"/bin/bash"_s, {u"-c"_s, u"/usr/sbin/networksetup -getinfo '%1' | grep '^IP address:'"_s.arg(service)});
        port.insert(u"ip"_s, output.isEmpty() ? u"0.0.0.0"_s : QString(output).remove(u"IP address: "_s).remove(u'\n'));
    }
    const std::lock_guard lock(m_mutex);
    m_hardwareports = ports;
    return ports;
}
