#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QStringList>
#include <QVariant>

#include <concepts>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

namespace Platform {

struct ArchiveEntry;

/// The class of an object, shared by all objects of one class in an archive.
struct ArchiveClass {
    QString name;
    QStringList classes; ///< from the class up to NSObject; empty when the archive named none
};

/// One value of a property list or keyed archive. Copies are cheap and independent. No accessor fails: asked for
/// another type it gives zero, or something null or empty.
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
    ArchiveValue(QString text);
    ArchiveValue(const char* utf8) : ArchiveValue(QString::fromUtf8(utf8)) {}
    ArchiveValue(const QByteArray& bytes);
    ArchiveValue(const QStringList& strings);
    ArchiveValue(Array items);
    /// Ordered pairs; a key that comes again replaces the earlier value in its place.
    ArchiveValue(Dictionary entries);

    static ArchiveValue null() { return {Type::Null, qint64{0}}; }
    static ArchiveValue unsignedInteger(quint64 value) { return {Type::Unsigned, static_cast<qint64>(value)}; }
    /// @param seconds  since the first moment of 2001, UTC
    static ArchiveValue date(double seconds) { return {Type::Date, seconds}; }
    /// A string that may be empty but is never Nothing.
    static ArchiveValue text(QString text);
    /// Of the classes {className, NSObject} when these are left out.
    static ArchiveValue object(const QString& className) { return object(className, {className, "NSObject"}); }
    static ArchiveValue object(const QString& className, const QStringList& classes);
    /// @param fields  in the order of encoding; one that comes again replaces the earlier one
    static ArchiveValue object(std::shared_ptr<const ArchiveClass> objectClass, Dictionary fields);

    Type type() const { return m_type; }
    bool isNull() const { return type() <= Type::Null; } ///< nothing or NSNull
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
    double number() const; ///< of a number, or the seconds of a date
    const QString& string() const;
    const QByteArray& data() const;
    const Array& array() const;
    /// The pairs of a dictionary, or the fields of an object in the order in which they are encoded.
    const Dictionary& dictionary() const;
    /// The value of @p key in a dictionary or object; Nothing without one.
    const ArchiveValue& value(QStringView key) const;
    const ArchiveValue& field(QStringView key) const { return value(key); }
    /// As dictionary(), in the order of the keys' characters.
    std::vector<const ArchiveEntry*> sortedPairs() const;
    /// Without name and classes for what is no object.
    const ArchiveClass& objectClass() const;
    const QString& className() const { return objectClass().name; }

    /// Adds to an array; anything else becomes one first.
    void append(ArchiveValue value);
    /// Replaces, or adds at the end; what is neither dictionary nor object becomes a dictionary first.
    void insert(const QString& key, ArchiveValue value);
    void setField(const QString& key, ArchiveValue value) { insert(key, std::move(value)); }

    /// Null is NSNull, undefined is Nothing, a whole number an integer.
    static ArchiveValue fromJson(const QJsonValue& json);
    /// Of what JSON can hold.
    static ArchiveValue fromVariant(const QVariant& variant) { return fromJson(QJsonValue::fromVariant(variant)); }
    QVariant toVariant() const;
    /// Same content; the order of pairs and what else only the byte layout depends on are not compared.
    friend bool operator==(const ArchiveValue& left, const ArchiveValue& right);

    /// All copies of the result are one object of an archive; copies of any other value are several, see KeyedArchiver.
    ArchiveValue asOneInstance() const;
    /// The same number for all copies of one instance; 0 when every copy is an instance of its own.
    quint32 instance() const { return m_instance; }
    /// The mutable variant of a string, data, array or dictionary.
    ArchiveValue asMutable() const;
    ArchiveValue asDeeplyMutable() const; ///< the same with all containers inside
    bool isMutable() const { return m_isMutable; }

private:
    struct Pairs;
    using Payload = std::variant<std::monostate, qint64, double, QString, QByteArray, std::shared_ptr<Array>,
        std::shared_ptr<Pairs>>;

    ArchiveValue(Type type, Payload payload) noexcept : m_payload(std::move(payload)), m_type(type) {}

    Payload m_payload;
    quint32 m_instance = 0;
    Type m_type = Type::Nothing;
    bool m_isMutable = false;
};

/// A pair of a dictionary or a field of an object.
struct ArchiveEntry {
    QString key;
    ArchiveValue value;
    quint32 keyInstance = 0; ///< of the key, as ArchiveValue::instance(); with 0 equal keys are one
};

} // namespace Platform
