#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// The Base64 form in which cipher text travels.
namespace Base64Text {

/// A carriage return and a line feed after every 64 characters, none at the end. Empty bytes give an empty, not a null
/// text.
QString encode(const QByteArray& bytes);

/// Ignores every character outside the alphabet, line breaks included. Nothing when the rest is no whole number of
/// groups of four, padding counted, or goes on behind the padding.
std::optional<QByteArray> decode(QStringView text);

} // namespace Base64Text
