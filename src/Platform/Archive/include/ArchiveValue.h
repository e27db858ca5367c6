#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QSharedDataPointer>
#include <QStringList>
#include <QVariant>

#include <concepts>
#include <utility>
#include <variant>
#include <vector>

namespace Platform {

struct ArchiveEntry;

/// One value of a property list or keyed archive, with all that its byte layout depends on. Copies are cheap and
/// independent. No accessor fails: asked for another type it gives zero, or something null or empty.
class ArchiveValue final {
public:
    enum class Type : quint8 {
        Nothing, ///< no object at all: an absent setting, a field without value
        Null,    ///< NSNull
        Boolean,
        Integer,
        Unsigned, ///< written as an unsigned 64-bit integer whatever its value
        Double,
        Date,
        String,
        Data,
        Array,
        Dictionary,
        Object, ///< an object of a class of its own
    };
    /// How a value stands in an object's field: usually numbers and booleans inline and everything else by reference.
    enum class Storage : quint8 { Usual, Inline, Boxed };
    using Array = std::vector<ArchiveValue>;
    using Dictionary = std::vector<ArchiveEntry>;

    ArchiveValue() noexcept = default;
    template <std::same_as<bool> T>
    ArchiveValue(T value) : ArchiveValue(Type::Boolean, qint64{value}) {}
    /// Becomes Unsigned only where a signed integer does not hold it.
    template <std::integral T>
    requires(!std::same_as<T, bool>) ArchiveValue(T value)
        : ArchiveValue(std::in_range<qint64>(value) ? Type::Integer : Type::Unsigned, static_cast<qint64>(value)) {}
    ArchiveValue(double value) : ArchiveValue(Type::Double, value) {}
    /// A null string is Nothing, an empty one a string.
    ArchiveValue(const QString& text);
    ArchiveValue(const char* utf8) : ArchiveValue(QString::fromUtf8(utf8)) {}
    ArchiveValue(const QByteArray& bytes);
    ArchiveValue(const QStringList& strings);
    ArchiveValue(Array items);
    /// Ordered pairs; a key that comes again replaces the earlier value in its place.
    ArchiveValue(Dictionary entries);

    ArchiveValue(const ArchiveValue&);
    ArchiveValue(ArchiveValue&&) noexcept;
    ArchiveValue& operator=(const ArchiveValue&);
    ArchiveValue& operator=(ArchiveValue&&) noexcept;
    ~ArchiveValue();

    static ArchiveValue null() { return {Type::Null, qint64{0}}; }
    static ArchiveValue unsignedInteger(quint64 value) { return {Type::Unsigned, static_cast<qint64>(value)}; }
    /// @param seconds  since the first moment of 2001, UTC
    static ArchiveValue date(double seconds) { return {Type::Date, seconds}; }
    /// @param classes  from the class up to NSObject; {className, NSObject} when left out
    static ArchiveValue object(const QString& className);
    static ArchiveValue object(const QString& className, const QStringList& classes);

    Type type() const { return static_cast<Type>(m_type); }
    /// Nothing or NSNull.
    bool isNull() const { return type() <= Type::Null; }
    bool isNothing() const { return type() == Type::Nothing; }
    bool isBoolean() const { return type() == Type::Boolean; }
    bool isInteger() const { return type() == Type::Integer || type() == Type::Unsigned; }
    bool isDouble() const { return type() == Type::Double; }
    bool isNumber() const { return isBoolean() || isInteger() || isDouble(); }
    bool isDate() const { return type() == Type::Date; }
    bool isString() const { return type() == Type::String; }
    bool isData() const { return type() == Type::Data; }
    bool isArray() const { return type() == Type::Array; }
    bool isDictionary() const { return type() == Type::Dictionary; }
    bool isObject() const { return type() == Type::Object; }

    bool boolean() const { return number() != 0; }
    /// Doubles are cut to their whole part and to the range; an unsigned value beyond it wraps.
    qint64 integer() const;
    quint64 unsignedInteger() const { return static_cast<quint64>(integer()); }
    /// Of a number, or the seconds of a date.
    double number() const;
    const QString& string() const;
    const QByteArray& data() const;
    const Array& array() const;
    /// The pairs of a dictionary, or the fields of an object in the order in which they are encoded.
    const Dictionary& dictionary() const;
    /// The value of @p key in a dictionary or object; Nothing without one.
    const ArchiveValue& value(QStringView key) const;
    const ArchiveValue& field(QStringView key) const { return value(key); }
    const QString& className() const;
    /// Empty when the archive named none.
    const QStringList& classes() const;

    /// Adds to an array; anything else becomes one first.
    void append(ArchiveValue value);
    /// Replaces, or adds at the end; what is neither dictionary nor object becomes a dictionary first.
    void insert(const QString& key, ArchiveValue value);
    void setField(const QString& key, ArchiveValue value) { insert(key, std::move(value)); }

    /// Null becomes NSNull inside a container and Nothing outside.
    static ArchiveValue fromVariant(const QVariant& variant);
    QVariant toVariant() const;
    /// Null is NSNull, undefined is Nothing.
    static ArchiveValue fromJson(const QJsonValue& json);
    /// Bytes, dates and objects as {"$data": base64}, {"$date": ISO text} and {"$class": name, fields}.
    QJsonValue toJson() const;
    /// Same content; the order of pairs and what else only the byte layout depends on are not compared.
    friend bool operator==(const ArchiveValue& left, const ArchiveValue& right);

    /// All copies of the result are one object of an archive; copies of any other value are several, see KeyedArchiver.
    ArchiveValue asOneInstance() const;
    /// The mutable variant of a string, data, array or dictionary.
    ArchiveValue asMutable() const;
    /// The same with all containers inside.
    ArchiveValue asDeeplyMutable() const;
    bool isMutable() const { return m_mutable; }
    ArchiveValue stored(Storage storage) const;
    Storage storage() const { return static_cast<Storage>(m_storage); }

private:
    friend class ArchiveLayout;
    struct ArrayNode;
    struct PairsNode;
    using Payload = std::variant<std::monostate, qint64, double, QString, QByteArray, QSharedDataPointer<ArrayNode>,
        QSharedDataPointer<PairsNode>>;

    ArchiveValue(Type type, Payload payload) noexcept;

    Payload m_payload;
    quint64 m_instance : 48 = 0;
    quint64 m_type : 4 = 0;
    quint64 m_storage : 2 = 0;
    quint64 m_mutable : 1 = 0;
    quint64 m_single : 1 = 0;
};

} // namespace Platform

#include "ArchiveLayout.h"
