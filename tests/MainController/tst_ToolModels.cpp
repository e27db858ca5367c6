#include "ToolOpening.h"
#include "TrustedCategories.h"

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

} // namespace

Q_DECLARE_METATYPE(ToolOpening)

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
        QStringList names;
        for (const QenToolModel& model : toolModels(list))
            names << model.appName;
        QCOMPARE(names, (QStringList{"two", "also two", "ninety-nine", "none"}));
        QCOMPARE(toolModels(list)[0].icon, QString());
        QCOMPARE(toolModels(list)[0].procName, QString());
        QCOMPARE(toolModels(list)[3].appSerialNum, qint64(100));
        QVERIFY(toolModels(u"no list"_s).isEmpty());
        QVERIFY(toolModels({}).isEmpty());
    }

    void everyKeyHasItsField() {
        QVariantMap values;
        for (const char* key : {"apptype", "downloadurl", "desturl", "appname", "procname", "execpath", "signature",
                 "appversion", "corp", "icon"})
            values.insert(QString::fromLatin1(key), QString::fromLatin1(key));
        const auto model = QenToolModel::initWithDictionary(values).value();
        QCOMPARE((QStringList{model.appType, model.downloadUrl, model.desUrl, model.appName, model.procName,
                     model.execPath, model.signature, model.appVersion, model.corp, model.icon}),
            (QStringList{"apptype", "downloadurl", "desturl", "appname", "procname", "execpath", "signature",
                "appversion", "corp", "icon"}));
    }

    void opening_data() {
        using Action = ToolOpening::Action;
        QTest::addColumn<QVariantMap>("tool");
        QTest::addColumn<bool>("isInstalled");
        QTest::addColumn<ToolOpening>("opening");
        const auto link = [](const char* name, const char* address, const char* opened) {
            QTest::newRow(name) << QVariantMap{{"apptype", "hyperlink"}, {"desturl", address}} << false
                                << ToolOpening{Action::OpenLink, QString::fromLatin1(opened), {}, {}};
        };
        link("whole address", "http://a.example/", "http://a.example/");
        link("without scheme", "a.example/x", "https://a.example/x");
        link("the letters in the middle", "a.example/?u=http", "a.example/?u=http");
        link("in capitals", "HTTP://a.example", "https://HTTP://a.example");
        link("empty", "", "https://");
        const QVariantMap meeting{{"apptype", "application"}, {"appname", "会议"}, {"procname", "Meet.app"}};
        QTest::newRow("installed") << meeting << true << ToolOpening{Action::Launch, {}, u"Meet.app"_s, {}};
        QVariantMap offered = meeting;
        offered.insert(u"downloadurl"_s, u"http://d.example/"_s);
        QTest::newRow("missing, with download") << offered << false
                                                << ToolOpening{Action::OfferDownload, u"http://d.example/"_s, {},
                                                       u"未安装应用【会议】，如需下载安装，请点击\"下载\""_s};
        QVariantMap empty = meeting;
        empty.insert(u"downloadurl"_s, QString());
        QTest::newRow("missing, empty download")
            << empty << false
            << ToolOpening{Action::TellMissing, {}, {}, u"未安装应用【会议】，请自行下载安装该软件"_s};
    }
    void aLongNameLeavesTheSentenceItsEnd() {
        const QenToolModel tool =
            QenToolModel::initWithDictionary(QVariantMap{{"appname", QString(5000, QChar(0x5de5))}}).value();
        const QString message = toolOpening(tool, false).message;
        QVERIFY2(message.size() < 100 && message.endsWith(u"】，请自行下载安装该软件"), qPrintable(message));
    }
    void opening() {
        QFETCH(QVariantMap, tool);
        QFETCH(bool, isInstalled);
        QFETCH(ToolOpening, opening);
        QVERIFY(toolOpening(QenToolModel::initWithDictionary(tool).value(), isInstalled) == opening);
    }

    void categories_data() {
        QTest::addColumn<QVariantList>("list");
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QVariantList() << "";
        QTest::newRow("by serial number")
            << QVariantList{application("a", "三", 3), application("b", "一", 1), application("c", "二", 2)}
            << "一: b | 二: c | 三: a";
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
