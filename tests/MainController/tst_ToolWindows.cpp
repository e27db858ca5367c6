#include "ViewWorld.h"

#include "QenToolCell.h"
#include "QenToolsView.h"
#include "QenTrustedAppWindow.h"
#include "ToolOpener.h"
#include "Workspace.h"

#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

QenToolModel tool(const QString& name, const QVariantMap& more = {}) {
    QVariantMap values = more;
    values.insert(u"appname"_s, name);
    return QenToolModel::initWithDictionary(values).value();
}

QList<QenToolModel> tools(int count) {
    QList<QenToolModel> models;
    for (int index = 0; index < count; ++index)
        models << tool(QString::number(index));
    return models;
}

/// Programs of the test's own with desktop entries and icons; each start adds its arguments to a file.
class ProgramFolder {
public:
    ProgramFolder() {
        for (const auto* name : {"entries", "data/icons/hicolor/128x128/apps"})
            QDir().mkpath(path(name));
        for (const char* name : {"program", "xdg-open"}) {
            write(name, "#!/bin/sh\nprintf '%s\\n' \"$@\" >>'" + path("started").toUtf8() + "'\n");
            QFile::setPermissions(path(name), QFile::ReadOwner | QFile::ExeOwner);
        }
        m_workspace.emplace(Platform::Workspace::Folders{{}, {path("entries")}, {m_folder.path()}});
    }
    Platform::Workspace& workspace() { return *m_workspace; }
    QString data() const { return path("data"); }
    void addEntry(const QString& id, const QByteArray& lines) const {
        write(u"entries/%1.desktop"_s.arg(id), "[Desktop Entry]\nType=Application\nName=x\n" + lines + "\n");
    }
    QImage addIcon(const QString& name) const {
        QImage icon(128, 128, QImage::Format_Indexed8);
        icon.setColorTable({qRgb(10, 200, 30)});
        icon.fill(0);
        icon.save(iconPath(name));
        return icon;
    }
    void addBrokenIcon(const QString& name) const { write(iconPath(name), "\x89PNG\r\n\x1a\n"); }
    QString started() const {
        QFile file(path("started"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    int starts() const { return static_cast<int>(started().count(u'\n')); }

private:
    QString path(const QString& name) const { return QDir(m_folder.path()).absoluteFilePath(name); }
    QString iconPath(const QString& name) const { return path(u"data/icons/hicolor/128x128/apps/%1.png"_s.arg(name)); }
    void write(const QString& name, const QByteArray& content) const {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QTemporaryDir m_folder;
    std::optional<Platform::Workspace> m_workspace;
};

} // namespace

/// Tiles, the sheets of tools that are not there, and the window of trusted applications.
class tst_ToolWindows : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { ViewWorld::prepareApplication(); }

    void sixTilesARow() {
        QenToolsView view;
        view.resize(732, 300);
        QList<QenToolModel> models = tools(6);
        models << tool(u"Q&A <b>"_s);
        view.setModels(models);
        view.show();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        const auto& cells = view.toolCells();
        QCOMPARE(cells.size(), 7);
        // The least window has room for six, beside a bar that scrolls.
        QCOMPARE(cells[5]->y(), cells[0]->y());
        QVERIFY(cells[5]->mapTo(&view, QPoint(QenToolCell::Side, 0)).x() + 4 <= view.width());
        QCOMPARE(cells[6]->tag(), 106);
        QCOMPARE(cells[6]->x(), cells[0]->x());
        QVERIFY(cells[6]->y() > cells[0]->geometry().bottom());
        QCOMPARE(spokenName(cells[6]), u"Q&A <b>"_s);
        QStringList pressed;
        connect(
            &view, &QenToolsView::pressed, this, [&pressed](const QenToolModel& model) { pressed << model.appName; });
        cells[0]->setFocus();
        const std::pair<Qt::Key, int> steps[] = {{Qt::Key_Left, 0}, {Qt::Key_Right, 1}, {Qt::Key_Down, 1},
            {Qt::Key_Left, 0}, {Qt::Key_Down, 6}, {Qt::Key_Up, 0}, {Qt::Key_Down, 6}};
        for (const auto& [key, reached] : steps) {
            QTest::keyClick(QApplication::focusWidget(), key);
            QVERIFY(cells[reached]->hasFocus());
        }
        QTest::keyClick(cells[6], Qt::Key_Return);
        QTest::mouseClick(cells[3], Qt::LeftButton);
        QCOMPARE(pressed, (QStringList{"Q&A <b>", "3"}));
        view.setModels({});
        QVERIFY(view.toolCells().isEmpty());
        QVERIFY(find<QLabel>(view, "emptyLab")->isVisible());
    }

    void pictureOfATile_data() {
        QTest::addColumn<QVariantMap>("record");
        QTest::addColumn<QString>("same");
        const auto row = [](const char* name, const QVariantMap& record, const char* same) {
            QTest::newRow(name) << record << QString::fromLatin1(same);
        };
        row("by the part before the first dot", {{"icon", "mail.app.tiff"}}, "tools/mail");
        row("the default by name", {{"icon", "AppIcon.png"}}, "AppIcon");
        row("of the program", {{"procname", "Meet.app"}}, "program");
        row("its own before that of the program", {{"icon", "mail"}, {"procname", "Meet.app"}}, "tools/mail");
        row("none of that name", {{"icon", "no-such.png"}, {"procname", "Meet.app"}}, "program");
        row("of the interface", {{"icon", "eye-open.svg"}}, "initial");
        row("way out of the pictures", {{"icon", "../tools/mail.svg"}}, "initial");
        row("way through the pictures", {{"icon", "/mail.svg"}}, "initial");
        row("program without an icon", {{"procname", "Bare"}}, "initial");
        row("program whose icon is broken", {{"procname", "Broken"}}, "initial");
        row("link that names a program", {{"apptype", "hyperlink"}, {"procname", "Meet.app"}}, "initial");
    }
    void pictureOfATile() {
        QFETCH(QVariantMap, record);
        QFETCH(QString, same);
        ProgramFolder folder;
        folder.addEntry("Meet", "Icon=meeting\nExec=program");
        folder.addEntry("Bare", "Exec=program");
        folder.addEntry("Broken", "Icon=broken\nExec=program");
        const QImage icon = folder.addIcon("meeting");
        folder.addBrokenIcon("broken");
        ToolPictures pictures({folder.data()});
        pictures.setWorkspace(folder.workspace());
        const QenToolModel model = tool(u"会议"_s, record);
        std::optional<QPixmap> picture;
        QTRY_VERIFY((picture = pictures.picture(model, 2)));
        QCOMPARE(picture->isNull(), same == u"initial");
        if (picture->isNull())
            return;
        QCOMPARE(picture->deviceIndependentSize(), QSizeF(48, 48));
        const QImage wanted = same == u"program" ? icon : Theme::picture(same, {48, 48}, 2).toImage();
        QCOMPARE(picture->toImage().pixel(48, 48), wanted.pixel(48, 48));
    }

    void initialOfATile() {
        const auto drawn = [](const QString& name) { return initialPicture(name, 1).toImage(); };
        QCOMPARE(drawn(u"会议"_s), drawn(u"会面"_s));
        QVERIFY(drawn(u"会议"_s) != drawn(u"邮箱"_s));
        QCOMPARE(drawn(u"mail"_s), drawn(u"Meet"_s));
        QVERIFY(!drawn(u"😀"_s).isNull());
        QCOMPARE(drawn(u" "_s), Theme::picture(u"AppIcon"_s, {48, 48}, 1).toImage());
    }

    void thousandToolsHoldNobodyUp() {
        QenToolsView view;
        view.resize(840, 500);
        view.show();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        QList<QenToolModel> models = tools(1000);
        models[0].appName = QString(500, QChar(0x5de5)) + u"<b>"_s;
        view.setModels(models);
        // Those that can be seen are there; the others follow.
        QVERIFY(view.toolCells().size() >= 30);
        QVERIFY(view.toolCells().size() < 1000);
        QTRY_COMPARE(view.toolCells().size(), 1000);
        view.toolCells()[999]->setFocus();
        QTRY_VERIFY(!view.toolCells()[999]->visibleRegion().isEmpty());
        // Shorter, and longer again before the rest is gone.
        view.setModels(tools(3));
        view.setModels(tools(700));
        QTRY_COMPARE(view.toolCells().size(), 700);
        for (int index = 0; index < 700; ++index)
            QCOMPARE(view.toolCells()[index]->toolModel().appName, QString::number(index));
        view.setModels({});
        QTRY_VERIFY(view.findChildren<QenToolCell*>().isEmpty());
    }

    void oneTabStopThatKeepsItsTool() {
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* before = new QPushButton(u"before"_s);
        auto* view = new QenToolsView;
        auto* after = new QPushButton(u"after"_s);
        for (QWidget* widget : QWidgetList{before, view, after})
            layout->addWidget(widget);
        window.resize(840, 500);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QList<QenToolModel> models{tool(u"视频会议"_s), tool(u"企业邮箱"_s), tool(u"公司门户"_s), tool(u"OA审批"_s)};
        view->setModels(models);
        const auto focused = [] {
            const auto* cell = qobject_cast<QenToolCell*>(QApplication::focusWidget());
            return cell ? cell->toolModel().appName : QString();
        };
        const auto type = [](const QString& keys) {
            for (const QChar key : keys)
                QTest::keyClick(QApplication::focusWidget(), key.toLatin1());
        };
        before->setFocus();
        QTest::keyClick(before, Qt::Key_Tab);
        QCOMPARE(focused(), u"视频会议"_s);
        type(u"qyy"_s);
        QCOMPARE(focused(), u"企业邮箱"_s);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_End);
        QCOMPARE(focused(), u"OA审批"_s);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Left);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QVERIFY(after->hasFocus());
        QTest::keyClick(after, Qt::Key_Backtab);
        QCOMPARE(focused(), u"公司门户"_s);
        // The list arrives anew: another order, with the tool, without it.
        std::reverse(models.begin(), models.end());
        view->setModels(models);
        QCOMPARE(focused(), u"公司门户"_s);
        QCOMPARE(view->toolCells()[1]->toolModel().appName, u"公司门户"_s);
        models.remove(1);
        view->setModels(models);
        QCOMPARE(focused(), u"企业邮箱"_s);
        after->setFocus();
        view->setModels(tools(3));
        QVERIFY(after->hasFocus());
    }

