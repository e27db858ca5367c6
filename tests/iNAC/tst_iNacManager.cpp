#include "iNacManager.h"

#include "NacWorld.h"
#include "PropertyList.h"
#include "Tally.h"
#include "WireCodec.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

const QString FailedMessage = u"Get Inac Cer faild with msg:"_s;
const QString Exception = u"[iNacManager] server inac info exception"_s;
const QString ProfileWritten =
    u"[iNacManager] QenCloud write RTMDMNetwork.mobileconfig to QenCloudL directory result:1"_s;
const QString CacheWritten = u"[iNacManager] QenCloud write inacCache.archive result: 1"_s;

const QJsonObject Certificates{
    {"rootCA", "Um9vdA=="}, {"subCA", "U3Vi"}, {"p12", "cDEyLXNlY3JldA=="}, {"pwd", "pw-secret"}};

/// The answers come sealed as requests are, by code that the client does not share.
QByteArray answerWith(QJsonObject certificates, const QString& leftOut = {}) {
    certificates.remove(leftOut);
    return WireCodec::sealRequest({{"ret", 0}, {"msg", "ok"}, {"stacktrace", ""}, {"data", certificates}});
}

QByteArray read(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class Lookup final : public Platform::CertificateLookup {
public:
    bool hasCertificate(const QString& label) override {
        asked.append(label);
        onMainThread = Platform::isMainThread();
        return label == known;
    }
    QStringList asked;
    QString known;
    bool onMainThread = false;
};

QVariantMap propertyList(const QByteArray& xml) {
    const auto value = Platform::PropertyList::decoded(xml);
    return value ? value->toVariant().toMap() : QVariantMap();
}

/// Answers when it is told to.
class HeldServer {
public:
    Tally asked;
    Tally mayAnswer;

    QString url() const { return m_server.url({}); }

private:
    const LoopbackServer m_server{[this](LoopbackConnection& connection) {
        connection.readRequest();
        asked.release();
        mayAnswer.tryAcquire(1, 10000);
        connection.write(LoopbackServer::ok(answerWith(Certificates)));
        connection.waitForClient();
    }};
};

class ManagerWorld : public NacWorld {
public:
    std::unique_ptr<iNacManager> make() {
        return std::make_unique<iNacManager>(iNacManager::World{*network, log, certificates, state(),
            {.userName = [] { return u"lin"_s; },
                .machineName = [] { return u"the machine"_s; },
                .uuid = [] { return u"UUID-1"_s; },
                .macAddresses =
                    [] {
                        return QStringList{u"0A"_s, u"0B"_s};
                    },
                .homeForUser = [this](const QString& user) { return user == u"lin" ? folder.home() : QString(); },
                .profileTemplate = [this] { return profileTemplate; }}});
    }
    QString cache() const {
        const auto root = folder.read(u"inacCache.archive"_s);
        return root ? root->string() : QString();
    }
    QByteArray profile() const { return read(folder.state(u"RTMDMNetwork.mobileconfig"_s)); }

    Lookup certificates;
    QByteArray profileTemplate = read(QStringLiteral(PROFILE_TEMPLATE));
};

} // namespace

class tst_iNacManager : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void task_data();
    void task();
    void profile();
    void requestParameters();
    void staticProfile();
    void lateAnswerFindsNobody();
    void olderTaskChangesNothing();
    void presence_data();
    void presence();
};

