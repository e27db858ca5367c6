#pragma once

#include "ArchiveValue.h"
#include "InstanceTable.h"
#include "KeyOrder.h"

#include <QHash>

#include <array>
#include <forward_list>

namespace Platform {

/// The first half of archiving: gives every object of a value its number (UID) in the archive's list, in the order in
/// which the platform's archiver meets them, and lists what each one consists of.
///
/// Points into the value, which must outlive it. May be run again; keeps its room for that.
class ArchiveNumbering final {
public:
    /// What stands under a key of an entry, or as an element of a list.
    struct Item {
        enum class Kind : quint8 { Uid, Uids, Text, Value, Seconds, List, Map };
        Kind kind = Kind::Uid;
        quint32 count = 0;
        /// The UID itself, or where the UIDs or the items of a list or map begin.
        quint32 first = 0;
        const ArchiveValue* value = nullptr;
        const QString* text = nullptr;
        Identity identity = {};
        const QString* key = nullptr;
        Identity keyIdentity = {};
    };
    /// An object: either a text or value that stands for itself, or a dictionary of items in their final order.
    struct Entry {
        const ArchiveValue* value = nullptr;
        const QString* text = nullptr;
        Identity identity = {};
        quint32 firstItem = 0;
        quint32 itemCount = 0;
        quint32 values = 0;
        int height = 0;
    };

    /// Numbers everything below @p root; false when it is beyond the limits of a property list.
    bool run(const ArchiveValue& root);

    quint32 rootUid() const { return m_rootUid; }
    const std::vector<Entry>& entries() const { return m_entries; }
    const std::vector<Item>& items() const { return m_items; }
    const std::vector<quint32>& uids() const { return m_uids; }

    /// Entries of the property list's table, roughly.
    size_t probableObjects() const { return 16 + m_entries.size() + m_items.size() + m_uids.size(); }
    static Identity constantIdentity(const QString& text) {
        return Identity::ofText(text, 0, Identity::Place::Constant);
    }

private:
    enum Native { String, Data, Date, Null, Array, Dictionary, NativeCount };

    quint32 number(const ArchiveValue& value, int depth);
    quint32 numberKey(const ArchiveEntry& entry);
    void fill(quint32 uid, const ArchiveValue& value, int depth);
    void fillArray(quint32 uid, const ArchiveValue& value, int depth);
    void fillDictionary(quint32 uid, const ArchiveValue& value, int depth);
    void fillObject(quint32 uid, const ArchiveValue& value, int depth);
    void fillSingle(quint32 uid, const QString& key, Item item, Native native, bool isClassFirst);
    Item fieldItem(const ArchiveValue& value, int depth);
    Item inlineList(const ArchiveValue& value, int depth);
    Item inlineMap(const ArchiveValue& value, int depth);

    quint32 reserveItems(quint32 uid, quint32 count);
    void setItem(quint32 place, const QString& key, const Identity& identity, Item item);
    Item classItem(Native native, bool isMutable);
    Item classItem(const QString& name, const QStringList& classes);
    bool enter(int depth);
    bool count(quint32 values);

    bool m_isWithinLimits = true;
    quint32 m_rootUid = 0;
    quint32 m_values = 0;
    /// Containers within each other, of what has been numbered inside the current one.
    int m_height = 0;
    std::vector<Entry> m_entries;
    std::vector<Item> m_items;
    std::vector<quint32> m_uids;
    InstanceTable m_instances;
    KeyOrder m_order;
    std::array<quint32, NativeCount * 2> m_nativeClasses{};
    QHash<QString, quint32> m_classes;
    /// Texts that stand in no value: class lists and escaped names.
    std::forward_list<QString> m_texts;
};

} // namespace Platform
