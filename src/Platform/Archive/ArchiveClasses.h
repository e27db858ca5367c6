#pragma once

#include "AllowedClasses.h"
#include "ArchiveKeys.h"
#include "ArchiveValue.h"

#include <forward_list>

namespace Platform {

/// What an object of a class is read as.
enum class ArchiveForm : quint8 { String, Data, Date, Null, Array, Dictionary, Object };

/// The class entries of an archive that is being read, each decoded once. An entry costs as much as the names in it, so
/// those are counted by ArchiveKeys.
class ArchiveClasses final {
public:
    using Reader = BinaryPropertyListReader;

    struct Entry {
        std::shared_ptr<const ArchiveClass> objectClass;
        ArchiveForm form = ArchiveForm::Object;
        bool isMutable = false;
        bool isAllowed = false;
    };

    ArchiveClasses(Reader& reader, ArchiveKeys& keys, const AllowedClasses& allowed)
        : m_reader(reader), m_keys(keys), m_allowed(allowed) {}

    /// The class of @p object, an entry of the list @p objects; nothing when it has none or that is broken. Stays where
    /// it is.
    const Entry* of(const Reader::Object& object, const Reader::Object& objects);

private:
    bool decode(const Reader::Object& object, Entry& entry);
    bool decodeNames(quint32 list, QStringList& names);

    Reader& m_reader;
    ArchiveKeys& m_keys;
    const AllowedClasses& m_allowed;
    /// Most objects are of one class.
    quint32 m_lastUid = Reader::NoObject;
    const Entry* m_last = nullptr;
    /// By UID, from the second class on.
    std::vector<const Entry*> m_known;
    std::forward_list<Entry> m_entries;
    ArchiveKey m_class{"$class"};
    ArchiveKey m_className{"$classname"};
    ArchiveKey m_classList{"$classes", 1};
};

} // namespace Platform
