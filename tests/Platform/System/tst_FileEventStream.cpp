#include "FileEventStream.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;

namespace {

constexpr auto Latency = 300ms;

/// A stream on a thread of its own, and what it reported.
class Following {
public:
    explicit Following(const QStringList& paths)
        : m_stream(paths, Latency,
              [this](const QStringList& changed) {
                  const std::lock_guard lock(m_mutex);
                  m_batches << changed;
              }),
          m_thread([this] { m_stream.run(); }) {
        QTest::qSleep(50);
    }
    ~Following() {
        m_stream.stop();
        m_thread.join();
    }
    QList<QStringList> batches() {
        const std::lock_guard lock(m_mutex);
        return m_batches;
    }
    /// The first batch, waited for; empty when none comes.
    QStringList first() {
        QElapsedTimer timer;
        timer.start();
        while (batches().isEmpty() && timer.elapsed() < 3000)
            QTest::qSleep(5);
        const auto all = batches();
        return all.isEmpty() ? QStringList() : all.first();
    }

private:
    std::mutex m_mutex;
    QList<QStringList> m_batches;
    Platform::FileEventStream m_stream;
    std::thread m_thread;
};

void put(const QString& path, const QByteArray& text = "x") {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

} // namespace

/// Real folders, real changes.
class tst_FileEventStream : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyKindOfChange_data() {
        QTest::addColumn<QString>("kind");
        for (const char* kind : {"create", "write in place", "replace", "remove", "folder appears", "parents appear",
                 "folder removed", "folder made again", "folder moved away", "link"})
            QTest::newRow(kind) << QString::fromLatin1(kind);
    }
    void everyKindOfChange() {
        QFETCH(QString, kind);
        QTemporaryDir root;
        const QString folder = root.filePath(u"a/b"_s);
        const QString path = folder + u"/file"_s;
        QDir dir;
        if (kind != u"parents appear")
            dir.mkpath(root.filePath(u"a"_s));
        if (!kind.endsWith(u"appear") && !kind.endsWith(u"appears"))
            dir.mkpath(folder);
        if (kind.startsWith(u"write") || kind.startsWith(u"re") || kind == u"folder removed" ||
            kind == u"folder moved away")
            put(path);

        Following following({path, folder + u"/untouched"_s});
        if (kind == u"create" || kind.startsWith(u"write")) {
            put(path, "new");
        } else if (kind == u"replace") {
            put(folder + u"/tmp"_s);
            QCOMPARE(rename(qPrintable(folder + u"/tmp"_s), qPrintable(path)), 0);
        } else if (kind == u"remove") {
            QFile::remove(path);
        } else if (kind.startsWith(u"folder a") || kind.startsWith(u"parents")) {
            dir.mkpath(folder);
            put(path);
        } else if (kind == u"folder removed") {
            QDir(folder).removeRecursively();
        } else if (kind == u"folder made again") {
            QDir(folder).removeRecursively();
            QTest::qSleep(50);
            dir.mkpath(folder);
            QTest::qSleep(50);
            put(path);
        } else if (kind == u"folder moved away") {
            QCOMPARE(rename(qPrintable(folder), qPrintable(root.filePath(u"a/c"_s))), 0);
        } else {
            QVERIFY(QFile::link(u"/etc/hostname"_s, path));
        }
        QVERIFY2(following.first().contains(path), qPrintable(kind));
    }

    void burstIsOneReportInOrderOfFirstChange() {
        QTemporaryDir root;
        const QString path = root.filePath(u"file"_s);
        const QString other = root.filePath(u"other"_s);
        Following following({path, other});
        put(other);
        for (int i = 0; i < 20; ++i)
            put(path, QByteArray::number(i));
        put(other);
        QCOMPARE(following.first(), QStringList({other, path}));
    }

    void otherFilesOfTheFolderAreNoNews() {
        QTemporaryDir root;
        Following following({root.filePath(u"file"_s)});
        put(root.filePath(u"third"_s));
        QTest::qSleep(static_cast<int>(2 * Latency.count()));
        QVERIFY(following.batches().isEmpty());
    }

    void replacedAThousandTimesTheLastContentIsSeen() {
        constexpr int Times = 1000;
        QTemporaryDir root;
        const QString path = root.filePath(u"tips.txt"_s);
        std::mutex mutex;
        QList<QByteArray> seen;
        Platform::FileEventStream stream({path}, Latency, [&](const QStringList& changed) {
            QFile file(path);
            const std::lock_guard lock(mutex);
            seen << (changed == QStringList{path} && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
        });
        std::thread running([&] { stream.run(); });
        QTest::qSleep(50);
        QElapsedTimer clock;
        clock.start();
        const QByteArray from = QFile::encodeName(path + u".new"_s);
        int replaced = 0;
        for (int i = 1; i <= Times; ++i) {
            put(path + u".new"_s, QByteArray::number(i));
            replaced += std::rename(from.constData(), QFile::encodeName(path).constData()) == 0;
        }
        const qint64 writing = clock.elapsed();
        const auto last = [&] {
            const std::lock_guard lock(mutex);
            return seen.isEmpty() ? QByteArray() : seen.last();
        };
        const bool isSeen = QTest::qWaitFor([&] { return last() == QByteArray::number(Times); }, 10000);
        stream.stop();
        running.join();
        QCOMPARE(replaced, Times);
        QVERIFY(isSeen);
        // One report a latency, however often the file changed, and none of them empty or half written.
        QVERIFY2(seen.size() <= writing / Latency.count() + 2, QByteArray::number(seen.size()).constData());
        for (const QByteArray& content : seen)
            QVERIFY(content.toInt() > 0);
    }

    void lostEventsAreAChangeOfEveryFile() {
        QTemporaryDir root;
        const QString folder = root.filePath(u"f"_s);
        QDir().mkpath(folder);
        const QStringList paths{folder + u"/one"_s, folder + u"/two"_s};
        QFile limit(u"/proc/sys/fs/inotify/max_queued_events"_s);
        QVERIFY(limit.open(QIODevice::ReadOnly));
        const int most = limit.readAll().trimmed().toInt();
        QStringList reported;
        // The first callback is kept busy until the kernel's queue has run over.
        bool blocked = false;
        Platform::FileEventStream slow(paths, 1ms, [&](const QStringList& changed) {
            if (!std::exchange(blocked, true)) {
                for (int i = 0; i < most / 2 + 1000; ++i)
                    put(folder + u"/noise%1"_s.arg(i % 50));
                return;
            }
            reported << changed;
            slow.stop();
        });
        std::thread trigger([&] {
            QTest::qSleep(50);
            put(paths[0]);
        });
        slow.run();
        trigger.join();
        QVERIFY(reported.contains(paths[0]) && reported.contains(paths[1]));
    }

    void folderThatMayNotBeReadIsNoLoop() {
        Following following({u"/proc/self/mem/file"_s, u"/no/such/folder/at/all"_s});
        QVERIFY(following.batches().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_FileEventStream)
#include "tst_FileEventStream.moc"
