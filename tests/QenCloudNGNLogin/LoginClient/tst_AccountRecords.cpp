#include "AccountModel.h"
#include "ArchiveStore.h"
#include "IntegerValue.h"
#include "QenServerConfig.h"
#include "StringExtension.h"

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
        QTest::newRow("number") << "0"
                                << "0";
        QTest::newRow("negative") << "-7"
                                  << "-7";
        QTest::newRow("fraction truncates") << "-3.9"
                                            << "-3";
        QTest::newRow("beyond a double") << "9007199254740993"
                                         << "9007199254740993";
        QTest::newRow("far too large") << "1e300"
                                       << "none";
        QTest::newRow("text") << "\"20\""
                              << "20";
        QTest::newRow("text with a tail") << "\" -2 days\""
                                          << "-2";
        QTest::newRow("text without a number") << "\"abc\""
                                               << "none";
        QTest::newRow("empty text") << "\"\""
                                    << "none";
        QTest::newRow("boolean") << "false"
                                 << "none";
        QTest::newRow("null") << "null"
                              << "none";
        QTest::newRow("list") << "[0]"
                              << "none";
        QTest::newRow("object") << "{}"
                                << "none";
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
        QCOMPARE(fresh->loginType(), 0);
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
        const auto stored = AccountModel::currentModel(root.path());
        QVERIFY(stored);
        QVERIFY(stored->ticket() != u"T-1234567890"_s);
        QCOMPARE(stored->decryptTicket(), u"T-1234567890"_s);
        QCOMPARE(stored->username(), u"张三"_s);
        QCOMPARE(stored->loginType(), 2);
        QCOMPARE(stored->islogout(), 1);
        QCOMPARE(stored->domainName(), u"CORP"_s);

        const QString path = AccountModel::modelSavePathWithCheck(false, root.path());
        QCOMPARE(QFile::permissions(path) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
        QFile raw(path);
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
        const auto archived = [](const ArchiveValue& value) {
            QTemporaryDir folder;
            archiveRootObject(value, folder.filePath("a"));
            QFile file(folder.filePath("a"));
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
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
        QCOMPARE(QenNetworkInfoModel::currentNetRecord(folder)->record_port, 443);
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

    void networkMarker_data() {
        QTest::addColumn<QVariant>("marker");
        QTest::addColumn<QString>("expected");
        QTest::newRow("extranet") << QVariant("1") << "ex:2";
        QTest::newRow("intranet") << QVariant("0") << "in:1";
        QTest::newRow("other text") << QVariant("2") << "in:1";
        QTest::newRow("number") << QVariant(1) << "in:1";
        QTest::newRow("missing") << QVariant() << "in:1";
    }
    void networkMarker() {
        QFETCH(QVariant, marker);
        QFETCH(QString, expected);
        QTemporaryDir folder;
        const QVariantList servers{QVariant(QVariantList{"in", 1}), QVariant(QVariantList{"ex", 2})};
        QVERIFY(archiveRootObject(ArchiveValue::fromVariant(servers), folder.filePath("config")));
        if (marker.isValid())
            QVERIFY(archiveRootObject(ArchiveValue::fromVariant(marker), folder.filePath("netType.archive")));
        QenServerConfig config(folder.filePath("config"), folder.path());
        config.readServerConfig();
        QCOMPARE(u"%1:%2"_s.arg(config.AcountIP_Config()).arg(config.AcountIP_Port()), expected);
    }

    void domainAnalysis_data() {
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("path");
        QTest::newRow("plain") << "10.0.0.8"
                               << "10.0.0.8"
                               << "";
        QTest::newRow("path") << "10.0.0.8#portal#qen"
                              << "10.0.0.8"
                              << "/portal/qen";
        QTest::newRow("empty pieces") << "a##b#"
                                      << "a"
                                      << "/b";
        QTest::newRow("only a separator") << "#"
                                          << ""
                                          << "";
        QTest::newRow("no host") << "#b"
                                 << ""
                                 << "/b";
    }
    void domainAnalysis() {
        QFETCH(QString, server);
        QFETCH(QString, host);
        QFETCH(QString, path);
        QenAnalyseDomain domain;
        domain.analyseServerConfig(server);
        QCOMPARE(domain.domain_config(), host);
        QCOMPARE(domain.path_config(), path);
        if (host.isEmpty() && path.isEmpty())
            return;
        domain.analyseServerConfig(u"other#x"_s);
        QCOMPARE(domain.domain_config(), host);
        QCOMPARE(domain.path_config(), path);
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
