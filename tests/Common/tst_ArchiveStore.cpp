#include "ArchiveStore.h"
#include "FileSizeLimit.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

using namespace Platform;

namespace {

int modeOf(const QString& path) {
    struct stat status {};
    return stat(path.toLocal8Bit().constData(), &status) == 0 ? int(status.st_mode & 07777) : -1;
}

} // namespace

/// State files: what is written is whole or not there, and no file stops or floods its reader.
class tst_ArchiveStore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_folder.emplace();
        m_path = m_folder->filePath(u"state.archive"_s);
    }

    void replacesOnlyWhatExists() {
        QStringList answers;
        const auto archive = [&](const ArchiveValue& root) {
            archiveWithRootObject(root, true, m_path,
                [&](const Error& error) { answers << error.domain() + u' ' + QString::number(error.code()); });
        };
        archive("a");
        QVERIFY(QDir(m_folder->path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
        QVERIFY(archiveRootObject("old", m_path));
        archive("new");
        ArchiveValue deep("a");
        for (int i = 0; i < 200; ++i)
            deep = ArchiveValue(ArchiveValue::Array{deep});
        archive(deep);
        QCOMPARE(answers,
            QStringList(
                {CocoaErrorDomain + u" %1"_s.arg(Error::NoSuchFile), u" 0"_s, u"NSKeyedArchiverError -10001"_s}));
        QVERIFY(unarchivedObjectWithFilePath(m_path) == ArchiveValue("new"));
    }

    void classesOfTheStore() {
        ArchiveValue root;
        root.insert(u"access"_s, ArchiveValue(ArchiveValue::Array{"1", 2, true, ArchiveValue::null()}));
        QVERIFY(archiveRootObject(root, m_path));
        QVERIFY(unarchivedObjectWithFilePath(m_path) == root);
        for (const ArchiveValue& other : {ArchiveValue(QByteArray("a")), ArchiveValue::object(u"AccountModel"_s)}) {
            root.insert(u"other"_s, other);
            QVERIFY(archiveRootObject(root, m_path));
            QVERIFY(!unarchivedObjectWithFilePath(m_path));
            QVERIFY(unarchiveObjectWithFile(m_path));
        }
        QVERIFY(!unarchivedObjectWithFilePath(m_folder->filePath(u"missing"_s)));
    }

    void modesAndFolders() {
        const mode_t before = umask(0277);
        const QString inner = m_folder->filePath(u"Application Support/QenCloudL"_s);
        QVERIFY(!makeFolder(inner, 0700, false));
        QVERIFY(makeFolder(inner));
        QVERIFY(makeFolder(inner));
        const QString file = inner + u"/login.archive"_s;
        const bool isWritten = archiveRootObject("a", file, Durability::Synced);
        umask(before);
        QVERIFY(isWritten);
        QCOMPARE(modeOf(inner), 0700);
        QCOMPARE(modeOf(file), 0600);
        QVERIFY(!makeFolder(file));
        QVERIFY(!makeFolder(file + u"/below"_s));
    }

    /// A write that fails says why and leaves the old file, and no other.
    void failedWrites() {
        QVERIFY(archiveRootObject("old", m_path));
        const ArchiveValue large(QByteArray(100000, 'a'));
        for (const Durability durability : {Durability::Plain, Durability::Synced}) {
            Error error;
            {
                const FileSizeLimit limit(4096);
                QVERIFY(!archiveRootObject(large, m_path, durability));
                error = replaceFile(m_path, QByteArray(100000, 'a'), durability);
            }
            QCOMPARE(error.domain(), PosixErrorDomain);
            QCOMPARE(error.code(), EFBIG);
            QCOMPARE(error.localizedDescription(), QString::fromLocal8Bit(strerror(EFBIG)));
        }
        QVERIFY(unarchiveObjectWithFile(m_path) == ArchiveValue("old"));
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(), 1);
        QCOMPARE(replaceFile(m_folder->filePath(u"missing/file"_s), "a").code(), ENOENT);
        QCOMPARE(replaceFile(m_folder->path(), "a").code(), EISDIR);
        QVERIFY(!archiveRootObject("a", m_folder->filePath(u"missing/file"_s)));
    }

    void notForReading_data() {
        QTest::addColumn<std::function<bool(const char*)>>("make");
        const auto row = [](const char* name, const std::function<bool(const char*)>& make) {
            QTest::newRow(name) << make;
        };
        const auto write = [](const QByteArray& bytes) {
            return [bytes](const char* path) { return !replaceFile(QString::fromLocal8Bit(path), bytes); };
        };
        row("fifo", [](const char* path) { return mkfifo(path, 0600) == 0; });
        row("folder", [](const char* path) { return mkdir(path, 0700) == 0; });
        row("9 MiB", write(QByteArray(9 << 20, 'a')));
        row("terabyte of nothing",
            [empty = write("")](const char* path) { return empty(path) && truncate(path, 1LL << 40) == 0; });
        row("link to a device", [](const char* path) { return symlink("/dev/zero", path) == 0; });
        row("link to itself", [](const char* path) { return symlink(path, path) == 0; });
        row("empty", write(""));
        row("no archive", write("bplist00"));
    }
    void notForReading() {
        QFETCH(std::function<bool(const char*)>, make);
        QVERIFY(make(qPrintable(m_path)));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!unarchiveObjectWithFile(m_path));
        QVERIFY(!unarchivedObjectWithFilePath(m_path));
        QVERIFY(timer.elapsed() < 2000);
    }

    void readsUpToTheLimit() {
        QVERIFY(!replaceFile(m_path, QByteArray(1000, 'a')));
        QCOMPARE(readFile(m_path, 1000).value_or(QByteArray()).size(), 1000);
        QVERIFY(!readFile(m_path, 999));
        // Says that it is empty, and is not.
        QVERIFY(!readFile(u"/proc/self/status"_s, 1 << 20).value_or(QByteArray()).isEmpty());
        QVERIFY(!readFile(u"/proc/self/status"_s, 16));
    }

private:
    std::optional<QTemporaryDir> m_folder;
    QString m_path;
};

QTEST_GUILESS_MAIN(tst_ArchiveStore)
#include "tst_ArchiveStore.moc"
