#pragma once

#include <QString>

/// Makes the built-in string table the application's. Once, on the main thread, with an application and after the
/// built-in resources have been registered. @returns whether there was one
bool installStringTable();
/// The text behind @p key; empty when the table has none, or no table is installed.
QString localizedString(const QString& key);