    void aPressOpensTheToolThatWasPressed() {
        QenToolsView view;
        view.resize(840, 300);
        view.setModels({tool(u"甲"_s), tool(u"乙"_s)});
        view.show();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        QStringList pressed;
        connect(&view, &QenToolsView::pressed, this, [&](const QenToolModel& model) { pressed << model.appName; });
        QenToolCell* cell = view.toolCells()[0];
        // The list changes while the button is down.
        QTest::mousePress(cell, Qt::LeftButton);
        view.setModels({tool(u"乙"_s), tool(u"甲"_s)});
        QTest::mouseRelease(cell, Qt::LeftButton);
        QTest::keyPress(cell, Qt::Key_Space);
        view.setModels({tool(u"甲"_s), tool(u"乙"_s), tool(u"丙"_s)});
        QTest::keyRelease(cell, Qt::Key_Space);
        QCOMPARE(pressed, (QStringList{"甲", "甲"}));
    }

    void manyToolsAreSearched() {
        QenToolsView view;
        view.resize(840, 500);
        view.show();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        auto* search = find<QLineEdit>(view, "toolSearch");
        view.setModels(tools(23));
        QVERIFY(!search->isVisible());
        QList<QenToolModel> models = tools(23);
        models << tool(u"差旅报销"_s);
        view.setModels(models);
        QVERIFY(search->isVisible());
        view.toolCells()[0]->setFocus();
        QTest::keyClick(view.toolCells()[0], Qt::Key_F, Qt::ControlModifier);
        QVERIFY(search->hasFocus());
        QTest::keyClicks(search, u"clbx"_s);
        QTRY_COMPARE(view.toolCells().size(), 1);
        QCOMPARE(view.toolCells()[0]->toolModel().appName, u"差旅报销"_s);
        QVERIFY(!find<QLabel>(view, "nothingFoundLab")->isVisible());
        QTest::keyClicks(search, u"x"_s);
        QTRY_COMPARE(view.toolCells().size(), 0);
        QVERIFY(find<QLabel>(view, "nothingFoundLab")->isVisible());
        QTest::keyClick(search, Qt::Key_Escape);
        QTRY_COMPARE(view.toolCells().size(), 24);
        QTest::keyClick(search, Qt::Key_Down);
        QVERIFY(view.toolCells()[0]->hasFocus());
        search->setText(u"1"_s);
        // A search that nobody sees must not hide tools.
        view.setModels(tools(5));
        QTRY_COMPARE(view.toolCells().size(), 5);
    }

