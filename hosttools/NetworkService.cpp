#include "NetworkService.h"

#include "KeyFile.h"

#include <QRegularExpression>

#include <array>

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

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

/// NetworkManager's identifier of the connection of an interface.
QString connectionOf(const Facts& facts, const QString& folder) {
    const QString state = u"/run/NetworkManager/devices/"_s + facts.line(folder + u"/ifindex"_s);
    return parseKeyFile(facts.text(state).bytes).value(u"device"_s).value(u"connection-uuid"_s);
}

/// The name that somebody gave to a connection; NetworkManager's files are often for root alone.
QString connectionName(const Facts& facts, const QString& identifier) {
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

/// Empty for what is no such address, and for all zeros, which is how drivers say that they do not know.
QString checkedAddress(const QString& address) {
    static const QRegularExpression form(u"^([0-9a-f]{2}:){5}[0-9a-f]{2}$"_s);
    return form.match(address).hasMatch() && address != u"00:00:00:00:00:00" ? address : QString();
}

} // namespace

bool standsOnHardware(const Facts& facts, const QString& interface) {
    return standsOnHardware(facts, interface, MostLayers);
}

QString permanentAddress(const QString& device) {
    constexpr size_t Length = 6;
    const QByteArray name = device.toLocal8Bit();
    if (name.isEmpty() || name.size() >= IFNAMSIZ)
        return {};
    alignas(ethtool_perm_addr) std::array<char, sizeof(ethtool_perm_addr) + Length> answer{};
    auto* const question = reinterpret_cast<ethtool_perm_addr*>(answer.data());
    question->cmd = ETHTOOL_GPERMADDR;
    question->size = Length;
    ifreq request{};
    std::copy(name.begin(), name.end(), request.ifr_name);
    request.ifr_data = answer.data();
    const int channel = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool isAnswered = ::ioctl(channel, SIOCETHTOOL, &request) == 0 && question->size == Length;
    ::close(channel);
    const QByteArray address(answer.data() + sizeof(ethtool_perm_addr), Length);
    return isAnswered ? checkedAddress(QString::fromLatin1(address.toHex(':'))) : QString();
}

std::optional<NetworkService> networkService(
    const Facts& facts, const QString& device, const PermanentAddressReader& permanent) {
    const QString folder = Interfaces + device;
    if (device.isEmpty() || facts.exists(folder + u"/master/bonding"_s) || facts.exists(folder + u"/master/bridge"_s) ||
        !standsOnHardware(facts, device))
        return std::nullopt;
    QString address = permanent ? permanent(device) : facts.root().isEmpty() ? permanentAddress(device) : QString();
    if (address.isEmpty())
        address = checkedAddress(facts.line(folder + u"/address"_s).toLower());
    const QString identifier = connectionOf(facts, folder);
    const QString name = asOneLine(connectionName(facts, identifier));
    return NetworkService{displayName(facts, folder), name.isEmpty() ? device : name, identifier, device, address};
}

QList<NetworkService> networkServices(const Facts& facts) {
    QList<NetworkService> found;
    for (const QString& device : facts.names(Interfaces)) {
        if (const auto service = networkService(facts, device))
            found.append(*service);
    }
    return found;
}
