#pragma once

#include "ArchiveValue.h"

#include <QSharedData>

#include <memory>

namespace Platform {

/// A pair of a dictionary or a field of an object.
struct ArchiveEntry {
    QString key;
    ArchiveValue value;
    /// Of the key, as ArchiveLayout::instance(); with 0 equal keys are one.
    quint64 keyInstance : 48 = 0;
    /// Where the key of an object's field comes out, when that was read; "$class" has the place that no field has.
    quint64 place : 16 = 0;
};

bool operator==(const ArchiveEntry& left, const ArchiveEntry& right);

/// The class of an object, shared by all objects of one class in an archive.
struct ArchiveClass {
    QString name;
    QStringList classes;
};

/// What only the byte layout of a value depends on; for readers and writers of archives.
class ArchiveLayout final {
public:
    /// The first of @p count numbers for setInstance() that no other value has.
    static quint64 newInstances(quint32 count);
    /// The same number for all copies of one instance; 0 when every copy is an instance of its own.
    static quint64 instance(const ArchiveValue& value) { return value.m_instance; }
    static void setInstance(ArchiveValue& value, quint64 instance) { value.m_instance = instance; }
    static void setStorage(ArchiveValue& value, ArchiveValue::Storage storage) { value.m_storage = quint64(storage); }
    static void setMutable(ArchiveValue& value) { value.m_mutable = 1; }
    static bool isSinglePrecision(const ArchiveValue& value) { return value.m_single; }
    static void setSinglePrecision(ArchiveValue& value) { value.m_single = 1; }

    /// A string that may be empty but is never Nothing.
    static ArchiveValue string(QString text);
    /// These make @p value, which was Nothing, of another type; a null string leaves it so.
    static void setString(ArchiveValue& value, QString text) {
        if (text.isNull())
            return;
        value.m_payload.emplace<QString>(std::move(text));
        value.m_type = quint64(ArchiveValue::Type::String);
    }
    /// @param type  Boolean, Integer or Unsigned
    static void setInteger(ArchiveValue& value, ArchiveValue::Type type, qint64 integer) {
        value.m_payload.emplace<qint64>(integer);
        value.m_type = quint64(type);
    }
    /// @param type  Double or Date
    static void setReal(ArchiveValue& value, ArchiveValue::Type type, double real) {
        value.m_payload.emplace<double>(real);
        value.m_type = quint64(type);
    }
    /// Pairs in the order in which they were read and are written again, until a key is added.
    static ArchiveValue dictionaryAsStored(ArchiveValue::Dictionary entries);
    /// An object with classes {className, NSObject}; a field that comes again replaces the earlier one.
    static ArchiveValue object(const QString& className, ArchiveValue::Dictionary fields);
    /// Fields in the order of encoding, with the places in which their keys were read.
    static ArchiveValue objectAsStored(
        std::shared_ptr<const ArchiveClass> objectClass, ArchiveValue::Dictionary fields);
    /// True when keys come out in the order that was read, not in hash order.
    static bool isAsStored(const ArchiveValue& value);
};

struct ArchiveValue::ArrayNode : QSharedData {
    Array items;
};

struct ArchiveValue::PairsNode : QSharedData {
    bool asStored = false;
    Dictionary entries;
    /// Of an object only.
    std::shared_ptr<const ArchiveClass> objectClass;
};

inline ArchiveValue::ArchiveValue(Type type, Payload payload) noexcept
    : m_payload(std::move(payload)), m_type(quint64(type)) {}
inline ArchiveValue::ArchiveValue(const ArchiveValue&) = default;
inline ArchiveValue::ArchiveValue(ArchiveValue&&) noexcept = default;
inline ArchiveValue& ArchiveValue::operator=(const ArchiveValue&) = default;
inline ArchiveValue& ArchiveValue::operator=(ArchiveValue&&) noexcept = default;
inline ArchiveValue::~ArchiveValue() = default;

} // namespace Platform
