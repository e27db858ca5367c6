#pragma once

#include <QString>

using namespace Qt::StringLiterals;

/// Keys of a message and of its reply.
namespace ParloKeys {
inline const QString MessageId = u"msgid"_s;
inline const QString Message = u"message"_s;
inline const QString ReturnCode = u"ret"_s;
inline const QString Reply = u"reply"_s;
} // namespace ParloKeys
