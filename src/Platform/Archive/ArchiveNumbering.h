#pragma once

#include "ArchiveValue.h"
#include "Identity.h"
#include "KeyOrder.h"

#include <QHash>

#include <forward_list>

namespace Platform {

/// The first half of archiving: gives every object of a value its number (UID) in the archive's list, in the order in
/// which the platform's archiver meets them, and lists what each one consists of.
///
/// Points into the value, which must outlive it. May be run again; keeps its room for that.
class ArchiveNumbering final {
public:
    /// An object of the archive, what stands under a key of one, or an element of a list.
    struct Item {
        enum class Kind : quint8 { Uid, Uids, Text, Scalar, Seconds, Items, Pairs };
        Kind kind = Kind::Uid;
        /// Of the UIDs, or of the items of a list or dictionary.
        quint32 count = 0;
        /// The UID itself, or where the UIDs or items begin.
        quint32 first = 0;
        const ArchiveValue* value = nullptr;
        const QString* text = nullptr;
        quint64 identity = Identity::None;
        const QString* key = nullptr;
        quint64 keyIdentity = Identity::None;
    };

    /// Numbers everything below @p root; false when that is beyond the limits of a property list or its keys are made
    /// to collide.
    bool run(const ArchiveValue& root);

    /// Values at every place where they stand.
    size_t valueCount() const { return m_values; }
    quint32 rootUid() const { return m_rootUid; }
    const std::vector<Item>& entries() const { return m_entries; }
    const Item& item(quint32 place) const { return m_items[place]; }
    quint32 uid(quint32 place) const { return m_uids[place]; }

    /// Entries of the property list's table, roughly.
    size_t probableObjects() const { return 16 + m_entries.size() + m_items.size() + m_uids.size(); }

private:
    quint32 number(const ArchiveValue& value, int depth);
    quint32 numberKey(const ArchiveEntry& entry);
    bool enter(size_t entries, int depth);
    Item entryOf(const ArchiveValue& value, quint64 identity, int depth);
    Item arrayEntry(const ArchiveValue& value, int depth);
    Item dictionaryEntry(const ArchiveValue& value, int depth);
    Item objectEntry(const ArchiveValue& value, int depth);
    Item classItem(const ArchiveClass& objectClass);
    Item pairs(std::initializer_list<Item> items);
    Item reserveUids(size_t count);

    quint32 m_rootUid = 0;
    size_t m_values = 0;
    bool m_isWithinLimits = true;
    std::vector<Item> m_entries;
    std::vector<Item> m_items;
    std::vector<quint32> m_uids;
    InstanceTable m_instances;
    KeyOrder m_order;
    QHash<QString, quint32> m_classes;
    /// Escaped names, which stand in no value.
    std::forward_list<QString> m_texts;
};

} // namespace Platform
