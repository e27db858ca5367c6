#include "ArchiveValue.h"
#include "FileSizeLimit.h"
#include "HostTools.h"
#include "KeyedArchiver.h"
#include "LogRedaction.h"
#include "QenLogHelper.h"
#include "TestFiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cstdio>
#include <ctime>
#include <memory>
#include <semaphore>
#include <thread>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

const QByteArray Frame = " : -[QenLogHelper writeLog:type:]_block_invoke:[148] : ";
constexpr qint64 StampSize = 19;
/// Bytes of a line around its message: stamp, fixed text, blank and line end.
const qint64 LineFrame = StampSize + Frame.size() + 2;

/// A log in a folder of its own that can be opened again and again.
struct LogPlace {
    QTemporaryDir root;
    QString ring = root.filePath(u"Logs"_s);
    QString record = root.filePath(u"info/QenCloudLogInfo.data"_s);

    std::unique_ptr<QenLogHelper> open(qint64 limit = 0x500000, std::function<void(const QString&)> echo = {}) {
        LogWorld world = LogWorld::system();
        world.ringDirectory = ring;
        world.sizeRecord = record;
        world.limit = limit;
        world.echo = std::move(echo);
        auto log = std::make_unique<QenLogHelper>(world);
        log->drain();
        return log;
    }
    QString path(int number) const { return ring + u"/QenCloud-Info-%1.log"_s.arg(number); }
    QByteArray bytes(int number) const { return contentOf(path(number)); }
    /// The messages in a file, joined by blanks.
    QString messages(int number) const {
        QStringList result;
        const QRegularExpression line(u"\\[148\\] : (.*) \n"_s);
        for (auto it = line.globalMatch(QString::fromUtf8(bytes(number))); it.hasNext();)
            result << it.next().captured(1);
        return result.join(u' ');
    }
    void fill(int number, qint64 size) const { put(path(number), QByteArray(size, 0)); }
    LogRecord recorded() const { return decodedLogRecord(contentOf(record)).value_or(LogRecord{{}, {-1, -1, -1}}); }
};

QString nameOf(int number) {
    return u"QenCloud-Info-%1.log"_s.arg(number);
}

/// A message that makes a line of @p size bytes.
QString messageFor(qint64 size) {
    return QString(size - LineFrame, u'm');
}

void write(QenLogHelper& log, const QStringList& messages) {
    for (const QString& message : messages)
        log.writeLog(message);
    QVERIFY(log.drain());
}

