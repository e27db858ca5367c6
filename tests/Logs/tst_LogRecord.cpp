#include "ArchiveValue.h"
#include "KeyedArchiver.h"
#include "LogRecord.h"
#include "LogRecordFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;
using Platform::KeyedArchiver;

namespace {

QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(absent)");
}

void put(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

bool operator==(const LogRecord& left, const LogRecord& right) {
    return left.currentLogName == right.currentLogName && left.logInfos == right.logInfos;
}

} // namespace

class tst_LogRecord : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void ringOrder() {
        QCOMPARE(LogRecord::indexAfter(u"QenCloud-Info-1.log"_s), size_t(1));
        QCOMPARE(LogRecord::indexAfter(u"QenCloud-Info-2.log"_s), size_t(2));
        QCOMPARE(LogRecord::indexAfter(u"QenCloud-Info-3.log"_s), size_t(0));
        for (const char* name : {"QenCloud-Info-4.log", "qencloud-info-1.log", "", "../QenCloud-Info-1.log"})
            QCOMPARE(LogRecord::indexAfter(QString::fromLatin1(name)), size_t(0));
    }

    void comesBack() {
        for (const qint64 count : {0LL, 255LL, 65536LL, 5242880LL, 4294967296LL, 0x7fffffffffffffffLL}) {
            const LogRecord record{LogRecord::FileNames[2], {count, 7, count}};
            const auto decoded = decodedLogRecord(encodedLogRecord(record));
            QVERIFY(decoded && *decoded == record);
        }
    }

    void unreadable_data() {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray whole = encodedLogRecord(LogRecord());
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("text") << QByteArray("{\"currentLogName\": 1}");
        QTest::newRow("half") << whole.left(whole.size() / 2);
        QTest::newRow("cut by one") << whole.chopped(1);
        QTest::newRow("zeroes") << QByteArray(whole.size(), 0);
        QTest::newRow("empty dictionary") << KeyedArchiver::archivedData(ArchiveValue::Dictionary());
        QTest::newRow("another root") << KeyedArchiver::archivedData(LogRecord::FileNames[0]);
    }
    void unreadable() {
        QFETCH(QByteArray, bytes);
        QVERIFY(!decodedLogRecord(bytes));
    }

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
            QVERIFY2(record, where.constData());
            QVERIFY2(LogRecord::indexOf(record->currentLogName), where.constData());
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
