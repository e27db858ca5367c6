#pragma once

#include <QString>

/// Keys of a message and of its reply.
namespace ParloKeys {
inline const QString MessageId = QStringLiteral("msgid");
inline const QString Message = QStringLiteral("message");
inline const QString ReturnCode = QStringLiteral("ret");
inline const QString Reply = QStringLiteral("reply");
} // namespace ParloKeys
