#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>

using namespace Qt::StringLiterals;

/// What survives a restart: the file being written and the bytes counted in each of the three files.
struct LogRecord {
    static inline const std::array<QString, 3> FileNames{
        u"QenCloud-Info-1.log"_s, u"QenCloud-Info-2.log"_s, u"QenCloud-Info-3.log"_s};
    /// Longer files are no record.
    static constexpr qint64 SizeLimit = 64 * 1024;

    QString currentLogName = FileNames[0];
    std::array<qint64, 3> logInfos{};

    /// Place of @p name among the three, nothing for any other name.
    static std::optional<size_t> indexOf(const QString& name);
    /// Place of the successor of @p name in the ring; the first one after an unknown name.
    static size_t indexAfter(const QString& name);
};

/// The record in a keyed archive; nothing when @p bytes hold none or one without entries. A count that is missing, of
/// another type or negative reads as 0.
std::optional<LogRecord> decodedLogRecord(const QByteArray& bytes);
QByteArray encodedLogRecord(const LogRecord& record);
