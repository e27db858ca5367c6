#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// Settings under "[group]" lines, "key = value", with comments from "#" or ";" at the beginning of a line. Group and
/// key names in lower case; of a key that comes twice the later value counts.
using KeyFile = QMap<QString, QMap<QString, QString>>;

KeyFile parseKeyFile(const QByteArray& text);
