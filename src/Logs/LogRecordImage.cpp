#include "LogRecordImage.h"

#include <algorithm>
#include <limits>

namespace {

/// Bytes that an integer takes in the archive; 0 for those that are always encoded anew.
qsizetype widthOf(qint64 count) {
    if (count < 0 || count > std::numeric_limits<quint32>::max())
        return 0;
    if (count > std::numeric_limits<quint16>::max())
        return 4;
    return count > std::numeric_limits<quint8>::max() ? 2 : 1;
}

/// A count of @p width bytes, all equal to @p byte.
qint64 probe(qsizetype width, quint8 byte) {
    qint64 value = 0;
    for (qsizetype i = 0; i < width; ++i)
        value = value << 8 | byte;
    return value;
}

/// Equal numbers may share one object, so an image made for unequal counts says nothing about equal ones.
bool isUnlikeTheOthers(const LogRecord& record, size_t place) {
    return std::count(record.logInfos.begin(), record.logInfos.end(), record.logInfos[place]) == 1;
}

} // namespace

bool LogRecordImage::fits(const LogRecord& record, size_t changing) const {
    if (m_place < 0 || changing != m_changing || widthOf(record.logInfos[changing]) != m_width ||
        record.currentLogName != m_record.currentLogName || !isUnlikeTheOthers(record, changing))
        return false;
    for (size_t i = 0; i < record.logInfos.size(); ++i) {
        if (i != changing && record.logInfos[i] != m_record.logInfos[i])
            return false;
    }
    return true;
}

/// Finds the place of the changing count as the bytes in which two archives differ that are alike but for that count.
void LogRecordImage::prepare(const LogRecord& record, size_t changing) {
    m_record = record;
    m_changing = changing;
    m_width = widthOf(record.logInfos[changing]);
    m_place = -1;
    m_bytes = encodedLogRecord(record);
    if (m_width == 0 || !isUnlikeTheOthers(record, changing))
        return;

    QByteArray images[2];
    quint8 byte = 1;
    for (QByteArray& image : images) {
        LogRecord probed = record;
        do
            probed.logInfos[changing] = probe(m_width, byte++);
        while (!isUnlikeTheOthers(probed, changing));
        image = encodedLogRecord(probed);
    }
    if (images[0].size() != m_bytes.size() || images[1].size() != m_bytes.size())
        return;
    const auto first =
        std::mismatch(images[0].cbegin(), images[0].cend(), images[1].cbegin()).first - images[0].cbegin();
    const auto behind = first + m_width;
    if (behind > m_bytes.size() ||
        !std::equal(images[0].cbegin() + behind, images[0].cend(), images[1].cbegin() + behind))
        return;
    m_place = first;
}

QByteArrayView LogRecordImage::encoded(const LogRecord& record, size_t changing) {
    if (!fits(record, changing)) {
        prepare(record, changing);
        return m_bytes;
    }
    char* const bytes = m_bytes.data() + m_place;
    for (qsizetype i = 0; i < m_width; ++i)
        bytes[i] = static_cast<char>(record.logInfos[changing] >> 8 * (m_width - 1 - i) & 0xff);
    return m_bytes;
}
