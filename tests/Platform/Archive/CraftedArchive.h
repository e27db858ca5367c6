#pragma once

#include "ArchiveValue.h"
#include "PropertyList.h"

#include <QElapsedTimer>
#include <QtEndian>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

/// Property lists and archives as no writer of ours makes them: right in their parts, wrong or unusual as a whole.
namespace CraftedArchive {

using Platform::ArchiveValue;

inline ArchiveValue uid(int number) {
    return ArchiveValue::Dictionary{{u"CF$UID"_s, number}};
}

/// An archive of @p objects, "$null" put before them, whose root is the first of them. Its keys stand in the order of
/// older systems, which is that of any dictionary.
inline QByteArray archive(ArchiveValue::Array objects) {
    objects.insert(objects.begin(), ArchiveValue("$null"));
    return Platform::PropertyList::binaryData(
        ArchiveValue::Dictionary{{"$version", 100000}, {"$archiver", "NSKeyedArchiver"},
            {"$top", ArchiveValue::Dictionary{{"root", uid(1)}}}, {"$objects", ArchiveValue(std::move(objects))}});
}

inline ArchiveValue classEntry(const QString& name, const QStringList& classes) {
    return ArchiveValue::Dictionary{{"$classname", name}, {"$classes", classes}};
}

inline ArchiveValue uids(const std::vector<int>& numbers) {
    ArchiveValue::Array items;
    for (const int number : numbers)
        items.push_back(uid(number));
    return items;
}

inline ArchiveValue arrayEntry(const std::vector<int>& numbers, int classUid) {
    return ArchiveValue::Dictionary{{"NS.objects", uids(numbers)}, {"$class", uid(classUid)}};
}

inline ArchiveValue dictionaryEntry(const std::vector<int>& keys, const std::vector<int>& values, int classUid) {
    return ArchiveValue::Dictionary{{"NS.keys", uids(keys)}, {"NS.objects", uids(values)}, {"$class", uid(classUid)}};
}

/// Lists within each other, @p levels deep, each but the first @p single ones holding the next one twice.
inline QByteArray sharedLists(int levels, int single) {
    ArchiveValue::Array objects;
    for (int i = 2; i < levels + 2; ++i)
        objects.push_back(arrayEntry(i < single + 2 ? std::vector{i} : std::vector{i, i}, levels + 2));
    objects.insert(objects.end(), {ArchiveValue("a"), classEntry("NSArray", {"NSArray", "NSObject"})});
    return archive(std::move(objects));
}

/// A dictionary one of whose keys is the nil object.
inline QByteArray nilKey() {
    return archive({dictionaryEntry({2, 0}, {2, 2}, 3), "a", classEntry("NSDictionary", {"NSDictionary", "NSObject"})});
}

/// An object of a class of its own with a list in the field itself, a number beside and a name that was escaped.
inline QByteArray oddFields() {
    return archive({ArchiveValue::Dictionary{{"list", ArchiveValue(ArchiveValue::Array{uid(2), 7})}, {"boxed", uid(3)},
                        {"$$dollar", uid(2)}, {"pairs", ArchiveValue(ArchiveValue::Dictionary{{"a", uid(3)}})},
                        {"$class", uid(4)}},
        "x", 5, classEntry("Outer", {"Outer", "Base", "NSObject"})});
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

/// True when @p read answers nothing, at far less than what a bomb would cost in memory and time.
template <typename Read>
bool isRefusedCheaply(Read read) {
    // Far above what a broken file takes, a sanitizer's own share included.
    constexpr long MemoryLimit = 800 * 1024;
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    QElapsedTimer timer;
    timer.start();
    const bool isRefused = !read();
    getrusage(RUSAGE_SELF, &after);
    return isRefused && after.ru_maxrss - before.ru_maxrss < MemoryLimit && timer.elapsed() < 5000;
}

} // namespace CraftedArchive
