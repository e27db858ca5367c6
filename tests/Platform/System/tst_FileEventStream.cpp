#include "FileEventStream.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <cstdio>
#include <functional>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;

namespace {

constexpr auto Latency = 300ms;

/// A stream on a thread of its own, and what it reported.
class Following {
public:
    /// @param whenChanged  called with each report
    explicit Following(
        const QStringList& paths, std::function<void()> whenChanged = [] {})
        : m_stream(paths, Latency,
              [this, whenChanged = std::move(whenChanged)](const QStringList& changed) {
                  const std::lock_guard lock(m_mutex);
                  whenChanged();
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
        return QTest::qWaitFor([this] { return !batches().isEmpty(); }, 3000) ? batches().first() : QStringList();
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

/// Done to a folder and a file in it.
using Change = std::function<void(const QString& folder, const QString& path)>;

} // namespace

/// Real folders, real changes.
class tst_FileEventStream : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyKindOfChange_data() {
        QTest::addColumn<QString>("before");
        QTest::addColumn<Change>("change");
        const auto row = [](const char* name, const char* before, const Change& change) {
            QTest::newRow(name) << before << change;
        };
        const Change appears = [](const QString& folder, const QString& path) {
            QDir().mkpath(folder);
            put(path, "new");
        };
        row("create", "a/b/", appears);
        row("write in place", "a/b/file", appears);
        row("folder appears", "a/", appears);
        row("parents appear", "", appears);
        row("replace", "a/b/file", [](const QString& folder, const QString& path) {
            put(folder + u"/tmp"_s);
            QCOMPARE(rename(qPrintable(folder + u"/tmp"_s), qPrintable(path)), 0);
        });
        row("remove", "a/b/file", [](const QString&, const QString& path) { QFile::remove(path); });
        row("folder removed", "a/b/file",
            [](const QString& folder, const QString&) { QDir(folder).removeRecursively(); });
        row("folder made again", "a/b/", [appears](const QString& folder, const QString& path) {
            QDir(folder).removeRecursively();
            QTest::qSleep(50);
            QDir().mkpath(folder);
            QTest::qSleep(50);
            put(path);
        });
        row("folder moved away", "a/b/file", [](const QString& folder, const QString&) {
            QCOMPARE(rename(qPrintable(folder), qPrintable(folder + u"2"_s)), 0);
        });
        row("link", "a/b/",
            [](const QString&, const QString& path) { QVERIFY(QFile::link(u"/etc/hostname"_s, path)); });
    }

    void everyKindOfChange() {
        QFETCH(QString, before);
        QFETCH(Change, change);
        QTemporaryDir root;
        const QString folder = root.filePath(u"a/b"_s);
        const QString path = folder + u"/file"_s;
        QDir().mkpath(root.filePath(before.section(u'/', 0, -2)));
        if (before.endsWith(u"file"))
            put(path);
        Following following({path, folder + u"/untouched"_s});
        change(folder, path);
        QVERIFY(following.first().contains(path));
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
        std::atomic<bool> isBroken{false};
        std::atomic<int> last{0};
        Following following({path}, [&] {
            QFile file(path);
            last = file.open(QIODevice::ReadOnly) ? file.readAll().toInt() : 0;
            isBroken = isBroken || last == 0;
        });
        QElapsedTimer clock;
        clock.start();
        const QByteArray from = QFile::encodeName(path + u".new"_s);
        for (int i = 1; i <= Times; ++i) {
            put(path + u".new"_s, QByteArray::number(i));
            QCOMPARE(std::rename(from.constData(), QFile::encodeName(path).constData()), 0);
        }
        const qint64 writing = clock.elapsed();
        QVERIFY(QTest::qWaitFor([&] { return last == Times; }, 10000));
        // One report a latency, however often the file changed, and none of them empty or half written.
        const qsizetype reports = following.batches().size();
        QVERIFY2(reports <= writing / Latency.count() + 2, QByteArray::number(reports).constData());
        QVERIFY(!isBroken);
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
