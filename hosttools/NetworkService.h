#pragma once

#include "Facts.h"

#include <optional>

/// One network interface that carries a configured network.
struct NetworkService {
    /// Kind of the interface for people, such as "Wi-Fi".
    QString hardwarePort;
    /// Name of the connection; the interface's name where nobody manages it.
    QString service;
    QString device;
    /// With colons, in lower case; empty without one.
    QString address;
};

/// Whether an interface has a device of its own or, as bonds, teams, bridges and VLANs do, lies over one that has.
bool standsOnHardware(const Facts& facts, const QString& interface);

/// Those that stand on hardware, but not the members of a bond or bridge, whose network is the bond's or bridge's.
QList<NetworkService> networkServices(const Facts& facts);
