#pragma once

#include <QString>

namespace Platform {

class BusConnection;

/// Brings the running application that owns @p identifier on the bus forward. Never starts one. Waits, as calls on @p
/// bus do.
///
/// @returns false when none runs, it does not answer, or there is no bus
bool activateRunningApplication(BusConnection& bus, const QString& identifier);
/// Where an application of that identifier answers on the bus.
QString applicationObjectPath(const QString& identifier);

} // namespace Platform
