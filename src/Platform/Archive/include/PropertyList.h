#pragma once

#include "ArchiveValue.h"

#include <optional>

namespace Platform {

/// Property lists in their binary and XML forms.
///
/// Bounded by PropertyListLimits in both directions; values that a property list cannot hold (null, objects of classes
/// of their own) are not written. A reference of a keyed archive is the dictionary {"CF$UID": number}.
namespace PropertyList {

/// Either form, told apart by how it begins; nothing when it breaks a limit or any rule of its form.
std::optional<ArchiveValue> decoded(const QByteArray& bytes);
std::optional<ArchiveValue> decodedBinary(const QByteArray& bytes);
std::optional<ArchiveValue> decodedXml(const QByteArray& bytes);

/// Keys in the platform's hash order; empty on failure.
QByteArray binaryData(const ArchiveValue& root);
/// Keys sorted, as the platform writes them; empty on failure.
QByteArray xmlData(const ArchiveValue& root);

} // namespace PropertyList

} // namespace Platform
