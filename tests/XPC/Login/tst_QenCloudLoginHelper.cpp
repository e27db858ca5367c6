#include "ClientWorld.h"

#include "ReferenceServer.h"
#include "WireCodec.h"

#include <QProcess>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;
using Platform::Error;

namespace {

QString operation(const char* name) {
    return u"/api/public/clientlogin/"_s + QString::fromLatin1(name);
}

/// Records what the session asked of its peers.
class Peers final : public NetworkAccessLink {
public:
    Peers() {
        requestGeneralConfig = [this](const std::function<void(const QJsonObject&, const Error&)>& completion) {
            note(u"config"_s);
            if (beforeConfig)
                beforeConfig();
            completion(m_config, {});
        };
        checkiNacNecessaryWithUrl = [this](const QString& url, const std::function<void(bool)>& completion) {
            note(u"necessary "_s + url);
            completion(certificatePresent);
        };
        executeInacTaskWithUserName = [this](const QString& user, const QString&, const QJsonArray& ssids,
                                          const QString& url) {
            note(u"task %1 %2 %3"_s.arg(user, QString::number(ssids.size()), url));
        };
        installStaticMobileconfig = [this] { note(u"static"_s); };
    }
    LoginLinks links() {
        return {[this] { note(u"run"_s); }, [this] { note(u"close"_s); }, this};
    }
    QStringList calls() {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }

    void offer(const QString& method) {
        const QJsonObject config{{"domain", QJsonObject{{"auth_method", method}, {"inac_addr", "http://nac"}}},
            {"wifisettings", QJsonObject{{"ssidlist", QJsonArray{"a", "b"}}}}};
        m_config = {{"ret", 0}, {"data", QString::fromLatin1(WireCodec::sealAnswer(config))}};
    }

    std::function<void()> beforeConfig;
    bool certificatePresent = false;

private:
    void note(const QString& call) {
        const std::lock_guard lock(m_mutex);
        m_calls << call;
    }
    QJsonObject m_config;
    std::mutex m_mutex;
    QStringList m_calls;
};

void storeRecord(const ClientFolder& folder, LoginType type, qint64 islogout = 0) {
    AccountModel record;
    record.setUserid(u"lin"_s);
    record.setTicket(u"T-old"_s);
    record.setLoginType(type);
    record.setIslogout(islogout);
    QVERIFY(record.save(folder.support()));
}

QJsonObject answerWith(const QJsonObject& data, int ret = 0) {
    return {{"ret", ret}, {"msg", "m"}, {"data", data}};
}

} // namespace

