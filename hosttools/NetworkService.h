#pragma once

#include "Facts.h"

#include <functional>
#include <optional>

/// One network interface that carries a configured network.
struct NetworkService {
    /// Kind of the interface for people, such as "Wi-Fi".
    QString hardwarePort;
    /// Name of the connection; the interface's name where nobody manages it.
    QString service;
    /// Of the connection; empty where nobody manages it.
    QString identifier;
    QString device;
    /// The address that the interface was made with, since wireless ones change theirs for each network; the present
    /// one where nobody knows. With colons, in lower case; empty without one.
    QString address;
};

/// Whether an interface has a device of its own or, as bonds, teams, bridges and VLANs do, lies over one that has.
bool standsOnHardware(const Facts& facts, const QString& interface);

/// Gives the address that an interface was made with; empty when nobody knows.
using PermanentAddressReader = std::function<QString(const QString& device)>;
/// The running kernel's answer; empty for interfaces that are made by software.
QString permanentAddress(const QString& device);

/// Nothing for an interface that does not stand on hardware, nor for a member of a bond or bridge, whose network is the
/// bond's or bridge's.
/// @param permanent  the kernel's by default, when the facts are those of the running system
std::optional<NetworkService> networkService(
    const Facts& facts, const QString& device, const PermanentAddressReader& permanent = {});
QList<NetworkService> networkServices(const Facts& facts);
