#include "HardwarePorts.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

bool isSkipped(const QString& block) {
    static const QStringList skipped{
        QStringLiteral("Hardware Port: Bluetooth PAN"), QStringLiteral("Hardware Port: Thunderbolt 1"),
        QStringLiteral("Hardware Port: Thunderbolt 2"), QStringLiteral("Hardware Port: Thunderbolt Bridge")};
    for (const QString& name : skipped) {
        if (block.contains(name))
            return true;
    }
    return false;
}

/// The line "(1) Name" or "(*) Name" of a block. The listing's heading and the port's own line have brackets, too.
QString serviceLine(const QString& block) {
    for (const QString& line : block.split(u'\n')) {
        if (line.startsWith(u'(') && line.contains(u')') && !line.startsWith(u"(Hardware Port:"))
            return line;
    }
    return {};
}

} // namespace

QList<HardwarePort> parseHardwarePorts(const QString& listing) {
    QList<HardwarePort> ports;
    for (const QString& block : listing.split(QStringLiteral("\n\n"))) {
        if (!block.contains(u"Hardware Port:") || isSkipped(block))
            continue;
        HardwarePort port;
        for (QString line : block.split(u'\n')) {
            if (line.startsWith(u"Hardware Port:"))
                port.insert(QStringLiteral("HardwarePort"), line.remove(QStringLiteral("Hardware Port: ")));
            else if (line.startsWith(u"Device:"))
                port.insert(QStringLiteral("Device"), line.remove(QStringLiteral("Device: ")));
            else if (line.startsWith(u"Ethernet Address:"))
                port.insert(QStringLiteral("MacAddress"),
                            line.remove(QStringLiteral("Ethernet Address: ")).remove(u':').toUpper());
        }
        ports.append(port);
    }
    return ports;
}

void addServiceNames(QList<HardwarePort>& ports, const QString& serviceOrder) {
    static const QRegularExpression number(QStringLiteral("^\\(\\d{1,}\\) "));
    for (const QString& block : serviceOrder.split(QStringLiteral("\n\n"))) {
        for (HardwarePort& port : ports) {
            const QString wanted =
                QStringLiteral("Hardware Port: %1, Device: %2")
                    .arg(port.value(QStringLiteral("HardwarePort")), port.value(QStringLiteral("Device")));
            if (!block.contains(wanted))
                continue;
            const QString line = serviceLine(block);
            if (!line.isEmpty())
                port.insert(QStringLiteral("service"), QString(line).remove(number));
        }
    }
}

QString serviceAddressCommand(const QString& service) {
    // People name services: an apostrophe must not end the quoting.
    const QString quoted = QString(service).replace(u'\'', QStringLiteral("'\\''"));
    return QStringLiteral("/usr/sbin/networksetup -getinfo '%1' | grep '^IP address:'").arg(quoted);
}

QString parseServiceAddress(const QString& output) {
    if (output.isEmpty())
        return QStringLiteral("0.0.0.0");
    return QString(output).remove(QStringLiteral("IP address: ")).remove(u'\n');
}