void tst_iNacManager::task_data() {
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("lastLine");
    QTest::addColumn<bool>("isException");
    QTest::addColumn<bool>("hasProfile");
    QTest::addColumn<QString>("cache");
    const auto fails = [](const char* name, const QByteArray& answer, const QString& message = u"(null)"_s) {
        QTest::newRow(name) << answer << FailedMessage + message << false << false << QString();
    };
    const auto usable = [](const char* name, const QByteArray& answer, bool isException) {
        QTest::newRow(name) << answer << CacheWritten << isException << !isException << "3";
    };
    const QByteArray good = answerWith(Certificates);
    QTest::newRow("server fails") << QByteArray() << "Get Inac Cer faild with error:" << false << false << QString();
    fails("empty", "");
    fails("no text", "\xff\xfe\x80");
    fails("no Base64", "====");
    fails("cut off", good.left(good.size() / 2));
    fails("does not inflate", WireCodec::sealAnswer({{"ret", 0}, {"data", Certificates}}));
    fails("no JSON", WireCodec::encipher(WireCodec::deflate("not json")));
    fails("a list", WireCodec::encipher(WireCodec::deflate("[0]")));
    fails("ret missing", WireCodec::sealRequest({{"msg", "late"}, {"data", Certificates}}), u"late"_s);
    fails("refused", WireCodec::sealRequest({{"ret", 7}, {"msg", "没有权限"}}), u"没有权限"_s);
    usable("good", good, false);
    usable("no data", WireCodec::sealRequest({{"ret", 0}}), true);
    usable("data of another type", WireCodec::sealRequest({{"ret", 0}, {"data", "x"}}), true);
    for (const char* field : {"rootCA", "subCA", "p12", "pwd"})
        usable(field, answerWith(Certificates, QLatin1String(field)), true);
    QJsonObject emptyPassword = Certificates;
    emptyPassword["pwd"] = "";
    usable("empty password", answerWith(emptyPassword), true);
}

void tst_iNacManager::task() {
    QFETCH(QByteArray, answer);
    QFETCH(QString, lastLine);
    QFETCH(bool, isException);
    const LoopbackServer server(LoopbackServer::always(
        answer.isNull() ? "HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n" : LoopbackServer::ok(answer)));
    ManagerWorld world;
    const auto manager = world.make();
    manager->executeInacTaskWithUserName(u"lin"_s, u"T-secret"_s, {"office"}, server.url({}));
    QTRY_VERIFY2_WITH_TIMEOUT(world.logText().contains(lastLine), qPrintable(world.logText()), 10000);
    const QString log = world.logText();
    QCOMPARE(log.contains(u"[iNacManager] iNacResponse Dic:"_s), !answer.isNull());
    QCOMPARE(log.contains(u"Get Inac Cer with dic:"_s), manager->cerInfo().has_value());
    QCOMPARE(log.contains(Exception), isException);
    QTEST(!world.profile().isEmpty(), "hasProfile");
    QTEST(log.contains(ProfileWritten), "hasProfile");
    QTEST(world.cache(), "cache");
    for (const char* secret : {"T-secret", "pw-secret", "cDEyLXNlY3JldA=="})
        QVERIFY2(!log.contains(QLatin1String(secret)), qPrintable(log));
}

