#pragma once

#include <QString>

/// Checks of a typed server address, which is an IPv4 address: host names are refused. The page tells what is wrong,
/// the sheet refuses without a word.

enum class ServerAddressFault { None, Address, Port };

/// In the order in which a fault is told. An empty port passes.
ServerAddressFault checkServerAddress(const QString& address, const QString& port);

/// Writes the typed pair to "domianorip.archive" in the folder "QenCloudL" of @p applicationSupport, made when missing.
/// @returns false when it could not be written
bool saveTypedServer(const QString& applicationSupport, const QString& address, const QString& port);
