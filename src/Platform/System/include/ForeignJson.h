#pragma once

#include <QJsonDocument>

namespace Platform {

/// Parses JSON that somebody else made. Null, with the reason in @p failure, for what is no JSON and for a text of more
/// than 250,000 objects and arrays or four million values: the parser takes a hundred bytes and more for the two to
/// four bytes of a small list, so that a short answer would take all memory once it is expanded.
QJsonDocument parseForeignJson(const QByteArray& text, QString* failure = nullptr);

} // namespace Platform
