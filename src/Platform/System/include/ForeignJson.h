#pragma once

#include <QJsonDocument>

namespace Platform {

/// Parses JSON that somebody else made. DocumentTooLarge for more than 250,000 objects and arrays or four million
/// values: the smallest take many times the bytes of their text, so that a short answer would take all memory.
QJsonDocument parseForeignJson(const QByteArray& text, QJsonParseError* failure = nullptr);

} // namespace Platform
