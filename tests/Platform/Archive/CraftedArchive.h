#pragma once

#include "ArchiveLayout.h"
#include "PropertyList.h"

#include <QtEndian>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

/// Property lists and archives as no writer of ours makes them: right in their parts, wrong or unusual as a whole.
namespace CraftedArchive {

using Platform::ArchiveValue;

inline ArchiveValue uid(int number) {
    return ArchiveValue::Dictionary{{u"CF$UID"_s, number}};
}

/// Pairs that are written in this order.
inline ArchiveValue inOrder(ArchiveValue::Dictionary entries) {
    return Platform::ArchiveLayout::dictionaryAsStored(std::move(entries));
}

/// An archive of @p objects, "$null" put before them, whose root is the first of them.
inline QByteArray archive(ArchiveValue::Array objects, bool isOlderOrder = false) {
    objects.insert(objects.begin(), ArchiveValue("$null"));
    const ArchiveValue::Dictionary entries = {{"$version", 100000}, {"$archiver", "NSKeyedArchiver"},
        {"$top", ArchiveValue::Dictionary{{"root", uid(1)}}}, {"$objects", ArchiveValue(std::move(objects))}};
    if (isOlderOrder)
        return Platform::PropertyList::binaryData(inOrder({entries[0], entries[3], entries[1], entries[2]}));
    return Platform::PropertyList::binaryData(inOrder(entries));
}

inline ArchiveValue classEntry(const QString& name, const QStringList& classes) {
    return inOrder({{"$classname", name}, {"$classes", classes}});
}

inline ArchiveValue arrayEntry(const std::vector<int>& uids, int classUid) {
    ArchiveValue::Array items;
    for (const int number : uids)
        items.push_back(uid(number));
    return inOrder({{"NS.objects", ArchiveValue(std::move(items))}, {"$class", uid(classUid)}});
}

/// A binary property list of objects given as bytes.
/// @param top  the object that is the root
inline QByteArray binary(const QByteArrayList& objects, int top = 0, int referenceSize = 1) {
    QByteArray file = "bplist00";
    QByteArray table;
    for (const QByteArray& object : objects) {
        table += static_cast<char>(file.size() >> 8);
        table += static_cast<char>(file.size());
        file += object;
    }
    const qsizetype tableOffset = file.size();
    file += table + QByteArray(6, '\0') + '\2' + static_cast<char>(referenceSize);
    for (const qint64 number : {qint64(objects.size()), qint64(top), qint64(tableOffset)}) {
        char bytes[8];
        qToBigEndian(number, bytes);
        file.append(bytes, sizeof bytes);
    }
    return file;
}

/// An array that holds object @p number more often than any decoder should make room for at each level.
inline QByteArray wideArray(char number) {
    return QByteArray("\xaf\x12\0\3\xd0\x90", 6) + QByteArray(250000, number);
}

/// Most memory that this process had so far, kilobytes.
inline long peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}
/// Far above what a broken file takes, a sanitizer's own share included, and below what a bomb would.
constexpr long MemoryLimit = 800 * 1024;

} // namespace CraftedArchive
