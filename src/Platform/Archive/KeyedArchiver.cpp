#include "KeyedArchiver.h"

#include "ArchiveNumbering.h"
#include "BinaryPropertyListWriter.h"
#include "PropertyListLimits.h"

#include <memory>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using Item = ArchiveNumbering::Item;
using Entry = ArchiveNumbering::Entry;

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
        return m_numbering.run(root) ? layOut(rootKey) : QByteArray();
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
            m_writer.setReference(root, i, addText(*keys[i], ArchiveNumbering::constantIdentity(*keys[i])));
        m_writer.setReference(root, 4, m_writer.addInteger(ArchiveVersion));
        m_writer.setReference(root, 5, m_writer.addString(ArchiverName));
        const quint32 top = m_writer.beginDictionary(1);
        m_writer.setReference(root, 6, top);
        m_writer.setReference(top, 0, addText(rootKey, ArchiveNumbering::constantIdentity(rootKey)));
        m_writer.setReference(top, 1, m_writer.addUid(m_numbering.rootUid()));
        const auto count = static_cast<quint32>(m_numbering.entries().size());
        const quint32 objects = m_writer.beginArray(count);
        m_writer.setReference(root, 7, objects);
        for (quint32 i = 0; i < count && m_writer.objectCount() <= PropertyListLimits::Objects; ++i)
            m_writer.setReference(objects, i, addEntry(m_numbering.entries()[i]));
        return m_writer.bytes();
    }

    quint32 addEntry(const Entry& entry) {
        if (entry.text)
            return addText(*entry.text, entry.identity);
        if (entry.value)
            return addValue(*entry.value, entry.identity);
        return addDictionary(entry.firstItem, entry.itemCount);
    }

    quint32 addDictionary(quint32 first, quint32 count) {
        const Item* items = m_numbering.items().data() + first;
        const quint32 object = m_writer.beginDictionary(count);
        for (quint32 i = 0; i < count; ++i)
            m_writer.setReference(object, i, addText(*items[i].key, items[i].keyIdentity));
        for (quint32 i = 0; i < count; ++i)
            m_writer.setReference(object, count + i, addItem(items[i]));
        return object;
    }

    quint32 addItem(const Item& item) {
        switch (item.kind) {
        case Item::Kind::Uid:
            return m_writer.addUid(item.first);
        case Item::Kind::Text:
            return addText(*item.text, item.identity);
        case Item::Kind::Value:
            return addValue(*item.value, item.identity);
        case Item::Kind::Seconds:
            return m_writer.addReal(item.value->number());
        case Item::Kind::Map:
            return addDictionary(item.first, item.count);
        case Item::Kind::Uids:
        case Item::Kind::List:
            break;
        }
        const quint32 object = m_writer.beginArray(item.count);
        for (quint32 i = 0; i < item.count; ++i) {
            m_writer.setReference(object, i,
                item.kind == Item::Kind::Uids ? m_writer.addUid(m_numbering.uids()[item.first + i])
                                              : addItem(m_numbering.items()[item.first + i]));
        }
        return object;
    }

    quint32 addText(const QString& text, const Identity& identity) {
        const quint32 known =
            identity.isShared() ? m_instances.findOrInsert(identity, m_writer.objectCount()) : InstanceTable::None;
        return known != InstanceTable::None && m_writer.isString(known, text) ? known : m_writer.addString(text);
    }

    quint32 addValue(const ArchiveValue& value, const Identity& identity) {
        if (value.isString())
            return addText(value.string(), identity);
        if (value.isBoolean())
            return m_writer.addBoolean(value.boolean());
        const quint32 known =
            identity.isShared() ? m_instances.findOrInsert(identity, m_writer.objectCount()) : InstanceTable::None;
        return known != InstanceTable::None ? known : m_writer.addScalar(value);
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
