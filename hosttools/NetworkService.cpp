#include "NetworkService.h"

#include "KeyFile.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr int MostLayers = 4;
const QString Interfaces = u"/sys/class/net/"_s;

bool standsOnHardware(const Facts& facts, const QString& interface, int layers) {
    const QString prefix = u"lower_"_s;
    if (interface.contains(u'/') || facts.exists(Interfaces + interface + u"/device"_s))
        return !interface.contains(u'/');
    const QStringList names = layers > 0 ? facts.names(Interfaces + interface) : QStringList();
    return std::any_of(names.begin(), names.end(), [&](const QString& name) {
        return name.startsWith(prefix) && standsOnHardware(facts, name.mid(prefix.size()), layers - 1);
    });
}

QString displayName(const Facts& facts, const QString& folder) {
    static const QMap<QString, QString> names{{u"wlan"_s, u"Wi-Fi"_s}, {u"wwan"_s, u"Mobile"_s}, {u"bond"_s, u"Bond"_s},
        {u"bridge"_s, u"Bridge"_s}, {u"vlan"_s, u"VLAN"_s}, {u"bluetooth"_s, u"Bluetooth PAN"_s}};
    if (facts.exists(folder + u"/wireless"_s) || facts.exists(folder + u"/phy80211"_s))
        return u"Wi-Fi"_s;
    return names.value(facts.variables(folder + u"/uevent"_s).value(u"DEVTYPE"_s), u"Ethernet"_s);
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

/// The name that NetworkManager's user gave to the connection of an interface; its files are often for root alone.
QString connectionName(const Facts& facts, const QString& folder) {
    const QString state = u"/run/NetworkManager/devices/"_s + facts.line(folder + u"/ifindex"_s);
    const QString identifier = parseKeyFile(facts.text(state).bytes).value(u"device"_s).value(u"connection-uuid"_s);
    for (const char16_t* place : {u"/etc", u"/run"}) {
        const QString connections = QString::fromUtf16(place) + u"/NetworkManager/system-connections/"_s;
        for (const QString& file : identifier.isEmpty() ? QStringList() : facts.names(connections)) {
            const auto connection = parseKeyFile(facts.text(connections + file).bytes).value(u"connection"_s);
            if (file.endsWith(u".nmconnection") && connection.value(u"uuid"_s) == identifier)
                return connection.value(u"id"_s);
        }
    }
    return {};
}

QString hardwareAddress(const Facts& facts, const QString& folder) {
    static const QRegularExpression form(u"^([0-9a-f]{2}:){5}[0-9a-f]{2}$"_s);
    const QString address = facts.line(folder + u"/address"_s).toLower();
    return form.match(address).hasMatch() && address != u"00:00:00:00:00:00" ? address : QString();
}

} // namespace

bool standsOnHardware(const Facts& facts, const QString& interface) {
    return standsOnHardware(facts, interface, MostLayers);
}

QList<NetworkService> networkServices(const Facts& facts) {
    QList<NetworkService> found;
    for (const QString& device : facts.names(Interfaces)) {
        const QString folder = Interfaces + device;
        const bool isMember = facts.exists(folder + u"/master/bonding"_s) || facts.exists(folder + u"/master/bridge"_s);
        if (isMember || !standsOnHardware(facts, device))
            continue;
        const QString connection = asOneLine(connectionName(facts, folder));
        found.append({displayName(facts, folder), connection.isEmpty() ? device : connection, device,
            hardwareAddress(facts, folder)});
    }
    return found;
}
