#include "AccountModel.h"
#include "ArchiveStore.h"
#include "QenLogHelper.h"

#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// A process killed at random moments leaves every state file whole, old or new, and a log that starts again.
class tst_KilledWriter : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyFileStaysWhole() {
        const int rounds =
            qEnvironmentVariableIntValue("MAV_KILLS") > 0 ? qEnvironmentVariableIntValue("MAV_KILLS") : 500;
        QTemporaryDir root;
        const QString state = root.filePath(u"QenCloudL"_s);
        for (int round = 0; round < rounds; ++round) {
            QProcess writer;
            writer.setStandardErrorFile(QProcess::nullDevice());
            writer.start(QStringLiteral(KILLED_WRITER), {root.path()});
            QVERIFY(writer.waitForReadyRead(10000));
            QTest::qSleep(static_cast<int>(QRandomGenerator::global()->bounded(25)));
            writer.kill();
            QVERIFY(writer.waitForFinished());

            const QString login = AccountModel::modelSavePathWithCheck(false, root.path());
            if (QFile::exists(login)) {
                const auto record = AccountModel::currentModel(root.path());
                QVERIFY2(record, qPrintable(u"round %1"_s.arg(round)));
                bool isNumber = false;
                QCOMPARE(record->userid(), u"user"_s);
                QCOMPARE(record->username().size(), record->decryptTicket().toInt(&isNumber) % 700);
                QVERIFY(isNumber);
            }
            const QString network = state + u"/netType.archive"_s;
            if (QFile::exists(network)) {
                const auto type = unarchiveObjectWithFile(network);
                QVERIFY2(type && type->isString(), qPrintable(u"round %1"_s.arg(round)));
            }
            const QString sizes = root.filePath(u"logs.data"_s);
            if (QFileInfo(sizes).size() > 0) {
                const auto recorded = unarchiveObjectWithFile(sizes);
                QVERIFY2(recorded && recorded->isDictionary(), qPrintable(u"round %1"_s.arg(round)));
            }
        }
        // What the killed ones left half done is bounded: at most one temporary file each, and none that a reader
        // takes.
        QenLogHelper log(root.filePath(u"logs"_s), root.filePath(u"logs.data"_s), 4096);
        log.writeLog(u"started again"_s);
        log.drain();
        QByteArray text;
        for (const QString& name : QDir(root.filePath(u"logs"_s)).entryList(QDir::Files)) {
            QFile file(root.filePath(u"logs/"_s + name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            text += file.readAll();
        }
        QVERIFY(text.contains("started again"));
    }
};

QTEST_GUILESS_MAIN(tst_KilledWriter)
#include "tst_KilledWriter.moc"
