#include "BinaryTable.h"
#include "KeyOrder.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QHash>

namespace Platform {

namespace {

class BinaryWriter {
public:
    explicit BinaryWriter(BinaryTable& table) : m_table(table) {}

    bool isExhausted() const { return m_order.isExhausted(); }

    /// The object's number in the table.
    quint32 add(const ArchiveValue& value) {
        if (value.isArray())
            return addArray(value.array());
        return value.isDictionary() ? addDictionary(value.dictionary()) : m_table.add(value);
    }

private:
    quint32 addArray(const ArchiveValue::Array& items) {
        const auto object = m_table.beginArray(items.size());
        for (size_t i = 0; i < items.size(); ++i)
            m_table.setReference(object, i, add(items[i]));
        return object.number;
    }

    quint32 addDictionary(const ArchiveValue::Dictionary& pairs) {
        if (pairs.size() == 1 && pairs[0].key == BinaryFormat::UidKey &&
            pairs[0].value.type() == ArchiveValue::Type::Integer && std::in_range<quint32>(pairs[0].value.integer()))
            return addUid(static_cast<quint32>(pairs[0].value.integer()));
        const auto object = m_table.beginDictionary(pairs.size());
        const std::vector<quint32> order = m_order.ofKeys(pairs);
        size_t place = 0;
        for (const quint32 i : order)
            m_table.setReference(object, place++, m_table.addKey(pairs[i].key, pairs[i].keyInstance));
        for (const quint32 i : order)
            m_table.setReference(object, place++, add(pairs[i].value));
        return object.number;
    }

    /// Like a boolean.
    quint32 addUid(quint32 uid) {
        const quint32 object = m_table.addUid(uid);
        const auto first = m_uids.constFind(uid);
        return first == m_uids.cend() ? *m_uids.insert(uid, object) : *first;
    }

    BinaryTable& m_table;
    KeyOrder m_order;
    QHash<quint32, quint32> m_uids;
};

} // namespace

QByteArray PropertyList::binaryData(const ArchiveValue& root) {
    size_t values = 1;
    bool isWritten = PropertyListLimits::count(root, 0, values);
    const QByteArray file = !isWritten ? QByteArray() : BinaryTable::file(values, [&](BinaryTable& table) {
        BinaryWriter writer(table);
        writer.add(root);
        isWritten = !writer.isExhausted();
    });
    return isWritten ? file : QByteArray();
}

} // namespace Platform