void tst_iNacManager::profile() {
    const LoopbackServer server(LoopbackServer::always(LoopbackServer::ok(answerWith(Certificates))));
    ManagerWorld world;
    const auto manager = world.make();
    const QJsonArray ssids{"office", "", "访客 <1> & 2", "office", 5, QJsonValue()};
    manager->executeInacTaskWithUserName(u"lin"_s, u"t"_s, ssids, server.url({}));
    QTRY_VERIFY_WITH_TIMEOUT(world.cache() == u"3", 10000);
    QCOMPARE(manager->ssids(), ssids);
    QCOMPARE(manager->cerInfo()->data.pwd, u"pw-secret"_s);

    const QFile file(world.folder.state(u"RTMDMNetwork.mobileconfig"_s));
    QCOMPARE(file.permissions() & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());

    const QStringList uuids{u"A23B9547-4853-4298-8A22-3FEDAEE4FCF5"_s, u"98C1E945-3056-4F0D-B174-BD8A68461FE3"_s,
        u"47A5FE22-02D8-48B8-A249-13FF8C1A0D1E"_s};
    const QVariantList payloads = propertyList(world.profile()).value(u"PayloadContent"_s).toList();
    QCOMPARE(payloads.size(), 5);
    const QStringList fields{u"rootCA"_s, u"subCA"_s, u"p12"_s};
    for (int i = 0; i < 3; ++i) {
        const QVariantMap payload = payloads[i].toMap();
        QCOMPARE(payload["PayloadUUID"].toString(), uuids[i]);
        QCOMPARE(payload["PayloadContent"].toString(), Certificates.value(fields[i]).toString());
        QCOMPARE(payload["Password"].toString(), i == 2 ? u"pw-secret"_s : QString());
    }

    QMap<QString, QString> uuidOfName;
    for (int i = 3; i < 5; ++i) {
        const QVariantMap wifi = payloads[i].toMap();
        const QString ssid = wifi["SSID_STR"].toString();
        const QString uuid = wifi["PayloadUUID"].toString();
        uuidOfName.insert(ssid, uuid);
        QVERIFY(QRegularExpression(u"^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$"_s).match(uuid).hasMatch());
        const QVariantMap eap{
            {"AcceptEAPTypes", QVariantList{13}}, {"PayloadCertificateAnchorUUID", QVariantList{uuids[0], uuids[1]}}};
        const QVariantMap wanted{{"AutoJoin", 1}, {"CaptiveBypass", 0}, {"EAPClientConfiguration", eap},
            {"EncryptionType", "WPA"}, {"HIDDEN_NETWORK", 0}, {"Interface", "BuiltInWireless"}, {"IsHotspot", 0},
            {"PayloadCertificateUUID", uuids[2]}, {"PayloadDisplayName", u"WiFi (%1)"_s.arg(ssid)},
            {"PayloadEnabled", 1}, {"PayloadIdentifier", u"com.apple.wifi.managed."_s + uuid},
            {"PayloadType", "com.apple.wifi.managed"}, {"PayloadUUID", uuid}, {"PayloadVersion", 1},
            {"ProxyType", "None"}, {"SSID_STR", ssid}, {"SetupModes", QVariantList{"System"}}};
        QCOMPARE(QJsonObject::fromVariantMap(wifi), QJsonObject::fromVariantMap(wanted));
    }
    QCOMPARE(uuidOfName.keys(), (QStringList{u"office"_s, u"访客 <1> & 2"_s}));
    QVERIFY(uuidOfName.first() != uuidOfName.last());
}

void tst_iNacManager::requestParameters() {
    ManagerWorld world;
    const QJsonObject wanted{{"machinename", "the machine"}, {"userid", "lin"}, {"deviceid", "UUID-1"},
        {"mac", "0A;0B"}, {"ticket", "t"}, {"os", 3}};
    QCOMPARE(world.make()->generaliNacRequestParamsWithUsername(u"lin"_s, u"t"_s), wanted);
}

void tst_iNacManager::staticProfile() {
    ManagerWorld world;
    QVERIFY(QDir(world.state()).removeRecursively());
    QVERIFY(!world.make()->checkCaVersion());
    QVERIFY(archiveRootObject(u"1"_s, world.folder.state(u"caCache.archive"_s)));
    QVERIFY(world.make()->checkCaVersion());

    QVERIFY(QDir(world.state()).removeRecursively());
    world.make()->installStaticMobileconfig();
    QCOMPARE(world.cache(), u"2"_s);
    QCOMPARE(propertyList(world.profile()), propertyList(world.profileTemplate));
    QVERIFY(world.logText().contains(ProfileWritten));

    ManagerWorld bare;
    bare.profileTemplate.clear();
    bare.make()->installStaticMobileconfig();
    QCOMPARE(bare.cache(), u"2"_s);
    QVERIFY(bare.profile().isEmpty());

    ManagerWorld blocked;
    QVERIFY(QDir(blocked.state()).removeRecursively());
    QFile inTheWay(blocked.state());
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    blocked.make()->installStaticMobileconfig();
    QVERIFY(blocked.logText().contains(u"RTMDMNetwork.mobileconfig to QenCloudL directory result:0"_s));
    QVERIFY(blocked.logText().contains(u"write inacCache.archive result: 0"_s));
}

