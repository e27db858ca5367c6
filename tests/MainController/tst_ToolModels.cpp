#include "ToolNames.h"
#include "ToolOpener.h"
#include "ToolPictures.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

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

    void foundByNameOrInitials() {
        using ToolNames::Match;
        const std::tuple<const char*, const char*, Match> rows[] = {{"视频会议", "视频", Match::Beginning},
            {"视频会议", "sphy", Match::Beginning}, {"视频会议", "HY", Match::Within},
            {"视频会议", "会", Match::Within}, {"视频会议", "x", Match::None}, {"OA审批", "a审", Match::Within},
            {"差旅与费用报销审批", "clyfybxsp", Match::Beginning}, {"安全 座谈", "aq zt", Match::Beginning},
            // Rare signs have no initial and do not hide those of the others.
            {"㐀鑫会议", "hy", Match::Beginning}, {"😀会议", "hy", Match::Beginning}, {"做", "z", Match::Beginning},
            {"", "a", Match::None}};
        for (const auto& [name, typed, match] : rows)
            QVERIFY2(ToolNames::match(QString::fromUtf8(name), QString::fromUtf8(typed)) == match, typed);
    }

    void iconsOfPrograms() {
        QTemporaryDir folder;
        const auto file = [&folder](const QString& name) {
            const QString path = folder.filePath(name);
            QDir().mkpath(QFileInfo(path).path());
            return QFile(path).open(QIODevice::WriteOnly) ? path : QString();
        };
        const QStringList folders{folder.filePath(u"own"_s), folder.filePath(u"common"_s)};
        QVERIFY(QDir().mkpath(folders[1] + u"/pixmaps/folder.png"_s));
        // From the last choice to the first.
        for (const auto* place : {"common/pixmaps/mail.png", "common/icons/hicolor/48x48/apps/mail.png",
                 "common/icons/hicolor/scalable/apps/mail.svg", "common/icons/hicolor/128x128/apps/mail.png",
                 "own/pixmaps/mail"}) {
            const QString wanted = file(QString::fromLatin1(place));
            QCOMPARE(iconFile(u"mail"_s, folders), wanted);
            QCOMPARE(iconFile(wanted, folders), wanted);
        }
        QVERIFY(!iconFile(u"mail.png"_s, folders).isEmpty());
        for (const auto& none : {u"missing"_s, u""_s, u"../48x48/apps/mail"_s, u"folder"_s})
            QCOMPARE(iconFile(none, folders), QString());
    }

    void aLongNameLeavesTheSentenceItsEnd() {
        const QenToolModel tool =
            QenToolModel::initWithDictionary(QVariantMap{{"appname", QString(5000, QChar(0x5de5))}}).value();
        const QString message = toolOpening(tool, false).message;
        QVERIFY2(message.size() < 100 && message.endsWith(u"】，请自行下载安装该软件"), qPrintable(message));
    }

    void opening() {
        const std::pair<const char*, const char*> addresses[] = {{"http://a.example/", "http://a.example/"},
            {"a.example/x", "https://a.example/x"}, {"a.example/?u=http", "a.example/?u=http"},
            {"HTTP://a.example", "https://HTTP://a.example"}, {"", "https://"}};
        for (const auto& [address, opened] : addresses) {
            const QVariantMap link{{"apptype", "hyperlink"}, {"appname", "x"}, {"desturl", address}};
            QCOMPARE(toolOpening(QenToolModel::initWithDictionary(link).value(), false).url, QString(opened));
        }
    }
};

QTEST_GUILESS_MAIN(tst_ToolModels)
#include "tst_ToolModels.moc"
