#include "KeyedArchiver.h"

#include "ArchiveNumbering.h"
#include "BinaryPropertyListWriter.h"
#include "PropertyListLimits.h"

#include <memory>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using Item = ArchiveNumbering::Item;

constexpr qint64 ArchiveVersion = 100000;

const QString VersionKey = u"$version"_s;
const QString ArchiverKey = u"$archiver"_s;
const QString TopKey = u"$top"_s;
const QString ObjectsKey = u"$objects"_s;
const QString ArchiverName = u"NSKeyedArchiver"_s;

/// Numbers the objects and then, as the second half, lays them out as a property list.
class Archiver {
public:
    QByteArray archive(const ArchiveValue& root, const QString& rootKey) {
        if (!m_numbering.run(root))
            return {};
        const QByteArray bytes = layOut(rootKey);
        return m_numbering.valueCount() <= PropertyListLimits::values(bytes.size()) ? bytes : QByteArray();
    }
    /// Entries that it keeps room for.
    size_t room() const { return m_numbering.probableObjects(); }

private:
    QByteArray layOut(const QString& rootKey) {
        m_instances.clear();
        m_writer.clear(m_numbering.probableObjects());
        // The root dictionary alone keeps this order; all its keys come before all its values.
        const quint32 root = m_writer.beginDictionary(4);
        const QString* keys[] = {&VersionKey, &ArchiverKey, &TopKey, &ObjectsKey};
        for (quint32 i = 0; i < std::size(keys); ++i)
            m_writer.setReference(root, i, addKey(*keys[i]));
        m_writer.setReference(root, 4, m_writer.addInteger(ArchiveVersion));
        m_writer.setReference(root, 5, m_writer.addString(ArchiverName));
        const quint32 top = m_writer.beginDictionary(1);
        m_writer.setReference(root, 6, top);
        m_writer.setReference(top, 0, addKey(rootKey));
        m_writer.setReference(top, 1, m_writer.addUid(m_numbering.rootUid()));
        const auto& entries = m_numbering.entries();
        m_writer.setReference(
            root, 7, addArray(static_cast<quint32>(entries.size()), [&](quint32 i) { return addItem(entries[i]); }));
        return m_writer.bytes();
    }

    quint32 addKey(const QString& text) { return addText(text, Identity::ofText(text, 0, Identity::Place::Constant)); }

    quint32 addItem(const Item& item) {
        switch (item.kind) {
        case Item::Kind::Uid:
            return m_writer.addUid(item.first);
        case Item::Kind::Text:
            return addText(*item.text, item.identity);
        case Item::Kind::Scalar:
            return addScalar(*item.value, item.identity);
        case Item::Kind::Seconds:
            return m_writer.addReal(item.value->number());
        case Item::Kind::Uids:
            return addArray(item.count, [&](quint32 i) { return m_writer.addUid(m_numbering.uid(item.first + i)); });
        case Item::Kind::Items:
            return addArray(item.count, [&](quint32 i) { return addItem(m_numbering.item(item.first + i)); });
        case Item::Kind::Pairs:
            return addPairs(item.first, item.count);
        }
        return 0;
    }

    template <typename AddOne>
    quint32 addArray(quint32 count, AddOne addOne) {
        const quint32 object = m_writer.beginArray(count);
        for (quint32 i = 0; i < count; ++i)
            m_writer.setReference(object, i, addOne(i));
        return object;
    }

    quint32 addPairs(quint32 first, quint32 count) {
        const quint32 object = m_writer.beginDictionary(count);
        for (quint32 i = 0; i < count; ++i) {
            const Item& item = m_numbering.item(first + i);
            m_writer.setReference(object, i, addText(*item.key, item.keyIdentity));
        }
        for (quint32 i = 0; i < count; ++i)
            m_writer.setReference(object, count + i, addItem(m_numbering.item(first + i)));
        return object;
    }

    quint32 addText(const QString& text, quint64 identity) {
        const quint32 known = find(identity);
        return known != InstanceTable::None && m_writer.isString(known, text) ? known : m_writer.addString(text);
    }

    quint32 addScalar(const ArchiveValue& value, quint64 identity) {
        if (value.isBoolean())
            return m_writer.addBoolean(value.boolean());
        const quint32 known = find(identity);
        return known != InstanceTable::None ? known : m_writer.addScalar(value);
    }

    quint32 find(quint64 identity) {
        return identity == Identity::None ? InstanceTable::None
                                          : m_instances.findOrInsert(identity, m_writer.objectCount());
    }

    ArchiveNumbering m_numbering;
    BinaryPropertyListWriter m_writer;
    InstanceTable m_instances;
};

} // namespace

QByteArray KeyedArchiver::archivedData(const ArchiveValue& root, const QString& rootKey) {
    // Making room costs half the time of a state file, so a thread keeps it unless it has become large.
    constexpr size_t MostRoomKept = 8192;
    thread_local std::unique_ptr<Archiver> archiver;
    if (!archiver)
        archiver = std::make_unique<Archiver>();
    const QByteArray bytes = archiver->archive(root, rootKey);
    if (archiver->room() > MostRoomKept)
        archiver.reset();
    return bytes;
}

} // namespace Platform
