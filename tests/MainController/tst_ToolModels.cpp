#include "QenTrustedAppWindow.h"
#include "ToolNames.h"
#include "ToolOpener.h"
#include "ToolPictures.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QVariantMap application(const char* name, const char* category, const QVariant& serial) {
    QVariantMap entry{{"categoryname", QString::fromUtf8(category)}, {"appname", QString::fromUtf8(name)}};
    if (serial.isValid())
        entry.insert(u"category_serialnum"_s, serial);
    return entry;
}

/// "name: member member | name: …"
QString shown(const QVariantList& list) {
    QStringList texts;
    for (const QenCategoryMode& category : bySerialNumber(trustedCategories(list)))
        texts << category.categoryType() + u": "_s + category.trustedAppList().join(u' ');
    return texts.join(u" | "_s);
}

QList<QenToolModel> read(const QVariant& list) {
    return toolModels(list, [](const QString&) {});
}

QStringList names(const QList<QenToolModel>& models) {
    QStringList names;
    for (const QenToolModel& model : models)
        names << model.appName;
    return names;
}

} // namespace

/// The records of tools and trusted applications, and what opening a tool means.
class tst_ToolModels : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void recordsAreSortedAndBadOnesLeftOut() {
        const QVariantList list{
            QVariantMap{{"appname", "none"}},
            QVariantMap{{"appname", "two"}, {"app_serialnum", 2}, {"icon", 7}, {"procname", QVariantList{"x"}}},
            u"no record"_s,
            QVariantMap{{"appname", "ninety-nine"}, {"app_serialnum", "99"}},
            QVariantMap{{"appname", "also two"}, {"app_serialnum", 2}},
            QVariant(),
        };
        const QList<QenToolModel> models = read(list);
        QCOMPARE(names(models), (QStringList{"two", "also two", "ninety-nine", "none"}));
        QCOMPARE(models[0].icon, QString());
        QCOMPARE(models[0].procName, QString());
        QCOMPARE(models[3].appSerialNum, qint64(100));
        QVERIFY(read(u"no list"_s).isEmpty());
        QVERIFY(read({}).isEmpty());
    }

    void aRecordWithoutANameIsNamedOrLeftOut() {
        QStringList log;
        const QVariantList list{QVariantMap{{"procname", "Meet.app"}}, QVariantMap{{"appname", " "}, {"procname", "x"}},
            QVariantMap{{"apptype", "hyperlink"}, {"desturl", "portal.example.org:8080/a?b=c"}},
            QVariantMap{{"apptype", "hyperlink"}, {"desturl", "https://mail.example.org/"}}, QVariantMap(),
            QVariantMap{{"downloadurl", "http://d.example/"}}};
        const auto models = toolModels(list, [&log](const QString& line) { log << line; });
        QCOMPARE(names(models), (QStringList{"Meet", "x", "portal.example.org", "mail.example.org"}));
        QCOMPARE(log.size(), 2);
    }

    void foundByNameOrInitials_data() {
        using ToolNames::Match;
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("match");
        const auto row = [](const char* name, const char* typed, Match match) {
            QTest::newRow(qPrintable(u"%1 in %2"_s.arg(QString::fromUtf8(typed), QString::fromUtf8(name))))
                << QString::fromUtf8(name) << QString::fromUtf8(typed) << int(match);
        };
        row("视频会议", "视频", Match::Beginning);
        row("视频会议", "sphy", Match::Beginning);
        row("视频会议", "HY", Match::Within);
        row("视频会议", "会", Match::Within);
        row("视频会议", "x", Match::None);
        row("OA审批", "a审", Match::Within);
        row("差旅与费用报销审批", "clyfybxsp", Match::Beginning);
        row("安全 座谈", "aq zt", Match::Beginning);
        // Rare signs have no initial and do not hide those of the others.
        row("㐀鑫会议", "hy", Match::Beginning);
        row("😀会议", "hy", Match::Beginning);
        row("做", "z", Match::Beginning);
        row("", "a", Match::None);
    }
    void foundByNameOrInitials() {
        QFETCH(QString, name);
        QFETCH(QString, typed);
        QTEST(int(ToolNames::match(name, typed)), "match");
    }

    void iconsOfPrograms() {
        QTemporaryDir folder;
        const QString own = folder.filePath(u"own"_s);
        const QString common = folder.filePath(u"common"_s);
        const auto file = [](const QString& path) {
            QDir().mkpath(QFileInfo(path).path());
            return QFile(path).open(QIODevice::WriteOnly) ? path : QString();
        };
        const QString vector = file(common + u"/icons/hicolor/scalable/apps/mail.svg"_s);
        const QString small = file(common + u"/icons/hicolor/48x48/apps/mail.png"_s);
        const QString old = file(common + u"/pixmaps/old.png"_s);
        const QString theirs = file(own + u"/icons/hicolor/128x128/apps/chat.png"_s);
        file(common + u"/icons/hicolor/128x128/apps/chat.png"_s);
        QVERIFY(QDir().mkpath(common + u"/pixmaps/folder.png"_s));
        const QStringList folders{own, common};
        QCOMPARE(iconFile(u"mail"_s, folders), vector);
        QCOMPARE(iconFile(u"old"_s, folders), old);
        QCOMPARE(iconFile(u"old.png"_s, folders), old);
        QCOMPARE(iconFile(u"chat"_s, folders), theirs);
        QCOMPARE(iconFile(small, folders), small);
        for (const auto& none : {u"missing"_s, u""_s, u"../48x48/apps/mail"_s, u"folder"_s})
            QCOMPARE(iconFile(none, folders), QString());
    }

    void opening_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("opened");
        QTest::newRow("whole address") << u"http://a.example/"_s << u"http://a.example/"_s;
        QTest::newRow("without scheme") << u"a.example/x"_s << u"https://a.example/x"_s;
        QTest::newRow("the letters in the middle") << u"a.example/?u=http"_s << u"a.example/?u=http"_s;
        QTest::newRow("in capitals") << u"HTTP://a.example"_s << u"https://HTTP://a.example"_s;
        QTest::newRow("empty") << QString() << u"https://"_s;
    }
    void aLongNameLeavesTheSentenceItsEnd() {
        const QenToolModel tool =
            QenToolModel::initWithDictionary(QVariantMap{{"appname", QString(5000, QChar(0x5de5))}}).value();
        const QString message = toolOpening(tool, false).message;
        QVERIFY2(message.size() < 100 && message.endsWith(u"】，请自行下载安装该软件"), qPrintable(message));
    }
    void opening() {
        QFETCH(QString, address);
        const QVariantMap link{{"apptype", "hyperlink"}, {"appname", "x"}, {"desturl", address}};
        QTEST(toolOpening(QenToolModel::initWithDictionary(link).value(), false).url, "opened");
    }

    void categories_data() {
        QTest::addColumn<QVariantList>("list");
        QTest::addColumn<QString>("text");
        QTest::newRow("once in its category")
            << QVariantList{application("a", "甲", 1), application("b", "甲", 9), application("a", "甲", 1)}
            << "甲: a b";
        QTest::newRow("bad entries") << QVariantList{u"text"_s, 7, application("a", "甲", "x"),
                                            QVariantMap{{"categoryname", "甲"}},
                                            QVariantMap{{"categoryname", "甲"}, {"appname", 7}}}
                                     << "甲: a";
        QTest::newRow("without a name") << QVariantList{QVariantMap{{"appname", "a"}}, QVariantMap()} << ": a";
    }
    void categories() {
        QFETCH(QVariantList, list);
        QTEST(shown(list), "text");
    }
};

QTEST_GUILESS_MAIN(tst_ToolModels)
#include "tst_ToolModels.moc"
