#include "ViewWorld.h"

#include "ElidedLabel.h"
#include "MavExportLogController.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFileDialog>

#include <semaphore>

using namespace Qt::StringLiterals;

namespace {

const QString Success = u"QenCloud export log success"_s;

/// A computer in one folder, whose file browser opens when the test lets it.
struct Computer {
    RunningHome home;
    std::mutex mutex;
    QStringList lines;
    QString opened;
    std::counting_semaphore<> browser{0};
    std::unique_ptr<QenLogHelper> log;

    Computer() {
        LogWorld world = LogWorld::system();
        world.ringDirectory = home.logs();
        world.sizeRecord = home.file(u"record"_s);
        world.echo = [this](const QString& text) {
            const std::lock_guard lock(mutex);
            lines << text.section(u"[148] : "_s, 1).chopped(2);
        };
        world.runScript = [](const QString&) { return Platform::Error(u"NSAppleScript"_s, -128, u"User canceled."_s); };
        world.openFolder = [this](const QString& shown) {
            opened = shown;
            (void)browser.try_acquire_for(std::chrono::seconds(20));
        };
        world.reporter = QStringLiteral(REPORTER);
        log = std::make_unique<QenLogHelper>(world);
    }
    ~Computer() { browser.release(10); }
    QString desktop() const { return home.home() + u"/Desktop"_s; }
    QStringList logged() {
        log->drain();
        const std::lock_guard lock(mutex);
        return lines;
    }
};

} // namespace

