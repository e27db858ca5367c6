#pragma once

#include "ArchiveValue.h"

/// The names in a keyed archive, for those who write and read it.
namespace Platform::KeyedArchiveFormat {

using namespace Qt::StringLiterals;

inline const QString VersionKey = u"$version"_s;
inline const QString ArchiverKey = u"$archiver"_s;
inline const QString TopKey = u"$top"_s;
inline const QString ObjectsKey = u"$objects"_s;
inline const QString RootKey = u"root"_s;
inline const QString ClassKey = u"$class"_s;
inline const QString ClassNameKey = u"$classname"_s;
inline const QString ClassListKey = u"$classes"_s;
inline const QString KeysKey = u"NS.keys"_s;
inline const QString ItemsKey = u"NS.objects"_s;
inline const QString StringKey = u"NS.string"_s;
inline const QString DataKey = u"NS.data"_s;
inline const QString TimeKey = u"NS.time"_s;

inline const ArchiveValue Version = 100000;
inline const QString ArchiverName = u"NSKeyedArchiver"_s;

/// The platform's own classes, without "NS" or "NSMutable" in front.
inline constexpr std::pair<ArchiveValue::Type, QLatin1StringView> NativeClasses[] = {
    {ArchiveValue::Type::String, "String"_L1},
    {ArchiveValue::Type::Data, "Data"_L1},
    {ArchiveValue::Type::Date, "Date"_L1},
    {ArchiveValue::Type::Null, "Null"_L1},
    {ArchiveValue::Type::Array, "Array"_L1},
    {ArchiveValue::Type::Dictionary, "Dictionary"_L1},
};
inline constexpr auto NativePrefix = "NS"_L1;
inline constexpr auto MutablePrefix = "NSMutable"_L1;

} // namespace Platform::KeyedArchiveFormat
