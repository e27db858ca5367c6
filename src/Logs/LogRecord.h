#pragma once

#include "UniqueFd.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>

#include <sys/types.h>

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

/// The file that holds the size record, made to be replaced at every log line.
///
/// A spare file beside it ("<name>.spare") is overwritten without truncating, cut to length and exchanged with the
/// record, which costs a tenth of a new temporary file. A process killed at any moment leaves the old record or the new
/// one. A reader that keeps the old file open would see it change, so this suits a record that only its own process
/// reads, at start. Where files cannot be exchanged, a temporary file and rename do it. Not synced: after a loss of
/// power the record may be old. For one thread.
class LogRecordFile final {
public:
    explicit LogRecordFile(const QString& path);

    /// Makes @p bytes the content. False when that is not possible now (no folder, full disk); the old record then
    /// stays and the next call tries again.
    bool replace(QByteArrayView bytes);

private:
    struct Side {
        Platform::UniqueFd descriptor;
        off_t length = 0;
    };

    bool openSides();
    bool openSide(Side& side, const QByteArray& name);
    void closeSides();
    bool sidesAreLinked() const;
    /// False with errno.
    bool exchange(QByteArrayView bytes);

    QString m_path;
    QByteArray m_folder;
    QByteArray m_name;
    QByteArray m_spareName;
    bool m_canExchange = true;
    Platform::UniqueFd m_folderDescriptor;
    Side m_record;
    Side m_spare;
    unsigned m_turns = 0;
};
