#include "RequestLog.h"

#include "Fields.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

/// Larger bodies are no client's; of them only the size is kept, so that the log stays small.
constexpr qsizetype largestKeptBody = 64 * 1024;

QJsonArray headersJson(const HeaderList& headers) {
    QJsonArray list;
    for (const auto& [name, value] : headers)
        list.append(QJsonArray{QString::fromLatin1(name), QString::fromUtf8(value)});
    return list;
}

QJsonObject entryJson(const RequestLog::Entry& entry) {
    return {{u"number"_s, entry.number}, {u"time"_s, entry.time.toString(Qt::ISODateWithMs)},
        {u"method"_s, QString::fromLatin1(entry.request.method)}, {u"path"_s, entry.request.path},
        {u"query"_s, entry.request.query.toString(QUrl::FullyEncoded)},
        {u"headers"_s, headersJson(entry.request.headers)},
        {u"body_base64"_s, QString::fromLatin1(entry.request.body.toBase64())},
        {u"fields"_s, withoutSecrets(entry.fields)}, {u"client_certificate"_s, entry.request.peer},
        {u"fault"_s, entry.fault}, {u"status"_s, entry.status},
        {u"answer"_s, withoutSecrets(QJsonDocument::fromJson(entry.answer).object())}};
}

} // namespace

void RequestLog::add(Entry entry) {
    entry.number = ++m_lastNumber;
    entry.time = QDateTime::currentDateTime();
    if (entry.request.body.size() > largestKeptBody)
        entry.request.body.clear();
    if (entry.answer.size() > largestKeptBody)
        entry.answer.clear();
    m_entries.push_back(std::move(entry));
    if (m_entries.size() > m_limit)
        m_entries.pop_front();
}

QJsonArray RequestLog::toJson(const QString& path, qint64 after) const {
    QJsonArray list;
    for (const Entry& entry : m_entries) {
        if (entry.number > after && (path.isEmpty() || entry.request.path == path))
            list.append(entryJson(entry));
    }
    return list;
}

} // namespace Reference