void tst_iNacManager::lateAnswerFindsNobody() {
    HeldServer server;
    ManagerWorld world;
    auto manager = world.make();
    manager->executeInacTaskWithUserName(u"lin"_s, u"t"_s, {}, server.url());
    QVERIFY(server.asked.tryAcquire(1, 10000));
    manager.reset();
    server.mayAnswer.release();
    QTest::qWait(100);
    world.network.reset();
    QVERIFY(!world.logText().contains(u"iNacResponse"_s));
}

/// Somebody else has signed in before the answer: the profile is theirs.
void tst_iNacManager::olderTaskChangesNothing() {
    HeldServer server;
    ManagerWorld world;
    const auto manager = world.make();
    manager->executeInacTaskWithUserName(u"lin"_s, u"t"_s, {"office"}, server.url());
    QVERIFY(server.asked.tryAcquire(1, 10000));
    manager->installStaticMobileconfig();
    server.mayAnswer.release();
    QTRY_VERIFY_WITH_TIMEOUT(world.logText().contains(u"iNacResponse"_s), 10000);
    std::atomic<bool> isOver{false};
    manager->checkiNacNecessaryWithUrl({}, [&](bool) { isOver = true; });
    QTRY_VERIFY_WITH_TIMEOUT(isOver, 10000);
    QCOMPARE(world.cache(), u"2"_s);
    QVERIFY(!manager->cerInfo());
    QVERIFY(!world.profile().contains("pw-secret"));
}

void tst_iNacManager::presence_data() {
    QTest::addColumn<QVariant>("status");
    QTest::addColumn<bool>("isPresent");
    QTest::addColumn<QStringList>("asked");
    QTest::addColumn<QString>("authMethod");
    const auto row = [](const char* name, const QVariant& status, const QString& authMethod, bool isPresent = false,
                         const QStringList& asked = {}) {
        QTest::newRow(name) << status << isPresent << asked << authMethod;
    };
    const QString lin = u"lin.cert"_s;
    row("found", QVariantMap{{"commonName", lin}, {"serialNumber", "0A"}, {"authMethod", "3"}}, u"3"_s, true, {lin});
    row("not found", QVariantMap{{"commonName", "wang"}, {"serialNumber", "0A"}}, {}, false, {u"wang"_s});
    row("no serial number", QVariantMap{{"commonName", lin}, {"authMethod", "2"}}, u"2"_s);
    row("no name", QVariantMap{{"serialNumber", "0A"}}, {});
    row("other types", QVariantMap{{"commonName", 5}, {"serialNumber", "0A"}, {"authMethod", 3}}, {});
    row("no dictionary", lin, {});
    row("missing", {}, {});
}

void tst_iNacManager::presence() {
    QFETCH(QVariant, status);
    ManagerWorld world;
    world.certificates.known = u"lin.cert"_s;
    const QString path = world.folder.state(u"inacStatus.archive"_s);
    if (status.isValid())
        QVERIFY(archiveRootObject(ArchiveValue::fromVariant(status), path));
    const auto manager = world.make();
    std::atomic<int> answer{-1};
    manager->checkiNacNecessaryWithUrl(u"http://unused"_s, [&](bool isPresent) { answer = isPresent; });
    QTRY_VERIFY_WITH_TIMEOUT(answer >= 0, 10000);
    QTEST(answer == 1, "isPresent");
    QTEST(world.certificates.asked, "asked");
    QVERIFY(!world.certificates.onMainThread);
    QTEST(manager->localCerAuthMethod(), "authMethod");
    const QString log = world.logText();
    for (const QString& name : world.certificates.asked) {
        const QString line = answer == 1 ? u"[iNacManager] Inac certificate exists locally commonName: "_s
                                         : u"[iNacManager] Inac No certificate exists locally commonName:"_s;
        QVERIFY2(log.contains(line + name), qPrintable(log));
    }
}

QTEST_GUILESS_MAIN(tst_iNacManager)
#include "tst_iNacManager.moc"
