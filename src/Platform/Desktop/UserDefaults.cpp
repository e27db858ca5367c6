#include "UserDefaults.h"

#include "Files.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

bool isTrueText(const QString& text) {
    static const QRegularExpression form(u"^\\s*[+-]?0*[YyTt1-9]"_s);
    return form.match(text).hasMatch();
}

ArchiveValue without(const ArchiveValue& dictionary, const QString& key) {
    ArchiveValue rest{ArchiveValue::Dictionary{}};
    for (const ArchiveEntry& entry : dictionary.dictionary()) {
        if (entry.key != key)
            rest.insert(entry.key, entry.value);
    }
    return rest;
}

void apply(ArchiveValue& dictionary, const QString& key, const ArchiveValue& value) {
    if (value.isNothing())
        dictionary = without(dictionary, key);
    else
        dictionary.insert(key, value);
}

} // namespace

UserDefaults::UserDefaults(QString file) : m_file(std::move(file)) {}

ArchiveValue UserDefaults::dictionaryIn(const QString& file) {
    const auto bytes = readFile(file, PropertyListLimits::FileSize);
    const auto root = bytes ? PropertyList::decoded(*bytes) : std::nullopt;
    return root && root->isDictionary() ? *root : ArchiveValue(ArchiveValue::Dictionary{});
}

void UserDefaults::load() const {
    if (!std::exchange(m_isLoaded, true))
        m_values = dictionaryIn(m_file);
}

ArchiveValue UserDefaults::objectForKey(const QString& key) const {
    const std::lock_guard lock(m_mutex);
    load();
    return m_values.value(key);
}

void UserDefaults::setObject(const ArchiveValue& value, const QString& key) {
    const bool fits = !PropertyList::binaryData(value).isEmpty();
    const std::lock_guard lock(m_mutex);
    load();
    m_changes.insert(key, fits ? value : ArchiveValue());
    apply(m_values, key, m_changes.value(key));
}

bool UserDefaults::boolForKey(const QString& key) const {
    const ArchiveValue value = objectForKey(key);
    return value.isString() ? isTrueText(value.string()) : value.isNumber() && value.boolean();
}

void UserDefaults::setBool(bool value, const QString& key) {
    setObject(ArchiveValue(value), key);
}

bool UserDefaults::synchronize() {
    const std::lock_guard lock(m_mutex);
    ArchiveValue values = dictionaryIn(m_file);
    for (auto change = m_changes.cbegin(); change != m_changes.cend(); ++change)
        apply(values, change.key(), change.value());
    if (!m_changes.isEmpty()) {
        const QByteArray bytes = PropertyList::binaryData(values);
        if (bytes.isEmpty() || !makeFolder(m_file.section(u'/', 0, -2)) || replaceFile(m_file, bytes))
            return false;
        m_changes.clear();
    }
    m_values = values;
    m_isLoaded = true;
    return true;
}

} // namespace Platform
