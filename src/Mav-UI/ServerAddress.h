#pragma once

#include <QString>

/// Checks of a typed server address. The page and the sheet differ on purpose: the page takes host names and says what is wrong,
/// the sheet takes IPv4 addresses only and refuses without a word.

enum class ServerAddressFault { None, Address, Port };

/// Of the server page, in the order in which a fault is told. An empty port passes.
ServerAddressFault checkServerAddress(const QString& address, const QString& port);

/// Whether the server sheet takes the entry. An empty port passes.
bool serverSheetAccepts(const QString& address, const QString& port);

/// Writes the typed pair to "domianorip.archive" in the folder "QenCloudL" of @p applicationSupport, made when missing.
/// @returns false when it could not be written
bool saveTypedServer(const QString& applicationSupport, const QString& address, const QString& port);
