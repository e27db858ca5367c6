#pragma once

#include "Http.h"

#include <QDateTime>
#include <QJsonArray>

#include <deque>

namespace Reference {

/// The last requests with what they carried and what was answered, for the operator and for tests. In memory only.
class RequestLog final {
public:
    struct Entry {
        qint64 number = 0; ///< counts up from 1
        QDateTime time;
        Request request;
        QJsonObject fields; ///< the opened parameters
        QString fault;      ///< name of the fault that it met
        int status = 0;     ///< of the answer; 0: none was sent
        QByteArray answer;
    };

    /// @param limit  entries kept
    explicit RequestLog(size_t limit = 200) : m_limit(limit) {}

    void add(Entry entry);
    void clear() { m_entries.clear(); }
    /// Oldest first, secrets masked; "body_base64" is the raw body. @param path  empty: all  @param after  only later
    /// numbers
    QJsonArray toJson(const QString& path, qint64 after) const;
    const std::deque<Entry>& entries() const { return m_entries; }

private:
    size_t m_limit;
    qint64 m_lastNumber = 0;
    std::deque<Entry> m_entries;
};

} // namespace Reference
