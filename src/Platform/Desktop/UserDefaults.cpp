#include "UserDefaults.h"

#include "Files.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

namespace Platform {

ArchiveValue UserDefaults::held(bool* mayPass) const {
    const auto bytes = readFile(m_file, PropertyListLimits::FileSize, mayPass);
    const auto root = bytes ? PropertyList::decoded(*bytes) : std::nullopt;
    return root && root->isDictionary() ? *root : ArchiveValue(ArchiveValue::Dictionary{});
}

ArchiveValue UserDefaults::objectForKey(const QString& key) const {
    const std::lock_guard lock(m_mutex);
    return held().value(key);
}

bool UserDefaults::boolForKey(const QString& key) const {
    const ArchiveValue value = objectForKey(key);
    return value.isNumber() && value.boolean();
}

bool UserDefaults::setObject(const ArchiveValue& value, const QString& key) {
    const ArchiveValue wanted = PropertyList::binaryData(value).isEmpty() ? ArchiveValue() : value;
    const std::lock_guard lock(m_mutex);
    bool isUnknown = false;
    const ArchiveValue before = held(&isUnknown);
    if (isUnknown)
        return false;
    if (before.value(key) == wanted)
        return true;
    ArchiveValue values{ArchiveValue::Dictionary{}};
    for (const ArchiveEntry& entry : before.dictionary()) {
        if (entry.key != key)
            values.insert(entry.key, entry.value);
    }
    if (!wanted.isNothing())
        values.insert(key, wanted);
    const QByteArray bytes = PropertyList::binaryData(values);
    return !bytes.isEmpty() && makeFolder(m_file.section(u'/', 0, -2)) && !replaceFile(m_file, bytes);
}

} // namespace Platform