qsizetype openDescriptors() {
    return QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

class tst_QenLogHelper : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void lines() {
        LogPlace place;
        QStringList console;
        auto log = place.open(0x500000, [&](const QString& text) { console << text; });
        write(*log, {u"无法找到日志目录"_s, u"a\nb%s%1%@\\"_s, QString(QChar(0xd83d)), u"next"_s});
        const QByteArray text = place.bytes(1);
        qsizetype start = 0;
        // Half a character is none, and does not turn up in the next line.
        for (const QByteArray& message : {"无法找到日志目录"_ba, "a\nb%s%1%@\\"_ba, "\xef\xbf\xbd"_ba, "next"_ba}) {
            QCOMPARE(text.mid(start + StampSize, Frame.size() + message.size() + 2), Frame + message + " \n");
            start += LineFrame + message.size();
        }
        QCOMPARE(text.size(), start);
        QCOMPARE(place.recorded().logInfos[0], start);
        QCOMPARE(console.size(), 4);
        QCOMPARE(console[3],
            u"-[QenLogHelper writeLog:type:]_block_invoke [Line 150] "_s +
                QString::fromUtf8(text.right(LineFrame + 4)));
    }

    void stampIsInOneZone() {
        for (const char* zone : {"America/New_York", "UTC", "Asia/Kathmandu"}) {
            qputenv("TZ", zone);
            tzset();
            QCOMPARE(LogRing::dateString(0), u"1970-01-01 08:00:00"_s);
            QCOMPARE(LogRing::dateString(4102444800), u"2100-01-01 08:00:00"_s); // past 32 bits
        }
        qunsetenv("TZ");
        tzset();
        const QDateTime now = QDateTime::currentDateTimeUtc().addSecs(8 * 3600);
        QVERIFY(qAbs(QDateTime::fromString(QenLogHelper::currentDateString() + u'Z', u"yyyy-MM-dd HH:mm:sst"_s)
                         .secsTo(now)) <= 2);
    }

    void ringTurns() {
        LogPlace place;
        place.fill(2, 30);
        auto log = place.open(200);
        const QString m = messageFor(100);
        // Two lines fill a file; the third goes to the next one, whose old content goes.
        write(*log, {m, m, m, m, m, m});
        QCOMPARE(place.bytes(1).size(), 200);
        QCOMPARE(place.bytes(2).size(), 200);
        QCOMPARE(place.bytes(3).size(), 200);
        QCOMPARE(place.recorded().logInfos, (std::array<qint64, 3>{200, 200, 200}));
        write(*log, {u"again"_s});
        QCOMPARE(log->currentLogName(), nameOf(1));
        QCOMPARE(place.messages(1), u"again"_s);
        QCOMPARE(place.recorded().currentLogName, nameOf(1));
        log.reset();
        log = place.open(200);
        write(*log, {u"later"_s});
        QCOMPARE(place.messages(1), u"again later"_s);
        QCOMPARE(QDir(place.ring).entryList(QDir::Files), QStringList({nameOf(1), nameOf(2), nameOf(3)}));
    }

    void exactLimit() {
        for (const qint64 room : {1, 0}) {
            LogPlace place;
            place.fill(1, 0x500000 - room - 100);
            auto log = place.open();
            write(*log, {messageFor(100)});
            QCOMPARE(log->currentLogName(), nameOf(1));
            QCOMPARE(place.open()->currentLogName(), nameOf(room ? 1 : 2));
        }
    }

    void staleCountAtStart_data() {
        QTest::addColumn<bool>("isFull");
        QTest::newRow("full by its old count") << true;
        QTest::newRow("has room by its old count") << false;
    }
    void staleCountAtStart() {
        QFETCH(bool, isFull);
        LogPlace place;
        place.fill(1, 1000);
        place.fill(2, 500);
        put(place.record, encodedLogRecord({nameOf(1), {0, isFull ? 1000 : 40, 7}}));
        auto log = place.open(1000);
        QCOMPARE(log->currentLogName(), nameOf(2));
        QCOMPARE(place.bytes(2), QByteArray());
        QCOMPARE(place.recorded().currentLogName, nameOf(1));
        write(*log, {messageFor(100)});
        QCOMPARE(log->currentLogName(), nameOf(isFull ? 3 : 2));
        QCOMPARE(place.recorded().currentLogName, nameOf(isFull ? 3 : 1));
        QCOMPARE(place.recorded().logInfos,
            (isFull ? std::array<qint64, 3>{1000, 1000, 100} : std::array<qint64, 3>{1000, 140, 7}));
    }

    void recordAtStart_data() {
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<int>("file");
        const auto archive = [](const ArchiveValue& name, const ArchiveValue& info) {
            return Platform::KeyedArchiver::archivedData(
                ArchiveValue::Dictionary{{u"currentLogName"_s, name}, {u"info"_s, info}});
        };
        const ArchiveValue two(nameOf(2));
        QTest::newRow("absent") << QByteArray() << 1;
        QTest::newRow("garbage") << QByteArray(300, 'g') << 1;
        QTest::newRow("cut") << archive(two, ArchiveValue::Dictionary()).chopped(40) << 1;
        QTest::newRow("second file") << encodedLogRecord({nameOf(2), {1, 2, 3}}) << 2;
        QTest::newRow("no counts") << archive(two, {}) << 2;
        QTest::newRow("a list for the counts") << archive(two, QStringList{nameOf(2)}) << 1;
        QTest::newRow("a count is a text") << archive(two, ArchiveValue::Dictionary{{nameOf(2), nameOf(2)}}) << 2;
        QTest::newRow("negative count") << archive(two, ArchiveValue::Dictionary{{nameOf(2), -5}}) << 2;
        QTest::newRow("empty dictionary") << Platform::KeyedArchiver::archivedData(ArchiveValue::Dictionary()) << 1;
        QTest::newRow("another root") << Platform::KeyedArchiver::archivedData(two) << 1;
        QTest::newRow("no name") << archive(7, ArchiveValue::Dictionary()) << 1;
        QTest::newRow("unknown name") << encodedLogRecord({u"other.log"_s, {1, 2, 3}}) << 1;
        QTest::newRow("name leads elsewhere") << encodedLogRecord({u"../victim"_s, {1, 2, 3}}) << 1;
    }
    void recordAtStart() {
        QFETCH(QByteArray, record);
        QFETCH(int, file);
        LogPlace place;
        put(place.record, record);
        const QString victim = place.root.filePath(u"victim"_s);
        put(victim, "keep");
        auto log = place.open();
        write(*log, {u"a"_s});
        QCOMPARE(place.messages(file), u"a"_s);
        QCOMPARE(place.recorded().currentLogName, nameOf(file));
        QCOMPARE(place.recorded().logInfos[size_t(file - 1)], LineFrame + 1);
        QCOMPARE(contentOf(victim), "keep");
    }

    void filesTakenAway() {
        LogPlace place;
        auto log = place.open();
        write(*log, {u"1"_s});
        QFile::remove(place.path(1));
        write(*log, {u"2"_s, u"3"_s});
        QCOMPARE(place.messages(1), u"2 3"_s);
        QCOMPARE(place.recorded().logInfos[0], 2 * (LineFrame + 1));
        QFile::rename(place.path(1), place.path(9));
        write(*log, {u"4"_s});
        QCOMPARE(place.messages(1), u"4"_s);
        // Lines are lost while the folder is gone, and only then.
        const QString away = place.root.filePath(u"away"_s);
        QVERIFY(QDir().rename(place.ring, away));
        QVERIFY(QDir(away).removeRecursively());
        write(*log, {u"5"_s, u"6"_s});
        QDir().mkpath(place.ring);
        write(*log, {u"7"_s});
        QCOMPARE(place.messages(1), u"7"_s);
        // Neither does a file that cannot be written stop the log, nor a folder in its place.
        QFile::remove(place.path(1));
        QDir().mkpath(place.path(1));
        write(*log, {u"8"_s});
        QDir().rmdir(place.path(1));
        write(*log, {u"9"_s});
        QCOMPARE(place.messages(1), u"9"_s);
        // Another file under the name is noticed after a while.
        place.fill(5, 0);
        QVERIFY(std::rename(qPrintable(place.path(5)), qPrintable(place.path(1))) == 0);
        write(*log, QStringList(100, u"x"_s));
        QVERIFY(place.messages(1).size() > 60);
    }

    void placeThatCannotBe() {
        LogPlace place;
        const QString obstacle = place.root.filePath(u"file"_s);
        put(obstacle);
        place.ring = obstacle + u"/Logs"_s;
        place.record = obstacle + u"/info/record"_s;
        auto log = place.open();
        write(*log, {u"lost"_s});
        QCOMPARE(log->rootDirectory(), place.ring);
        QFile::remove(obstacle);
        QDir().mkpath(place.ring);
        QDir().mkpath(QFileInfo(place.record).path());
        write(*log, {u"kept"_s});
        QCOMPARE(place.messages(1), u"kept"_s);
        QCOMPARE(place.recorded().currentLogName, nameOf(1));
    }

    void fullDisk() {
        LogPlace place;
        auto log = place.open();
        {
            const FileSizeLimit limit(1000);
            // The third line would fit in part only.
            write(*log, {messageFor(400), messageFor(400), messageFor(400), messageFor(100)});
        }
        QCOMPARE(place.bytes(1).size(), 900);
        QCOMPARE(place.recorded().logInfos[0], 1300);
        write(*log, {u"room again"_s});
        QVERIFY(place.bytes(1).endsWith(": room again \n"));
    }

    void callersNeverWait() {
        LogPlace place;
        std::counting_semaphore<> gate{0};
        auto log = place.open(0x500000, [&](const QString&) { gate.acquire(); });
        std::vector<std::thread> writers;
        for (int writer = 0; writer < 4; ++writer) {
            writers.emplace_back([&log, writer] {
                for (int i = 0; i < 500; ++i)
                    log->writeLog(u"%1/%2"_s.arg(writer).arg(i));
            });
        }
        for (std::thread& writer : writers)
            writer.join();
        QVERIFY(!log->drain(std::chrono::milliseconds(20)));
        QCOMPARE(place.messages(1), QString());
        gate.release(2000);
        QVERIFY(log->drain());
        const QStringList lines = place.messages(1).split(u' ');
        QCOMPARE(lines.size(), 2000);
        for (int writer = 0; writer < 4; ++writer) {
            const QStringList own = lines.filter(QRegularExpression(u"^%1/"_s.arg(writer)));
            for (int i = 0; i < 500; ++i)
                QCOMPARE(own.at(i), u"%1/%2"_s.arg(writer).arg(i));
        }
    }

    void linesComeWithoutBeingAskedFor() {
        LogPlace place;
        const auto log = place.open();
        for (const auto& burst : {u"first"_s, u"second"_s}) {
            log->writeLog(burst);
            log->writeLog(u"and more"_s);
            const QString whole = burst + u" and more"_s;
            QTRY_VERIFY_WITH_TIMEOUT(place.messages(1).endsWith(whole), 5000);
            // Draining with nothing to write must not let the next line out of its burst, nor keep it.
            QVERIFY(log->drain());
        }
        QCOMPARE(place.messages(1), u"first and more second and more"_s);
    }

    void endingLosesNothing() {
        LogPlace place;
        place.open()->writeLog(u"first"_s);
        const qsizetype before = openDescriptors();
        for (int i = 0; i < 5; ++i)
            place.open()->writeLog(u"%1"_s.arg(i));
        QCOMPARE(place.messages(1), u"first 0 1 2 3 4"_s);
        QCOMPARE(openDescriptors(), before);
    }

    void homeLookUp() {
        const auto home = [](const char* text) {
            return LogFolders::homeIn(QString::fromLatin1(text)).value_or(u"(none)"_s);
        };
        QCOMPARE(home(""), u"(none)"_s);
        QCOMPARE(home("PATH=/bin\nUSER=x\n"), u"(none)"_s);
        QCOMPARE(home("PATH=/bin\nHOME=/Users/x y\nUSER=x\n"), u"/Users/x y"_s);
        QCOMPARE(home("HOME=/a\nHOME=/b\n"), u"/a"_s); // the first line decides, another variable's, too
        QCOMPARE(home("TOOL_HOME=/opt\nHOME=/a\n"), u"(none)"_s);
        QCOMPARE(home("HOME=\n"), u"(none)"_s);
    }

    void standardPlaces() {
        QTemporaryDir home;
        QTemporaryDir pack;
        const QByteArray before = qgetenv("HOME");
        qputenv("HOME", home.path().toLocal8Bit());
        LogWorld world = LogWorld::system();
        world.echo = {};
        {
            QenLogHelper log(world);
            const QString logs = home.filePath(u"Library/Logs/QenCloud/Logs"_s);
            QCOMPARE(log.rootDirectory(), logs);
            QCOMPARE(log.desktopDirectory(), home.filePath(u"Desktop"_s));
            write(log, {u"a"_s});
            QCOMPARE(log.logInfoPath(), home.filePath(u".AppData/QenCloud/QenCloud.EXE$/QenCloudLogInfo.data"_s));
            for (const QString& own : {logs, QFileInfo(log.logInfoPath()).path(), logs + u'/' + nameOf(1),
                     logs + u'/' + nameOf(3), log.logInfoPath()})
                QCOMPARE(int(QFile::permissions(own) & 0x77), 0);
        }
        // Where the shell knows the command, its answer decides.
        put(pack.filePath(u"ENV"_s), "#!/bin/sh\necho A=b\necho HOME=" + home.path().toLocal8Bit() + "/other\n", true);
        const QStringList folders = Platform::HostTools::folders();
        Platform::HostTools::setFolders({pack.path()});
        {
            QenLogHelper log(world);
            QCOMPARE(log.rootDirectory(), home.filePath(u"other/Library/Logs/QenCloud/Logs"_s));
            QCOMPARE(log.desktopDirectory(), home.filePath(u"other/Desktop"_s));
        }
        Platform::HostTools::setFolders(folders);
        qputenv("HOME", before);
    }

    void redaction() {
        const auto text = [](const char* json) { return redacted(QJsonDocument::fromJson(json).array().at(0)); };
        QCOMPARE(text(R"([{"b":1,"a":"x"}])"), R"({"a":"x","b":1})");
        QCOMPARE(text(R"([{"ticket":"t","password":"p","old_password":1,"otp":null,"pwd":{},"p12":["x"]}])"),
            R"({"old_password":"***","otp":"***","p12":"***","password":"***","pwd":"***","ticket":"***"})");
        QCOMPARE(text(R"([{"data":[{"ticket":"t","Ticket":"T"},[{"pwd":"p"}]]}])"),
            R"({"data":[{"Ticket":"T","ticket":"***"},[{"pwd":"***"}]]})");
        QCOMPARE(text(R"([[1,{"otp":2}]])"), R"([1,{"otp":"***"}])");
        QCOMPARE(text("[null]"), "(null)");
        QCOMPARE(text(R"(["a b"])"), "a b");
        QCOMPARE(text("[1001]"), "1001");
    }
};

QTEST_GUILESS_MAIN(tst_QenLogHelper)
#include "tst_QenLogHelper.moc"
