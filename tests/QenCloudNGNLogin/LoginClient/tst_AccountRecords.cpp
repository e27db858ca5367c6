#include "AccountModel.h"
#include "ArchiveStore.h"
#include "IntegerValue.h"
#include "KeyedArchiver.h"
#include "QenServerConfig.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

/// The records on disk and the values read out of them.
class tst_AccountRecords : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void integers_data() {
        QTest::addColumn<QString>("json");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const QString& json, const char* expected) {
            QTest::newRow(name) << json << expected;
        };
        row("number", u"0"_s, "0");
        row("fraction truncates", u"-3.9"_s, "-3");
        row("beyond a double", u"9007199254740993"_s, "9007199254740993");
        row("far too large", u"1e300"_s, "none");
        row("text", u"\"20\""_s, "20");
        row("text with a tail", u"\" -2 days\""_s, "-2");
        row("text without a number", u"\"abc\""_s, "none");
        row("boolean", u"false"_s, "none");
        row("null", u"null"_s, "none");
    }
    void integers() {
        QFETCH(QString, json);
        QFETCH(QString, expected);
        const QJsonObject object = QJsonDocument::fromJson("{\"v\":" + json.toUtf8() + "}").object();
        const auto value = integerValue(object.value(u"v"));
        QCOMPARE(value ? QString::number(*value) : u"none"_s, expected);
        QVERIFY(!integerValue(object.value(u"missing")));
    }

    void recordSurvivesARestart() {
        QTemporaryDir root;
        QVERIFY(!AccountModel::currentModel(root.path()));
        QVERIFY(!AccountModel::deleteCurrentModel(root.path()));

        QVERIFY(AccountModel().save(root.path()));
        const auto fresh = AccountModel::currentModel(root.path());
        QVERIFY(fresh);
        QCOMPARE(fresh->ticket_state(), 1);
        QCOMPARE(fresh->networkType(), 1);
        QVERIFY(!fresh->userid().isNull() && fresh->userid().isEmpty());
        // The empty ticket is held enciphered as well, so it is not an empty text.
        QVERIFY(!fresh->ticket().isEmpty());

        AccountModel model;
        model.setUserid(u"zhangsan"_s);
        model.setUsername(u"张三"_s);
        model.setTicket(u"T-1234567890"_s);
        model.setLoginType(LoginType::QrCode);
        model.setIslogout(1);
        model.setDomainName(u"CORP"_s);
        QVERIFY(model.save(root.path()));
        QCOMPARE(AccountModel::currentModel(root.path()), std::optional(model));
        QCOMPARE(AccountModel::currentModel(root.path())->decryptTicket(), u"T-1234567890"_s);

        QFile raw(AccountModel::modelSavePathWithCheck(false, root.path()));
        QCOMPARE(raw.permissions() & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
        QVERIFY(raw.open(QIODevice::ReadOnly));
        QVERIFY(!raw.readAll().contains("T-1234567890"));
        QVERIFY(AccountModel::deleteCurrentModel(root.path()));
        QVERIFY(!AccountModel::currentModel(root.path()));
    }

    void plainTicketIsTakenAsItStands() {
        ArchiveValue object = ArchiveValue::object(u"AccountModel"_s);
        object.setField(u"ticket"_s, u"plain"_s);
        const auto model = AccountModel::decoded(object);
        QVERIFY(model);
        QCOMPARE(model->decryptTicket(), u"plain"_s);
        // A key that the file lacks is absent, not empty.
        QVERIFY(model->userid().isNull());
    }

    void foreignRecordsReadAsAbsent_data() {
        QTest::addColumn<QByteArray>("bytes");
        const auto archived = [](const ArchiveValue& value) { return Platform::KeyedArchiver::archivedData(value); };
        const QByteArray whole = archived(AccountModel().encoded());
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("text") << QByteArray("hello");
        QTest::newRow("cut short") << whole.left(whole.size() / 2);
        QTest::newRow("string root") << archived(u"AccountModel"_s);
        QTest::newRow("class not allowed") << archived(ArchiveValue::object(u"SomethingElse"_s));
        QTest::newRow("huge") << QByteArray(9 << 20, 'x');
    }
    void foreignRecordsReadAsAbsent() {
        QFETCH(QByteArray, bytes);
        QTemporaryDir root;
        QFile file(AccountModel::modelSavePathWithCheck(true, root.path()));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), bytes.size());
        file.close();
        QVERIFY(!AccountModel::currentModel(root.path()));
    }

    void serverRecordIsSavedOnlyWhenItDiffers() {
        QTemporaryDir root;
        const QString folder = root.filePath("deep/agent");
        QVERIFY(!QenNetworkInfoModel::currentNetRecord(folder));
        QVERIFY(!QenNetworkInfoModel::deleteCurrentNetModelRecord(folder));
        QenNetworkInfoModel model;
        model.record_server = u"10.0.0.8"_s;
        model.record_port = 8443;
        QVERIFY(model.saveModelRecord(folder));
        model.networkType = 1;
        QVERIFY(model.saveModelRecord(folder));
        QCOMPARE(QenNetworkInfoModel::currentNetRecord(folder)->networkType, 0);
        model.record_port = 443;
        QVERIFY(model.saveModelRecord(folder));
        QCOMPARE(QenNetworkInfoModel::currentNetRecord(folder)->networkType, 1);
        QVERIFY(QenNetworkInfoModel::deleteCurrentNetModelRecord(folder));
        QVERIFY(!model.saveModelRecord(u"/proc/no/such/folder"_s));
    }

    void serverConfiguration_data() {
        QTest::addColumn<QVariantList>("file");
        QTest::addColumn<QString>("expected");
        const QVariantList in{"10.0.0.1", 8080}, ex{"vpn.corp.example", 9090}, dom{"portal#qen", "443"};
        QTest::newRow("three") << QVariantList{QVariant(in), QVariant(ex), QVariant(dom)}
                               << "10.0.0.1:8080 vpn.corp.example:9090 portal#qen:443";
        QTest::newRow("one") << QVariantList{QVariant(in)} << "10.0.0.1:8080 -:0 10.0.0.1:443";
        QTest::newRow("five") << QVariantList{QVariant(in), QVariant(ex), QVariant(dom), QVariant(ex), QVariant(ex)}
                              << "10.0.0.1:8080 vpn.corp.example:9090 portal#qen:443";
        QTest::newRow("element of another shape")
            << QVariantList{QVariant(QVariantList{"10.0.0.1"}), QVariant(ex), 7} << "-:0 vpn.corp.example:9090 -:443";
        QTest::newRow("negative port") << QVariantList{QVariant(QVariantList{"10.0.0.1", -1})}
                                       << "10.0.0.1:0 -:0 10.0.0.1:443";
    }
    void serverConfiguration() {
        QFETCH(QVariantList, file);
        QFETCH(QString, expected);
        QTemporaryDir folder;
        QVERIFY(archiveRootObject(ArchiveValue::fromVariant(file), folder.filePath("config")));
        QenServerConfig config(folder.filePath("config"), folder.path());
        config.readServerConfig();
        QCOMPARE(describe(config), expected);
        // A file that went bad or away leaves what was read.
        QFile::remove(folder.filePath("config"));
        config.updateServerConfig();
        QVERIFY(archiveRootObject(u"not a list"_s, folder.filePath("config")));
        config.updateServerConfig();
        QCOMPARE(describe(config), expected);
    }

    void networkMarker() {
        QTemporaryDir folder;
        const QVariantList servers{QVariant(QVariantList{"in", 1}), QVariant(QVariantList{"ex", 2})};
        QVERIFY(archiveRootObject(ArchiveValue::fromVariant(servers), folder.filePath("config")));
        QenServerConfig config(folder.filePath("config"), folder.path());
        config.readServerConfig();
        QCOMPARE(config.AcountIP_Config(), u"in"_s);
        // One reader sees every change.
        for (const QVariant& marker : {QVariant("1"), QVariant("0"), QVariant("1"), QVariant(1), QVariant("2")}) {
            QVERIFY(archiveRootObject(ArchiveValue::fromVariant(marker), folder.filePath("netType.archive")));
            const bool isExtranet = marker == QVariant("1") && marker.typeId() == QMetaType::QString;
            QCOMPARE(config.AcountIP_Config(), isExtranet ? u"ex"_s : u"in"_s);
            QCOMPARE(config.AcountIP_Port(), isExtranet ? 2 : 1);
        }
    }

    void domainAnalysis() {
        const auto parts = [](const QStringList& servers) {
            QenAnalyseDomain domain;
            for (const QString& server : servers)
                domain.analyseServerConfig(server);
            return QStringList{domain.domain_config(), domain.path_config()};
        };
        QCOMPARE(parts({u"10.0.0.8"_s}), QStringList({"10.0.0.8", ""}));
        QCOMPARE(parts({u"a##b#"_s}), QStringList({"a", "/b"}));
        QCOMPARE(parts({u"#b"_s}), QStringList({"", "/b"}));
        // The first that says something counts until a restart.
        QCOMPARE(parts({u"#"_s, u"10.0.0.8#portal#qen"_s, u"other#x"_s}), QStringList({"10.0.0.8", "/portal/qen"}));
    }

private:
    static QString describe(const QenServerConfig& config) {
        const auto pair = [](const QString& server, quint64 port) {
            return u"%1:%2"_s.arg(server.isNull() ? u"-"_s : server).arg(port);
        };
        return pair(config.intranet_server(), config.intranet_port()) + u' ' +
            pair(config.extranet_server(), config.extranet_port()) + u' ' +
            pair(config.domain_server(), config.domain_port());
    }
};

QTEST_GUILESS_MAIN(tst_AccountRecords)
#include "tst_AccountRecords.moc"
