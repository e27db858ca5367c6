#pragma once

#include "BinaryFile.h"

#include <QByteArray>
#include <QVarLengthArray>

#include <functional>

namespace Platform {

/// Which values of a file that is being written are one object. Knows the number of each object by what makes it one
/// with others.
class SharedObjects final {
public:
    /// The number that was given for such a value before; otherwise @p number, which is remembered if @p value can be
    /// one with others.
    quint32 numberOf(const ArchiveValue& value, quint32 number);
    /// Likewise for a key: equal ones are one unless they are instances of their own. It must outlive this.
    quint32 numberOfKey(const QString& key, quint32 instance, quint32 number);

private:
    struct Place {
        quint64 identity = 0;
        quint32 number = 0;
        /// Where the identity is a hash of it.
        const QString* text = nullptr;
    };

    quint32 findOrInsert(quint64 identity, const QString* text, quint32 number);
    void grow();

    /// An open hash table, since most of the time of a small archive would go into a QHash. Its size is a power of two.
    QVarLengthArray<Place, 64> m_places = QVarLengthArray<Place, 64>(64);
    size_t m_count = 0;
    const size_t m_seed = QHashSeed::globalSeed();
};

/// Writes the object table of a binary property list in the order in which objects are added. Containers are begun
/// before their contents, and get their references later.
///
/// How wide references are depends on how many objects there will be, so whoever fills a table may have to do it twice.
class BinaryTable final {
public:
    /// A container that has been begun.
    struct Container {
        quint32 number;
        /// Where they stand.
        qsizetype references;
    };

    /// What @p fill adds to a table, as a file; empty when that is beyond the limits of a property list.
    /// @param objects  as many as there will probably be
    static QByteArray file(size_t objects, const std::function<void(BinaryTable&)>& fill);

    /// Of a dictionary; it must outlive the table.
    quint32 addKey(const QString& key, quint32 instance = 0);
    /// What is no container, as one object with those that SharedObjects says.
    quint32 add(const ArchiveValue& value);
    /// The same as an object of its own.
    quint32 addNew(const ArchiveValue& value);
    quint32 addUid(quint32 uid);
    Container beginArray(size_t count) { return begin(BinaryFormat::Array, count, count); }
    /// Its references are all keys before all values.
    Container beginDictionary(size_t count) { return begin(BinaryFormat::Dictionary, count, 2 * count); }
    void setReference(Container container, size_t position, quint32 object);

private:
    explicit BinaryTable(size_t objects);

    quint32 count() const { return static_cast<quint32>(m_offsets.size()); }
    char* room(qsizetype size);
    char* beginObject(qsizetype size);
    quint32 endObject(const char* end);
    Container begin(quint8 marker, size_t count, size_t references);
    quint32 addNewText(const QString& text);
    QByteArray finished();

    const quint32 m_referenceSize;
    /// The file so far, and room behind it.
    QByteArray m_file;
    qsizetype m_used = sizeof BinaryFormat::Magic;
    std::vector<quint32> m_offsets;
    /// As a reader counts them.
    quint64 m_values = 1;
    bool m_isWhole = true;
    SharedObjects m_shared;
};

} // namespace Platform
