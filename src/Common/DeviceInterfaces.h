#pragma once

#include <QList>
#include <QMap>
#include <QString>

#include <functional>
#include <optional>

using namespace Qt::StringLiterals;

/// One network interface that carries a configured network.
struct DeviceInterface {
    /// Of the hardware: twelve upper-case hexadecimal digits, or empty.
    QString macAddress;
    /// Kind of the interface for people, such as "Wi-Fi".
    QString hardwarePort;
    /// Name and identifier of the connection; the interface's name where nobody manages it.
    QString service;
    QString device;
    QString serviceID;
    QString ip = u"0.0.0.0"_s;

    /// With the keys "MacAddress", "HardwarePort", "service", "Device", "ServiceID" and "ip".
    QMap<QString, QString> dictionary() const;
    bool operator==(const DeviceInterface&) const = default;
};

/// One address of one interface, as the system lists them.
struct InterfaceAddress {
    enum class Family { IPv4, IPv6, Link, Other };
    QString name;
    Family family = Family::Other;
    bool isUp = false;
    bool isLoopback = false;
    /// Dotted text; for IPv4 only.
    QString ipv4;
};
/// Nothing when the list cannot be had.
using InterfaceAddressLister = std::function<std::optional<QList<InterfaceAddress>>()>;

std::optional<QList<InterfaceAddress>> systemInterfaceAddresses();

/// The address that an interface was made with; empty when nobody knows.
using PermanentAddressReader = std::function<QString(const QString& name)>;

/// Looks @p name up in sysfs below @p root. Its address is the permanent one, else the one that it goes by.
///
/// An interface carries a configured network when it stands on hardware: a device of its own, or, for bonds, teams,
/// bridges and VLANs, such an interface beneath it. Left out: loopback, container and tunnel ends (veth, tun, tap,
/// dummy, ifb), bridges over those only (as containers and virtual machines make them), and members of a bond or
/// bridge, whose network is the bond's or bridge's.
std::optional<DeviceInterface> networkServiceOf(
    const QString& root, const QString& name, const PermanentAddressReader& permanentAddress = {});

/// The interfaces behind @p addresses by name: up, no loopback, found by @p lookUp with a hardware address; each with
/// its first IPv4 address.
QMap<QString, DeviceInterface> interfaceTable(const QList<InterfaceAddress>& addresses,
    const std::function<std::optional<DeviceInterface>(const QString& name)>& lookUp);