    void aToolThatStartsIsNotStartedTwice() {
        ProgramFolder folder;
        folder.addEntry("Meet", "Exec=program met");
        Platform::Workspace workspace = folder.workspace();
        QWidget window;
        const QenToolModel meeting = tool(u"会议"_s, {{"procname", "Meet"}});
        const QenToolModel link = tool(u"门户"_s, {{"apptype", "hyperlink"}, {"desturl", "http://127.0.0.1/"}});
        ToolOpener opener(workspace, std::chrono::hours(1));
        for (int press = 0; press < 3; ++press) {
            opener.open(meeting, &window);
            opener.open(link, &window);
            QTest::qWait(10);
        }
        QTRY_COMPARE(folder.starts(), 2);
        QTest::qWait(50);
        QCOMPARE(folder.starts(), 2);
        ToolOpener quick(workspace, std::chrono::milliseconds(0));
        for (const int starts : {3, 4}) {
            quick.open(meeting, &window);
            QTRY_COMPARE(folder.starts(), starts);
            // It may be there before the timer of its start has run.
            QTest::qWait(20);
        }
    }

    void missingToolIsToldInASheet() {
        ProgramFolder folder;
        ToolOpener opener(folder.workspace());
        QWidget window;
        window.show();
        const QString address = u"http://127.0.0.1/x'\"; touch y"_s;
        const std::tuple<QString, const char*, QString> answers[] = {{QString(), "firstButton", u"确定"_s},
            {address, "secondButton", u"取消"_s}, {address, "firstButton", u"下载"_s}};
        for (const auto& [download, button, title] : answers) {
            QVERIFY(folder.started().isEmpty());
            opener.open(tool(u"会议"_s, {{"downloadurl", download}, {"procname", "Meet.app"}}), &window);
            QTRY_COMPARE(boxTexts(),
                QStringList(download.isEmpty() ? u"未安装应用【会议】，请自行下载安装该软件"_s
                                               : u"未安装应用【会议】，如需下载安装，请点击\"下载\""_s));
            CustomMessageBox& box = *CustomMessageBox::shown().constFirst();
            QCOMPARE(find<QLabel>(box, "titleLabel")->text(), u"提醒"_s);
            QCOMPARE(find<QPushButton>(box, button)->text(), title);
            press(box, button);
            QTRY_VERIFY(CustomMessageBox::shown().isEmpty());
            QTest::qWait(50);
        }
        QTRY_COMPARE(folder.started(), address + u'\n');
    }

