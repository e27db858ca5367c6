#include "ArchiveClasses.h"

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr QLatin1StringView MutablePrefix("NSMutable");

/// @param name  of a class that begins with "NS"
ArchiveForm formOf(const QString& name) {
    static const std::pair<QLatin1StringView, ArchiveForm> forms[] = {{"Dictionary"_L1, ArchiveForm::Dictionary},
        {"Array"_L1, ArchiveForm::Array}, {"String"_L1, ArchiveForm::String}, {"Null"_L1, ArchiveForm::Null},
        {"Data"_L1, ArchiveForm::Data}, {"Date"_L1, ArchiveForm::Date}};
    const QStringView rest = QStringView(name).mid(name.startsWith(MutablePrefix) ? MutablePrefix.size() : 2);
    for (const auto& [known, form] : forms) {
        if (rest == known)
            return form;
    }
    return ArchiveForm::Object;
}

} // namespace

const ArchiveClasses::Entry* ArchiveClasses::of(const Reader::Object& object, const Reader::Object& objects) {
    const quint32 uid = m_reader.uid(m_keys.find(object, m_class));
    if (uid >= objects.count)
        return nullptr;
    if (uid == m_lastUid)
        return m_last;
    if (m_last && m_known.empty()) {
        m_known.resize(objects.count);
        m_known[m_lastUid] = m_last;
    }
    const Entry* known = m_last ? m_known[uid] : nullptr;
    if (!known) {
        Entry entry;
        if (!decode(m_reader.object(m_reader.reference(objects, uid)), entry))
            return nullptr;
        known = &m_entries.emplace_front(std::move(entry));
        if (m_last)
            m_known[uid] = known;
    }
    m_lastUid = uid;
    m_last = known;
    return known;
}

bool ArchiveClasses::decode(const Reader::Object& object, Entry& entry) {
    const quint32 name = m_keys.find(object, m_className);
    const quint32 list = m_keys.find(object, m_classList);
    ArchiveClass result;
    result.name = name == Reader::NoObject ? QString() : m_reader.string(name);
    // The list is left out by some writers; "$classhints" is not looked at.
    if (result.name.isEmpty() || (list != Reader::NoObject && !decodeNames(list, result.classes)))
        return false;
    const bool isPlatforms = result.name.size() > 2 && result.name.startsWith("NS"_L1);
    entry.form = isPlatforms ? formOf(result.name) : ArchiveForm::Object;
    entry.isMutable = isPlatforms && result.name.startsWith(MutablePrefix);
    entry.isAllowed = m_allowed.allows(result.name, result.classes);
    entry.objectClass = std::make_shared<const ArchiveClass>(std::move(result));
    return true;
}

bool ArchiveClasses::decodeNames(quint32 list, QStringList& names) {
    const Reader::Object texts = m_reader.object(list);
    if (texts.kind != Reader::Kind::Array || !m_keys.count(texts.count))
        return false;
    names.reserve(texts.count);
    for (quint32 i = 0; i < texts.count; ++i) {
        const quint32 text = m_reader.reference(texts, i);
        names.append(m_reader.string(text));
        if (names.last().isNull())
            return false;
    }
    return true;
}

} // namespace Platform
