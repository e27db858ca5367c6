#pragma once

#include <QByteArray>
#include <QString>

#include <sys/types.h>

/// The file that holds the size record, made to be replaced at every log line.
///
/// A spare file beside it ("<name>.spare") is overwritten without truncating, cut to length and exchanged with the
/// record, which costs a tenth of a new temporary file. A process killed at any moment leaves the old record or the new
/// one. A reader that keeps the old file open would see it change, so this suits a record that only its own process
/// reads, at start. Where files cannot be exchanged, a temporary file and rename do it. Not synced: after a loss of
/// power the record may be old. For one thread.
class LogRecordFile final {
public:
    enum class Method { Exchange, Rename };

    explicit LogRecordFile(const QString& path, Method method = Method::Exchange);
    ~LogRecordFile();
    LogRecordFile(const LogRecordFile&) = delete;
    LogRecordFile& operator=(const LogRecordFile&) = delete;

    /// Makes @p bytes the content. False when that is not possible now (no folder, full disk); the old record then
    /// stays and the next call tries again.
    bool replace(QByteArrayView bytes);

private:
    struct Side {
        int descriptor = -1;
        off_t length = 0;
    };
    enum class Outcome { Done, Failed, Missing, Unsupported };

    bool openSides();
    bool openSide(Side& side, const QByteArray& name);
    void closeSides();
    bool sidesAreLinked() const;
    Outcome exchange(QByteArrayView bytes);

    QString m_path;
    QByteArray m_folder;
    QByteArray m_name;
    QByteArray m_spareName;
    Method m_method;
    int m_folderDescriptor = -1;
    Side m_record;
    Side m_spare;
    unsigned m_turns = 0;
};
