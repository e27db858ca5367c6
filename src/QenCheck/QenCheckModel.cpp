#include "QenCheckModel.h"

#include "ArchiveValue.h"

void QenCheckModel::spreadDictToModel(const Platform::ArchiveValue& dictionary) {
    const auto take = [&dictionary](QStringView key, QString& field) {
        const Platform::ArchiveValue& value = dictionary.value(key);
        if (value.isString())
            field = value.string();
    };
    take(u"title", m_title);
    take(u"detail", m_detail);
    take(u"selectorName", m_selectorName);
    take(u"mainKey", m_mainKey);
    take(u"keyword", m_keyword);
}

void QenCheckModel::setReason(const QString& reason, const QString& code) {
    const std::lock_guard lock(m_mutex);
    m_reason = reason;
    m_reasonCode = code;
}

void QenCheckModel::setNote(const QString& note) {
    const std::lock_guard lock(m_mutex);
    m_note = note;
}
