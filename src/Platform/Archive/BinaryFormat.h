#pragma once

#include "ArchiveValue.h"

/// What reader and writer of binary property lists, and of the archives in them, share.
namespace Platform::BinaryFormat {

inline constexpr char Magic[] = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
inline constexpr quint32 TrailerSize = 32;

/// The first byte of an object, or its upper half; the lower one is a size or count.
enum Marker : quint8 {
    Invalid = 0x00, ///< no object at all
    False = 0x08,
    True = 0x09,
    Integer = 0x10,
    Real = 0x20,
    Date = 0x30,
    Data = 0x40,
    Text = 0x50,
    WideText = 0x60,
    Uid = 0x80,
    Array = 0xa0,
    Dictionary = 0xd0,
};
/// The lower half of a marker whose count stands behind it as an integer.
inline constexpr quint8 CountFollows = 15;

/// The key of the dictionary that a reference of a keyed archive is outside of a binary file.
inline const QString UidKey = QStringLiteral("CF$UID");

} // namespace Platform::BinaryFormat
