#pragma once

#include <QJsonObject>
#include <QVariant>

#include <optional>

/// The one rule for "read as an integer" in answers and agent files.
///
/// Numbers truncate and strings give their leading integer; anything missing or of another type is no value, and no
/// value is never a 0: an answer that does not say 0 neither signs anybody in nor ends anybody's session.
std::optional<qint64> integerValue(const QJsonValue& value);
std::optional<qint64> integerValue(const QString& text);
/// Of a value from an archive; nothing when invalid.
std::optional<qint64> integerValue(const QVariant& value);
