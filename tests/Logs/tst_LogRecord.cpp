#include "ArchiveValue.h"
#include "KeyedArchiver.h"
#include "LogRecord.h"
#include "LogRecordFile.h"
#include "LogRecordImage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

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

    /// Whatever changes from line to line, the quick way gives the bytes of the general one.
    void imageEqualsTheGeneralArchive() {
        LogRecordImage image;
        LogRecord record;
        size_t current = 0;
        const auto compare = [&] {
            const QByteArray expected = encodedLogRecord(record);
            QCOMPARE(image.encoded(record, current).toByteArray(), expected);
            const auto decoded = decodedLogRecord(expected);
            QVERIFY(decoded && *decoded == record);
        };
        const QList<qint64> edges{0, 1, 2, 3, 254, 255, 256, 257, 258, 514, 65534, 65535, 65536, 65537, 99999, 100000,
            100001, 16843009, 5242880, 33686018, 100000, 4294967, 4294967295, 4294967296, 1LL << 40, 0x01010101,
            0x7fffffffffffffff, 100000, 7};
        for (const qint64 others : {0LL, 255LL, 65536LL, 5242880LL, 16843009LL}) {
            record.logInfos = {others, others, others + 1};
            for (current = 0; current < 3; ++current) {
                record.currentLogName = LogRecord::FileNames[current];
                for (const qint64 count : edges) {
                    record.logInfos[current] = count;
                    compare();
                }
            }
        }
        current = 1;
        for (int i = 0; i < 2000; ++i) {
            record.logInfos[1] += QRandomGenerator::global()->bounded(200);
            if (i % 500 == 0)
                record.currentLogName = LogRecord::FileNames[static_cast<size_t>(i / 500 % 3)];
            compare();
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

    void replaced_data() {
        QTest::addColumn<int>("method");
        QTest::newRow("exchange") << int(LogRecordFile::Method::Exchange);
        QTest::newRow("rename") << int(LogRecordFile::Method::Rename);
    }
    void replaced() {
        QFETCH(int, method);
        QTemporaryDir root;
        const QString folder = root.filePath(u"f"_s);
        const QString path = folder + u"/record"_s;
        LogRecordFile file(path, LogRecordFile::Method(method));
        QVERIFY(!file.replace(QByteArray("no folder")));
        QDir().mkpath(folder);
        put(path + u".spare"_s, QByteArray(3000, 'o'));
        for (const qsizetype size : {10, 600, 3, 0, 600, 5000, 599, 1}) {
            const QByteArray bytes(size, char('a' + size % 20));
            QVERIFY(file.replace(bytes));
            QCOMPARE(contentOf(path), bytes);
        }
        for (const QString& gone : {path, path + u".spare"_s}) {
            QFile::remove(gone);
            QVERIFY(file.replace(QByteArray("again")));
            QCOMPARE(contentOf(path), QByteArray("again"));
        }
        QVERIFY(QDir(folder).removeRecursively());
        QVERIFY(!file.replace(QByteArray("no folder")));
        QDir().mkpath(folder);
        QVERIFY(file.replace(QByteArray("back")));
        // Another file under the same name is noticed after a while.
        put(path + u".new"_s, "foreign");
        QVERIFY(std::rename(qPrintable(path + u".new"_s), qPrintable(path)) == 0);
        for (int i = 0; i < 200; ++i)
            QVERIFY(file.replace(QByteArray::number(i)));
        QCOMPARE(contentOf(path), QByteArray("199"));
        const QString own = folder + u"/own"_s;
        QVERIFY(LogRecordFile(own, LogRecordFile::Method(method)).replace(QByteArray("x")));
        QCOMPARE(int(QFile::permissions(own) & 0x77), 0);
        LogRecordFile misled(folder, LogRecordFile::Method(method));
        QVERIFY(!misled.replace(QByteArray("a folder has the name")));
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
            for (size_t i = 0; i < 3; ++i) {
                QVERIFY2(record->logInfos[i] >= 0 && record->logInfos[i] < Limit + 200, where.constData());
                QVERIFY2(QFileInfo(ring + u'/' + LogRecord::FileNames[i]).size() < Limit + 200, where.constData());
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_LogRecord)
#include "tst_LogRecord.moc"
