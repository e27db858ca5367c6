#pragma once

#include "LogRecord.h"

/// Encodes one record again and again at little cost: as long as only one count changes and keeps its width, its bytes
/// are put into the archive made before. For one thread.
class LogRecordImage final {
public:
    /// The same bytes as encodedLogRecord(@p record). @p changing is the count expected to change until the next call.
    /// Valid until the next call.
    QByteArrayView encoded(const LogRecord& record, size_t changing);

private:
    bool fits(const LogRecord& record, size_t changing) const;
    void prepare(const LogRecord& record, size_t changing);

    QByteArray m_bytes;
    LogRecord m_record;
    size_t m_changing = 0;
    qsizetype m_place = -1;
    qsizetype m_width = 0;
};
