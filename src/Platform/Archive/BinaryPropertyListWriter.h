#pragma once

#include <QByteArray>
#include <QStringView>

#include <vector>

namespace Platform {

class ArchiveValue;

/// Builds the object table of a binary property list in the order in which objects are added, and writes it.
///
/// Containers are begun before their contents and their references are filled in later. Texts and data are not copied:
/// they must outlive bytes().
class BinaryPropertyListWriter final {
public:
    BinaryPropertyListWriter() { clear(64); }
    /// Starts again in the same room.
    /// @param objects  as many as will probably be added
    void clear(size_t objects);

    quint32 addString(QStringView text);
    /// A number, date or data, or a string whatever its variant.
    quint32 addScalar(const ArchiveValue& value);
    quint32 addInteger(qint64 number);
    quint32 addReal(double number);
    /// As the platform does: one that was added before is referred to, and yet a copy goes to the table.
    quint32 addBoolean(bool value);
    quint32 addUid(quint32 number);

    /// References 0 to count-1 of the new object are set with setReference(); a dictionary has its keys first.
    quint32 beginArray(quint32 count) { return begin(Kind::Array, count, count); }
    quint32 beginDictionary(quint32 count) { return begin(Kind::Dictionary, count, count * 2); }
    void setReference(quint32 container, quint32 position, quint32 object) {
        m_references[m_objects[container].body.start + position] = object;
    }

    /// True when @p object is a string of this text.
    bool isString(quint32 object, QStringView text) const {
        const Object& known = m_objects[object];
        return (known.kind == Kind::String || known.kind == Kind::WideString) &&
            QStringView(known.body.units, known.count) == text;
    }
    quint32 objectCount() const { return static_cast<quint32>(m_objects.size()); }
    /// The file; empty when it would be beyond the limits of a property list.
    QByteArray bytes() const;

private:
    enum class Kind : quint8 {
        False,
        True,
        Integer,
        Unsigned,
        Real,
        Date,
        Data,
        String,
        WideString,
        Uid,
        Array,
        Dictionary
    };
    union Body {
        qint64 integer;
        double real;
        const char* bytes;
        const char16_t* units;
        size_t start;
    };
    struct Object {
        Kind kind = Kind::False;
        quint32 count = 0;
        Body body = {};
    };
    class Sink;

    /// @param size  in the file, references apart
    quint32 add(Kind kind, quint32 count, Body body, quint64 size);
    quint32 begin(Kind kind, quint32 count, quint32 references);
    void write(const Object& object, Sink& sink, quint32 referenceSize) const;

    std::vector<Object> m_objects;
    std::vector<quint32> m_references;
    /// Of all objects, references apart.
    quint64 m_size = 0;
    std::vector<quint32> m_uids;
    quint32 m_booleans[2] = {};
};

} // namespace Platform
