#pragma once

#include <QList>
#include <QMap>
#include <QString>

/// A hardware port: "HardwarePort", "Device", "MacAddress", "service" and, once asked for, "ip". Absent values are
/// absent keys.
using HardwarePort = QMap<QString, QString>;

/// The ports of a port listing, in its order, without Bluetooth and Thunderbolt ones.
QList<HardwarePort> parseHardwarePorts(const QString& listing);

/// Adds to each of @p ports the name of its network service from a listing of the service order.
void addServiceNames(QList<HardwarePort>& ports, const QString& serviceOrder);

/// The shell line that asks for the address of @p service.
QString serviceAddressCommand(const QString& service);
/// The address in what that line printed; "0.0.0.0" for an empty output.
QString parseServiceAddress(const QString& output);