/// The session's states, driven over loopback by the real server and its faults.
class tst_QenCloudLoginHelper : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        m_server.addAccount(u"lin"_s, u"Passw0rd!"_s, {}, u"lin@corp.example"_s);
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }
    void init() { m_server.clearFaults(); }

    void signInConfirmAndSignOut() {
        ClientFolder folder(m_server.httpPort());
        Peers peers;
        ClientWorld client(folder, peers.links());
        QList<bool> told;
        std::mutex toldMutex;
        client.helper.setLoginBlock([&](bool signedIn) {
            const std::lock_guard lock(toldMutex);
            told << signedIn;
        });

        client.helper.createSoleidAndSave();
        const auto soleId = client.helper.getSoleID();
        QVERIFY(soleId);
        QVERIFY(QRegularExpression(u"^[0-9a-f]{16}$"_s).match(*soleId).hasMatch());
        client.helper.createSoleidAndSave();
        QCOMPARE(client.helper.getSoleID(), soleId);

        Outcome right;
        client.helper.login({{"userid", "lin"}, {"password", "Passw0rd!"}, {"otp", ""}}, right.completion());
        QVERIFY(right.wait());
        QVERIFY(client.helper.iflogin());
        QVERIFY(client.helper.isCheckAndShow());
        QVERIFY(!client.helper.getSoleID());
        QCOMPARE(client.helper.currentLoginType(), 1);
        QCOMPARE(folder.read(u"userpolicy.archive"_s)->string(), u"userPolicyRequest"_s);
        QCOMPARE(peers.calls(), QStringList{u"run"_s});
        const auto record = AccountModel::currentModel(folder.support());
        QCOMPARE(record->decryptTicket(), right.answer.value(u"data").toObject().value(u"ticket").toString());
        QTRY_VERIFY(folder.hasState(u"NGNPolicy.archive"_s));
        const auto policy = folder.read(u"NGNPolicy.archive"_s);
        QVERIFY(policy->isDictionary() && policy->isMutable() && policy->value(u"data").isMutable());

        // The server issues another ticket: the record follows.
        QVERIFY(m_server.action(u"rotate_ticket"_s, {{"userid", "lin"}}));
        Outcome confirmed;
        client.helper.checkTicketStatus(confirmed.completion());
        QVERIFY(confirmed.wait());
        const auto renewed = AccountModel::currentModel(folder.support());
        QVERIFY(renewed->ticket() != record->ticket());
        QCOMPARE(renewed->decryptTicket(), confirmed.answer.value(u"data").toObject().value(u"ticket").toString());

        Outcome out;
        client.helper.logout(
            {{"userid", "lin"}, {"ticket", renewed->decryptTicket()}, {"msg", "logout"},
                {"mac", client.device.macAddresses().join(u';')}, {"ip", ""}, {"deviceid", client.device.uuid()}},
            out.completion());
        QVERIFY(out.wait());
        QVERIFY2(out.answer.value(u"ret") == QJsonValue(0), qPrintable(out.answer.value(u"msg").toString()));
        QVERIFY(!client.helper.iflogin());
        QVERIFY(!client.helper.isCheckAndShow());
        QVERIFY(!folder.hasState(u"login.archive"_s));
        QVERIFY(client.helper.getSoleID());
        QCOMPARE(peers.calls().last(), u"close"_s);
        // Kept for the agent on purpose.
        QVERIFY(folder.hasState(u"userpolicy.archive"_s));
        const std::lock_guard lock(toldMutex);
        QCOMPARE(told, QList<bool>({true, true, false}));
    }

    void polls_data() {
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<int>("loginType");
        QTest::addColumn<bool>("staysSignedIn");
        QTest::addColumn<QString>("told");
        const auto row = [](const char* name, const QJsonObject& answer, LoginType type, bool stays, const char* told) {
            QTest::newRow(name) << QJsonObject{{"kind", "json"}, {"json", answer}} << static_cast<int>(type) << stays
                                << told;
        };
        // A transport that fails ends nobody's session.
        for (const char* kind : {"close", "text"})
            QTest::newRow(kind) << QJsonObject{{"kind", kind}} << int(LoginType::Account) << true << "";
        row("valid", answerWith({{"state", 0}}), LoginType::Account, true, "in");
        for (const int state : {-7, -4, -3, -2}) {
            const QByteArray name = "state " + QByteArray::number(state);
            row(name.constData(), answerWith({{"state", state}}), LoginType::Account, false, "out");
        }
        row("-7 of a domain session", answerWith({{"state", -7}}), LoginType::Domain, true, "");
        row("state -5", answerWith({{"state", -5}}), LoginType::Account, true, "");
        row("state as text", answerWith({{"state", "-7"}}), LoginType::Account, false, "out");
        row("ret not 0", answerWith({}, 9), LoginType::Account, false, "out");
        row("ret not 0 of a domain session", answerWith({}, 9), LoginType::Domain, true, "");
        row("no ret", {{"data", QJsonObject{{"state", -7}}}}, LoginType::Account, true, "");
        row("data is a list", {{"ret", 0}, {"data", QJsonArray{-7}}}, LoginType::Account, true, "");
        row("QR scanned", answerWith({{"state", -1}}), LoginType::Account, true, "");
        row("QR ended", answerWith({{"state", -3}}), LoginType::Account, false, "out");
        row("QR ret not 0", answerWith({{"state", -3}}, 1), LoginType::Account, true, "");
        row("QR without a ticket", answerWith({{"state", 0}, {"userid", "wang"}}), LoginType::Account, true, "");
    }
    void polls() {
        QFETCH(QJsonObject, fault);
        QFETCH(int, loginType);
        QFETCH(bool, staysSignedIn);
        QFETCH(QString, told);
        const bool isQR = QByteArray(QTest::currentDataTag()).startsWith("QR");
        ClientFolder folder(m_server.httpPort());
        storeRecord(folder, static_cast<LoginType>(loginType));
        const auto before = *AccountModel::currentModel(folder.support());
        ClientWorld client(folder);
        QString heard;
        client.helper.setLoginBlock([&](bool signedIn) { heard = signedIn ? u"in"_s : u"out"_s; });
        QVERIFY(m_server.fault(operation(isQR ? "scan_status" : "ticket_auth"), fault));
        Outcome outcome;
        if (isQR)
            client.helper.CheckQRLoginState(outcome.completion());
        else
            client.helper.checkTicketStatus(outcome.completion());
        QVERIFY(outcome.wait());
        QCOMPARE(!outcome.error, fault.contains(u"json"));
        QCOMPARE(client.helper.iflogin(), staysSignedIn);
        QCOMPARE(heard, told);
        QCOMPARE(client.helper.isCheckAndShow(), told == u"in"_s);
        QCOMPARE(client.helper.getSoleID().has_value(), !staysSignedIn);
        if (staysSignedIn)
            QCOMPARE(AccountModel::currentModel(folder.support())->ticket(), before.ticket());
    }

    void signOutWithoutANetworkStaysPending() {
        ClientFolder folder(1); // nothing listens there
        storeRecord(folder, LoginType::Account);
        ClientWorld client(folder);
        Outcome out;
        client.helper.logout({{"userid", "lin"}}, out.completion());
        QVERIFY(out.wait());
        QVERIFY(out.error);
        QVERIFY(client.helper.iflogin());
        QCOMPARE(AccountModel::currentModel(folder.support())->islogout(), 1);
        QVERIFY(client.logText().contains(u"[QenCloudLoginHelper] QenCloud logout fail because no network!!!"_s));
    }

    void qrSignInLooksAfterNetworkAccess_data() {
        QTest::addColumn<QString>("method");
        QTest::addColumn<bool>("present");
        QTest::addColumn<QString>("call");
        QTest::newRow("certificate") << "3" << false << "task 林 2 http://nac";
        QTest::newRow("static profile") << "2" << false << "static";
        QTest::newRow("already there") << "3" << true << "";
        QTest::newRow("other method") << "1" << false << "";
    }
    void qrSignInLooksAfterNetworkAccess() {
        QFETCH(QString, method);
        QFETCH(bool, present);
        QFETCH(QString, call);
        ClientFolder folder(m_server.httpPort());
        Peers peers;
        peers.certificatePresent = present;
        peers.offer(method);
        ClientWorld client(folder, peers.links());
        QVERIFY(scansAndConfirms(client));
        QCOMPARE(client.helper.currentLoginType(), 2);
        QVERIFY(folder.hasState(u"userpolicy.archive"_s));
        QStringList expected{u"run"_s, u"config"_s, u"necessary http://nac"_s};
        if (!call.isEmpty())
            expected << call;
        QCOMPARE(peers.calls(), expected);
    }

    void nothingFollowsForSomebodyWhoHasLeft() {
        ClientFolder folder(m_server.httpPort());
        Peers peers;
        peers.offer(u"3"_s);
        ClientWorld client(folder, peers.links());
        peers.beforeConfig = [&folder] { AccountModel::deleteCurrentModel(folder.support()); };
        QVERIFY(scansAndConfirms(client));
        QCOMPARE(peers.calls(), QStringList({u"run"_s, u"config"_s}));

        // Nor is the policy kept that was asked for while the person was here.
        storeRecord(folder, LoginType::Account);
        QVERIFY(client.helper.iflogin());
        QVERIFY(m_server.fault(u"/qen/ngnpolicy"_s, {{"kind", "delay"}, {"seconds", 0.3}}));
        client.helper.Get_GeneralNGNPolicy();
        AccountModel::deleteCurrentModel(folder.support());
        QTRY_VERIFY(client.logText().contains(u"Get NGN Policy success with reponse:{"_s));
        QTest::qWait(50);
        QVERIFY(!folder.hasState(u"NGNPolicy.archive"_s));
        client.helper.Get_GeneralNGNPolicy();
        QTRY_VERIFY(folder.hasState(u"NGNPolicy.archive"_s));
    }

    /// What the session still carries out finds nobody who is gone.
    void theEndComesWhileEventsWait() {
        for (int round = 0; round < 40; ++round) {
            ClientFolder folder;
            const auto client = std::make_unique<ClientWorld>(folder);
            for (int event = 0; event < 10; ++event) {
                client->session.submit(SignInAnswer{
                    {}, answerWith({{"state", 0}, {"userid", "lin"}, {"ticket", QString::number(event)}}), false});
                client->session.submit(LogoutAnswer{{}, std::nullopt});
            }
        }
    }

    void aDomainAccountIsAskedForOffTheMainThread_data() {
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<bool>("isValid");
        QTest::addColumn<QString>("name");
        QTest::newRow("name") << answerWith({{"user_name", "李四"}}) << true << "李四";
        QTest::newRow("empty data") << answerWith({}) << true << "(empty)";
        QTest::newRow("data is a list") << QJsonObject{{"ret", 0}, {"data", QJsonArray{}}} << true << "(none)";
        QTest::newRow("refused") << QJsonObject{{"ret", 3}} << false << "(none)";
        QTest::newRow("no result") << QJsonObject{{"data", QJsonObject{}}} << false << "(none)";
    }
    void aDomainAccountIsAskedForOffTheMainThread() {
        QFETCH(QJsonObject, answer);
        ClientFolder folder(m_server.httpPort());
        ClientWorld client(folder);
        QVERIFY(m_server.fault(operation("ad_auth"), {{"kind", "json"}, {"json", answer}}));
        std::optional<QString> name;
        bool isValid = false;
        QSemaphore done;
        client.helper.checkDomainAccount(
            u"lisi"_s, u"corp.example"_s, [&](bool ok, const std::optional<QString>& found, const Error& error) {
                isValid = ok && !error;
                name = found;
                done.release();
            });
        QVERIFY(done.tryAcquire(1, 5000));
        QTEST(isValid, "isValid");
        QTEST(name ? (name->isEmpty() ? u"(empty)"_s : *name) : u"(none)"_s, "name");
        QVERIFY2(!folder.isAskedOnMain, "the request was made on the main thread");
    }

    void choicesOfTheNetworkAreKeptAndDoNotOverlap() {
        ClientFolder folder(m_server.httpPort());
        storeRecord(folder, LoginType::Account);
        ClientWorld client(folder);
        const auto before = m_server.requests(u"/qen/ping"_s).size();
        QVERIFY(m_server.fault(u"/qen/ping"_s, {{"kind", "delay"}, {"seconds", 0.3}}));
        // An older one that ends later would undo a newer one.
        client.helper.Get_network_type();
        client.helper.Get_network_type();
        QTRY_VERIFY(folder.hasState(u"netType.archive"_s));
        QCOMPARE(folder.read(u"netType.archive"_s)->string(), u"0"_s);
        QTRY_COMPARE(AccountModel::currentModel(folder.support())->networkType(), 0);
        QTest::qWait(400);
        QCOMPARE(m_server.requests(u"/qen/ping"_s).size(), before + 1);
        client.helper.Get_network_type();
        QTRY_COMPARE(m_server.requests(u"/qen/ping"_s).size(), before + 2);
    }

    void configurationIsStored() {
        ClientFolder folder(m_server.httpPort());
        ClientWorld client(folder);
        client.helper.Get_Save_Config();
        QTRY_VERIFY(folder.hasState(u"GeneralConfig.archive"_s));
        const auto stored = folder.read(u"GeneralConfig.archive"_s);
        QVERIFY(stored->isDictionary() && stored->isMutable());
        QTRY_VERIFY(client.logText().contains(u"[QenCloudLoginHelper] QenCloud get General Success!!!"_s));
        QVERIFY(m_server.fault(u"/api/public/client/start_config"_s, {{"kind", "status"}}));
        client.helper.Get_Save_Config();
        QTRY_VERIFY(client.logText().contains(u"[QenCloudLoginHelper] QenCloud get General fail!!!"_s));
    }

    void agentFlags() {
        ClientFolder folder;
        ClientWorld client(folder);
        const auto flags = [&](const QVariant& userlogin, const QVariant& hide) {
            archiveRootObject(ArchiveValue::fromVariant(userlogin), folder.agent() + "/userlogin.archive");
            archiveRootObject(ArchiveValue::fromVariant(hide), folder.agent() + "/hideqenswitch.archive");
            return QList<int>{client.helper.iShowOTP(), client.helper.selectBtnTag(), client.helper.isHideTray()};
        };
        const auto methods = [](const QVariant& otp, const QVariant& qr, const QVariant& pc) {
            return QVariant(QVariantMap{{"double_factor_auth", otp}, {"qrcode_login", qr}, {"pc_account_login", pc}});
        };
        QCOMPARE(client.helper.iShowOTP() || client.helper.selectBtnTag() || client.helper.isHideTray(), false);
        QCOMPARE(flags(methods("1", 1, 1), "1"), QList<int>({1, 0, 1}));
        QCOMPARE(flags(methods("0", 0, 1), "0"), QList<int>({0, 1, 0}));
        QCOMPARE(flags(methods("1", "0", "1"), "2"), QList<int>({1, 1, 0})); // numbers as text
        QCOMPARE(flags("1", 1), QList<int>({0, 0, 0}));                      // wrong types
    }

    void runningVpnIsStoppedThroughTheAgent_data() {
        QTest::addColumn<AgentStop>("outcome");
        QTest::addColumn<QString>("line");
        QTest::newRow("stopped") << AgentStop{0, {{"code", 0}}, {}} << "QenCloud Vindor Stop Success!!!";
        QTest::newRow("refused") << AgentStop{1, {}, {}} << "QenCloud Vindor Access Fail!!!";
        QTest::newRow("code") << AgentStop{0, {{"code", 5}}, {}} << "QenCloud Vindor Stop Fail:code = 5";
        QTest::newRow("error") << AgentStop{0, {}, {u"D"_s, 9}} << "QenCloud Vindor Stop Fail: Error Domain=D Code=9";
    }
    void runningVpnIsStoppedThroughTheAgent() {
        QFETCH(AgentStop, outcome);
        QFETCH(QString, line);
        ClientFolder folder;
        // A process whose command line is that of the component.
        const QString vpn = folder.file(u"ZelVPN"_s);
        QVERIFY(QFile::link(u"/bin/sleep"_s, vpn));
        QProcess component;
        component.start(vpn, {u"60"_s});
        QVERIFY(component.waitForStarted());
        {
            ClientWorld client(
                folder, {}, [outcome](const AgentStopped& done) { done(outcome); }, vpn);
            QSemaphore done;
            client.helper.existZelVPN([&done] { done.release(); });
            QVERIFY(done.tryAcquire(1, 5000));
            QVERIFY(client.logText().contains(u"[QenCloudLoginHelper] "_s + line));
            QVERIFY(!done.tryAcquire(1, 20));
        }
        component.kill();
        QVERIFY(component.waitForFinished());
    }

private:
    bool scansAndConfirms(ClientWorld& client) {
        const QJsonObject data{{"state", 0}, {"userid", "lin"}, {"username", "林"}, {"ticket", "T"}};
        Outcome outcome;
        m_server.fault(operation("scan_status"), {{"kind", "json"}, {"json", answerWith(data)}});
        client.helper.CheckQRLoginState(outcome.completion());
        return outcome.wait();
    }

    ReferenceServer m_server;
};

QTEST_GUILESS_MAIN(tst_QenCloudLoginHelper)
#include "tst_QenCloudLoginHelper.moc"
