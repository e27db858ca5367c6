#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>

/// The text that a log line prints for %@ of @p value: compact JSON with sorted keys for a dictionary or an array, the
/// plain text of a single value, "(null)" for nothing. The values of "ticket", "password", "old_password", "otp", "pwd"
/// and "p12" print as "***", on every level, since log files travel.
QString redacted(const QJsonValue& value);

/// Stands for bytes in the log that anybody who has the client could open: their length and a short digest.
QString logDigest(const QByteArray& secret);
