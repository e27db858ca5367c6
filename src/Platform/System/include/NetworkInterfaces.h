#pragma once

#include <QString>

/// What sysfs below a root folder tells of network interfaces.
namespace Platform::NetworkInterfaces {

/// Whether the interface has a device of its own or, as bonds, teams, bridges and VLANs do, lies over one that has.
/// False for loopback, container and tunnel ends and for bridges over those alone.
bool standsOnHardware(const QString& root, const QString& name);

} // namespace Platform::NetworkInterfaces
