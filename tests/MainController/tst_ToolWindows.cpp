#include "SessionWorld.h"

#include "QenToolCell.h"
#include "QenToolsView.h"
#include "QenTrustedAppWindow.h"
#include "StringTable.h"
#include "ToolOpener.h"
#include "Workspace.h"

#include <QListWidget>
#include <QScrollArea>
#include <QStackedWidget>

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

/// The box that stands open.
CustomMessageBox* box() {
    for (AutoReleaseWindowController* window : AutoReleaseWindowController::autoReleaseWCs()) {
        if (auto* found = qobject_cast<CustomMessageBox*>(window))
            return found;
    }
    return nullptr;
}

} // namespace

/// Tiles, the sheets of tools that are not there, and the window of trusted applications.
class tst_ToolWindows : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() {
        initMavResources();
        QVERIFY(installStringTable());
        Theme::apply(*qApp);
    }

    void sixTilesARow() {
        QenToolsView view;
        view.resize(840, 300);
        view.setModels(tools(7));
        view.show();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        const auto& cells = view.toolCells();
        QCOMPARE(cells.size(), 7);
        QCOMPARE(cells[0]->tag(), 100);
        QCOMPARE(cells[5]->y(), cells[0]->y());
        QVERIFY(cells[5]->geometry().right() < view.width());
        QCOMPARE(cells[6]->tag(), 106);
        QCOMPARE(cells[6]->x(), cells[0]->x());
        QVERIFY(cells[6]->y() > cells[0]->geometry().bottom());
        QStringList pressed;
        view.setCompletion([&pressed](const QenToolModel& model) { pressed << model.appName; });
        cells[0]->setFocus();
        const auto goesTo = [&cells](Qt::Key key, int index) {
            QTest::keyClick(QApplication::focusWidget(), key);
            return cells[index]->hasFocus();
        };
        QVERIFY(goesTo(Qt::Key_Left, 0));
        QVERIFY(goesTo(Qt::Key_Right, 1));
        QVERIFY(goesTo(Qt::Key_Down, 1));
        QVERIFY(goesTo(Qt::Key_Left, 0));
        QVERIFY(goesTo(Qt::Key_Down, 6));
        QVERIFY(goesTo(Qt::Key_Up, 0));
        QVERIFY(goesTo(Qt::Key_Down, 6));
        QTest::keyClick(cells[6], Qt::Key_Return);
        QTest::mouseClick(cells[3], Qt::LeftButton);
        QCOMPARE(pressed, (QStringList{"6", "3"}));
        view.setModels({});
        QVERIFY(view.toolCells().isEmpty());
        QVERIFY(find<QLabel>(view, "emptyLab")->isVisible());
    }

    void pictureOfATile_data() {
        QTest::addColumn<QString>("icon");
        QTest::addColumn<bool>("isOwn");
        QTest::newRow("by the part before the first dot") << "mail.app.tiff" << true;
        QTest::newRow("without a dot") << "mail" << true;
        QTest::newRow("none of that name") << "no-such.png" << false;
        QTest::newRow("the default by name") << "AppIcon.png" << false;
        QTest::newRow("way out of the pictures") << "../images/mail.svg" << false;
        QTest::newRow("way through the pictures") << "/mail.svg" << false;
    }
    void pictureOfATile() {
        QFETCH(QString, icon);
        const auto drawn = [](const QString& name) {
            return QenToolCell(tool(u"x"_s, {{"icon", name}})).grab().toImage();
        };
        QTEST(drawn(icon) != drawn({}), "isOwn");
    }

    void thousandToolsAndLongNames() {
        QenToolsView view;
        view.resize(840, 500);
        QList<QenToolModel> models = tools(1000);
        models[0].appName = QString(500, QChar(0x5de5)) + u"<b>"_s;
        models[0].icon = u"../../secret.png"_s;
        view.setModels(models);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QVERIFY(!view.grab().isNull());
        QCOMPARE(view.toolCells().size(), 1000);
        QVERIFY(view.toolCells()[0]->toolTip().endsWith(u"&lt;b&gt;"_s));
        view.toolCells()[999]->setFocus();
        QTRY_VERIFY(!view.toolCells()[999]->visibleRegion().isEmpty());
    }

    void missingToolIsToldInASheet_data() {
        QTest::addColumn<QString>("download");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("buttonTitle");
        QTest::addColumn<QString>("opened");
        const QString address = u"http://127.0.0.1/x'\"; touch y"_s;
        QTest::newRow("download") << address << "firstButton"
                                  << "下载" << address + u'\n';
        QTest::newRow("download not wanted") << address << "secondButton"
                                             << "取消" << QString();
        QTest::newRow("none") << ""
                              << "firstButton"
                              << "确定" << QString();
    }
    void missingToolIsToldInASheet() {
        QFETCH(QString, download);
        QFETCH(QString, button);
        QFETCH(QString, opened);
        QTemporaryDir folder;
        const QString noted = folder.filePath(u"noted"_s);
        QFile program(folder.filePath(u"xdg-open"_s));
        QVERIFY(program.open(QIODevice::WriteOnly));
        program.write("#!/bin/sh\nprintf '%s\\n' \"$@\" >'" + noted.toUtf8() + "'\n");
        program.close();
        QVERIFY(program.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        Platform::Workspace workspace({{}, {}, {folder.path()}});
        ToolOpener opener(workspace);
        QWidget window;
        window.show();
        opener.open(tool(u"会议"_s, {{"downloadurl", download}, {"procname", "Meet.app"}}), &window);
        QTRY_VERIFY(box());
        QCOMPARE(find<QLabel>(*box(), "titleLabel")->text(), u"提醒"_s);
        QCOMPARE(box()->message(),
            download.isEmpty() ? u"未安装应用【会议】，请自行下载安装该软件"_s
                               : u"未安装应用【会议】，如需下载安装，请点击\"下载\""_s);
        auto* pressed = find<QPushButton>(*box(), button.toLatin1().constData());
        QTEST(pressed->text(), "buttonTitle");
        if (download.isEmpty())
            QTest::ignoreMessage(QtInfoMsg, "(returnCode == NSOKButton)");
        QTest::mouseClick(pressed, Qt::LeftButton);
        QTRY_VERIFY(!box());
        const auto read = [&noted] {
            QFile file(noted);
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        };
        if (opened.isEmpty())
            QTest::qWait(50);
        QTRY_COMPARE(read(), opened);
    }

    void trustedApplicationsByCategory() {
        SessionWorld world;
        QWidget main;
        main.resize(960, 640);
        main.show();
        auto* window = new QenTrustedAppWindow(world.client.helper, &main);
        window->openOver(&main);
        QVERIFY(QTest::qWaitForWindowActive(window));
        auto* states = find<QStackedWidget>(*window, "listStates");
        QTRY_COMPARE(states->currentIndex(), 1);

        QVariantList list;
        for (int app = 0; app < 1000; ++app)
            list << QVariantMap{{"categoryname", app % 2 ? "乙" : "甲"},
                {"appname", QString::number(app).repeated(app ? 1 : 500)}, {"category_serialnum", app % 2 ? 1 : 2}};
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(QVariantMap{{"trustedapp", list}}),
            world.folder.agent() + u"/ngncloudlist.archive"_s));
        QTest::mouseClick(find<QPushButton>(*window, "trustlistBtn"), Qt::LeftButton);
        QTRY_COMPARE(states->currentIndex(), 0);
        auto* rows = find<QListWidget>(*window, "trustListView");
        QCOMPARE(rows->count(), 1002);
        QCOMPARE(rows->item(0)->text(), u"乙"_s);
        QCOMPARE(rows->item(501)->text(), u"甲"_s);
        QPointer<QenTrustedAppWindow> alive(window);
        QTest::keyClick(window, Qt::Key_Escape);
        QTRY_VERIFY(!alive);
    }
};

QTEST_MAIN(tst_ToolWindows)
#include "tst_ToolWindows.moc"