    void trustedApplicationsByCategory() {
        ViewWorld world;
        QWidget main;
        main.show();
        QPointer<QenTrustedAppWindow> window = new QenTrustedAppWindow(world.client.helper, &main);
        window->openOver(&main);
        QVERIFY(QTest::qWaitForWindowActive(window));
        auto* states = find<QStackedWidget>(*window, "listStates");
        QTRY_COMPARE(states->currentIndex(), 1);

        const auto entry = [](const QString& category, const QVariant& name, const QVariant& serial) {
            return QVariantMap{{"categoryname", category}, {"appname", name}, {"category_serialnum", serial}};
        };
        // What is no entry is left out, and an application stands once in its category.
        QVariantList list{u"text"_s, 7, entry(u"甲"_s, 7, 2), entry(u"甲"_s, "a", 9), entry(u"乙"_s, "b", 1),
            entry(u"甲"_s, "a", 2), QVariantMap{{"appname", "c"}}};
        for (int app = 0; app < 1000; ++app)
            list << entry(u"甲"_s, QString::number(app).repeated(app ? 1 : 500), 0);
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(QVariantMap{{"trustedapp", list}}),
            world.folder.agent() + u"/ngncloudlist.archive"_s));
        press(*window, "trustlistBtn");
        QTRY_COMPARE(states->currentIndex(), 0);
        auto* rows = find<QListWidget>(*window, "trustListView");
        QCOMPARE(rows->count(), 1006);
        QStringList first;
        for (int row = 0; row < 6; ++row)
            first << rows->item(row)->text();
        QCOMPARE(first, (QStringList{"", "c", "乙", "b", "甲", "a"}));
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_VERIFY(!window);
        // The keyboard is with the list as soon as it is there.
        window = new QenTrustedAppWindow(world.client.helper, &main);
        window->openOver(&main);
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTRY_COMPARE(window->focusWidget(), find<QListWidget>(*window, "trustListView"));
        delete window;
    }
};

QTEST_MAIN(tst_ToolWindows)
#include "tst_ToolWindows.moc"
