#include "LogRecord.h"
#include "TestFiles.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <unistd.h>

using namespace Qt::StringLiterals;

class tst_LogRecord : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void stored() {
        QTemporaryDir root;
        const QString folder = root.filePath(u"f"_s);
        const QString path = folder + u"/record"_s;
        const QString spare = path + u".spare"_s;
        LogRecord record;
        const auto isStored = [&] {
            ++record.logInfos[0];
            return LogRecordFile(path).replace(encodedLogRecord(record)) && contentOf(path) == encodedLogRecord(record);
        };
        QVERIFY(!isStored()); // no folder
        QDir().mkpath(folder);
        put(spare, QByteArray(3000, 'o'));
        // Longer and shorter archives in turn.
        for (const qint64 count : {10LL, 0x7fffffffffffffLL, 3LL, 70000LL, 0LL}) {
            record.logInfos = {count, count, count};
            QVERIFY(isStored() && isStored());
            QCOMPARE(decodedLogRecord(contentOf(path)).value_or(LogRecord()).logInfos, record.logInfos);
        }
        for (const QString& gone : {path, spare}) {
            QVERIFY(QFile::remove(gone));
            QVERIFY(isStored() && isStored());
        }
        QCOMPARE(int(QFile::permissions(path) & 0x77), 0);
        // Something else in the spare's place or the record's own.
        QVERIFY(QFile::remove(spare) && QFile::link(path, spare));
        QVERIFY(isStored() && isStored());
        QVERIFY(QFile::remove(spare) && QFile::remove(path) && QDir().mkpath(path));
        QVERIFY(isStored() && isStored());
        QVERIFY(QDir(folder).removeRecursively());
        QVERIFY(!isStored());
        QDir().mkpath(folder);
        QVERIFY(isStored());
    }

    /// A process killed at any moment leaves a whole record, old or new, and a ring that goes on.
    void killedWriter() {
        const int rounds =
            qEnvironmentVariableIntValue("MAV_KILLS") > 0 ? qEnvironmentVariableIntValue("MAV_KILLS") : 60;
        constexpr qint64 Limit = 20000;
        QTemporaryDir root;
        const QString ring = root.filePath(u"ring"_s);
        const QString path = root.filePath(u"record"_s);
        for (int round = 0; round < rounds; ++round) {
            QProcess writer;
            writer.start(QStringLiteral(LOG_WRITER), {ring, path, QString::number(Limit)});
            QVERIFY(writer.waitForReadyRead(20000));
            QTest::qSleep(static_cast<int>(QRandomGenerator::global()->bounded(20)));
            writer.kill();
            QVERIFY(writer.waitForFinished());

            const auto record = decodedLogRecord(contentOf(path));
            const QByteArray where = QByteArray("round ") + QByteArray::number(round);
            QVERIFY2(record && LogRecord::indexOf(record->currentLogName), where.constData());
            // A line is on its way to the disk before it is counted, and counted before the next one comes.
            constexpr qint64 LongestLine = 100;
            const size_t current = LogRecord::indexOf(record->currentLogName).value();
            const qint64 uncounted = QFileInfo(ring + u'/' + record->currentLogName).size() - record->logInfos[current];
            QVERIFY2(
                uncounted >= 0 && uncounted < LongestLine, (where + ": " + QByteArray::number(uncounted)).constData());
            for (size_t i = 0; i < 3; ++i) {
                QVERIFY2(record->logInfos[i] >= 0 && record->logInfos[i] < Limit + 200, where.constData());
                QVERIFY2(QFileInfo(ring + u'/' + LogRecord::FileNames[i]).size() < Limit + 200, where.constData());
            }
        }
    }

    /// Files that are ours in a folder that is not: they cannot be deleted, and are emptied instead.
    void folderOfSomebodyElse() {
        constexpr uid_t Nobody = 65534;
        const bool isRoot = geteuid() == 0;
        QTemporaryDir root;
        const QString ring = root.filePath(u"ring"_s);
        const QString program = root.filePath(u"log_writer"_s);
        QVERIFY(QFile::copy(QStringLiteral(LOG_WRITER), program) && QDir().mkpath(ring));
        QStringList owned{root.path(), program, ring};
        for (const QString& name : LogRecord::FileNames) {
            owned << ring + u'/' + name;
            put(owned.last(), QByteArray(3000, 'x'));
        }
        for (const QString& path : isRoot ? owned : QStringList())
            QVERIFY(chown(qPrintable(path), Nobody, Nobody) == 0);
        QVERIFY(QFile::setPermissions(ring, QFile::ReadOwner | QFile::ExeOwner));
        QProcess writer;
        writer.setChildProcessModifier([isRoot] {
            if (isRoot && (setgid(Nobody) != 0 || setuid(Nobody) != 0))
                _exit(1);
        });
        writer.start(program, {ring, root.filePath(u"record"_s), u"2000"_s});
        QVERIFY(writer.waitForReadyRead(20000));
        writer.kill();
        QVERIFY(writer.waitForFinished());
        QVERIFY(QFile::setPermissions(ring, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        int written = 0;
        for (const QString& name : LogRecord::FileNames) {
            const QByteArray content = contentOf(ring + u'/' + name);
            QVERIFY2(!content.contains('x') && content.size() < 2200, content.constData());
            written += content.contains(": number ") ? 1 : 0;
        }
        QVERIFY(written >= 2); // one may just have been emptied
    }
};

QTEST_GUILESS_MAIN(tst_LogRecord)
#include "tst_LogRecord.moc"