class tst_MavExportLogController : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { ViewWorld::prepareApplication(); }
    void init() {
        m_computer = std::make_unique<Computer>();
        m_window = std::make_unique<QWidget>();
        m_window->resize(960, 640);
        m_window->show();
        m_sheet = new MavExportLogController(*m_computer->log, m_window.get());
        m_results.clear();
        m_states.clear();
        connect(m_sheet, &QDialog::finished, this, [this](int result) { m_results << result; });
        connect(m_sheet, &MavExportLogController::exportingChanged, this, [this](bool state) { m_states << state; });
        open();
    }
    void cleanup() {
        m_window.reset();
        m_computer.reset();
    }

    void exportGoesToTheFolderShown() {
        // The desktop's folder, which is not there yet, and one with an awkward name.
        const QString awkward = m_computer->home.file(u"it's a \"place\"\n& <b>$(touch pwned)</b>"_s);
        QVERIFY(QDir().mkpath(awkward));
        for (const QString& place : {m_computer->desktop(), awkward}) {
            if (place == awkward) {
                open();
                choose(place);
            }
            m_states.clear();
            QCOMPARE(title()->text(), place);
            QVERIFY(folderButton()->accessibleName().contains(place));
            QVERIFY(folderButton()->toolTip().remove(QChar(0x200B)).contains(place.left(20).toHtmlEscaped()));
            press(*m_sheet, "exportButton");
            // Closed while the export has not come to its end.
            QCOMPARE(m_results.takeLast(), 1);
            QVERIFY(!m_sheet->isVisible());
            QTest::qWait(50);
            QCOMPARE(m_states, QList<bool>{true});
            m_computer->browser.release();
            QTRY_COMPARE(m_states, (QList<bool>{true, false}));
            QCOMPARE(m_computer->logged().takeLast(), Success);
            QCOMPARE(m_computer->opened, place);
            QVERIFY(QFile::exists(place + u"/MavLogs/MavUserLogs.zip"_s));
        }
    }

    void failureIsOnlyLogged_data() {
        QTest::addColumn<bool>("logsAreGone");
        QTest::newRow("file in place of the folder") << false;
        // Told of twice, as the export goes on.
        QTest::newRow("log folder is gone") << true;
    }
    void failureIsOnlyLogged() {
        QFETCH(bool, logsAreGone);
        const QString head = u"QenCloud export log failed with error:"_s;
        m_computer->logged();
        if (logsAreGone)
            QVERIFY(QDir(m_computer->log->rootDirectory()).removeRecursively());
        QFile file(m_computer->desktop());
        QVERIFY(QDir().mkpath(m_computer->home.home()) && file.open(QIODevice::WriteOnly));
        press(*m_sheet, "exportButton");
        QCOMPARE(m_results, QList<int>{1});
        QTRY_COMPARE(m_states, (QList<bool>{true, false}));
        const QStringList failures = m_computer->logged().filter(head);
        QCOMPARE(failures.size(), logsAreGone ? 2 : 1);
        QCOMPARE(failures.contains(head + u"无法找到日志目录"_s), logsAreGone);
        QVERIFY2(failures.constLast().startsWith(head + u"提取所有日志失败:"_s), qPrintable(failures.constLast()));
        QVERIFY(m_computer->opened.isEmpty());
        QVERIFY(!QApplication::activeModalWidget());
    }

    void choiceIsKeptUntilItIsChanged() {
        const QString first = m_computer->home.file(u"first"_s);
        QVERIFY(QDir().mkpath(first));
        choose(first);
        press(*m_sheet, "cancelButton");
        open();
        QCOMPARE(title()->text(), first);
        // One choice at a time, from the folder shown on; given up, it changes nothing.
        press(*m_sheet, "customDirPath");
        m_sheet->selectCustomFolderPath();
        QCOMPARE(m_sheet->findChildren<QFileDialog*>().size(), 1);
        QCOMPARE(picker()->directory().path(), first);
        picker()->setDirectory(m_computer->home.machine());
        picker()->reject();
        QCOMPARE(m_sheet->currentDirectoryPath(), first);
        QTRY_VERIFY(!picker());
        // It goes with the sheet.
        press(*m_sheet, "customDirPath");
        m_sheet->close();
        QTRY_VERIFY(!picker());
        QCOMPARE(m_results, (QList<int>{0, 0}));
        QVERIFY(m_states.isEmpty());
    }

    void pathLeavesTheSheetItsWidth() {
        const QSize before = m_sheet->size();
        const QRect place = folderButton()->geometry();
        for (const QString& path : {u'/' + QString(300, u'w') + u"/end"_s, u"/one\ntwo\t/end"_s}) {
            title()->setText(path);
            QCoreApplication::processEvents();
            QCOMPARE(m_sheet->size(), before);
            QCOMPARE(folderButton()->geometry(), place);
        }
        QCOMPARE(m_sheet->width(), Theme::BoxWidth);
        int end = 0;
        for (const char* name :
            {"sheetTitle", "contentLab", "customDirLab", "customDirPath", "placeLab", "exportButton"}) {
            const auto* part = find<QWidget>(*m_sheet, name);
            QVERIFY2(part->y() >= end && part->height() >= part->minimumSizeHint().height(), name);
            QVERIFY2(!part->hasHeightForWidth() || part->height() >= part->heightForWidth(part->width()), name);
            end = part->geometry().bottom() + 1;
        }
    }

    void keyboard() {
        const QStringList wanted{"customDirPath", "cancelButton", "exportButton", "reportOnly", "customDirPath"};
        QCOMPARE(tabOrder(*m_sheet, wanted.size()), wanted);
        // Enter presses the button that has the keyboard, and from the folder the one that exports.
        QTest::keyClick(m_sheet->focusWidget(), Qt::Key_Return);
        QCOMPARE(m_results, QList<int>{0});
        open();
        QTest::keyClick(folderButton(), Qt::Key_Space);
        QTRY_VERIFY(picker());
        picker()->reject();
        QTest::keyClick(folderButton(), Qt::Key_Return);
        QCOMPARE(m_results, (QList<int>{0, 1}));
        QCOMPARE(m_states, QList<bool>{true});
    }

    void reportInPlaceOfTheLogs() {
        auto* choice = find<QCheckBox>(*m_sheet, "reportOnly");
        const QString logs = m_sheet->accessibleDescription();
        QTest::mouseClick(choice, Qt::LeftButton, {}, QPoint(8, choice->height() / 2));
        QVERIFY(choice->isChecked());
        QVERIFY(m_sheet->accessibleDescription() != logs);
        // The second one takes the place of the first.
        for (int reports = 1; reports <= 2; ++reports) {
            m_states.clear();
            press(*m_sheet, "exportButton");
            m_computer->browser.release();
            QTRY_COMPARE_WITH_TIMEOUT(m_states, (QList<bool>{true, false}), 60000);
            QCOMPARE(m_computer->logged(), QStringList(reports, Success));
            open();
        }
        QCOMPARE(m_computer->opened, m_computer->desktop());
        QCOMPARE(QDir(m_computer->desktop() + u"/MavLogs"_s).entryList(QDir::Files), QStringList(u"MavReport.zip"_s));
    }

    void exportOutlivesTheWindow() {
        press(*m_sheet, "exportButton");
        m_window.reset();
        m_computer->browser.release();
        QTRY_COMPARE(m_computer->logged(), QStringList{Success});
        QTest::qWait(20);
        QCOMPARE(m_states, QList<bool>{true});
    }

private:
    void open() {
        m_sheet->beginSheet();
        QVERIFY(QTest::qWaitForWindowActive(m_sheet));
        QCOMPARE(m_sheet->focusWidget(), folderButton());
    }
    QPushButton* folderButton() { return find<QPushButton>(*m_sheet, "customDirPath"); }
    ElidedLabel* title() { return find<ElidedLabel>(*m_sheet, "customDirTitle"); }
    QFileDialog* picker() { return m_sheet->findChild<QFileDialog*>(); }
    /// Picks a folder as a person does who has gone into it.
    void choose(const QString& folder) {
        press(*m_sheet, "customDirPath");
        QVERIFY(picker() && picker()->isVisible());
        picker()->setDirectory(folder);
        auto* buttons = picker()->findChild<QDialogButtonBox*>();
        QVERIFY(buttons && buttons->button(QDialogButtonBox::Open));
        QTest::mouseClick(buttons->button(QDialogButtonBox::Open), Qt::LeftButton);
        QTRY_VERIFY(!picker());
    }

    std::unique_ptr<Computer> m_computer;
    std::unique_ptr<QWidget> m_window;
    MavExportLogController* m_sheet = nullptr;
    QList<int> m_results;
    QList<bool> m_states;
};

QTEST_MAIN(tst_MavExportLogController)
#include "tst_MavExportLogController.moc"
