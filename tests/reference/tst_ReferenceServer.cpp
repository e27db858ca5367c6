#include "ServerCalls.h"

#include <QBuffer>
#include <QJsonDocument>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTcpSocket>
#include <QTest>

namespace {

/// Of the identity in an answer's "p12", opened with its "pwd"; null when it does not open.
QSslCertificate certificateOf(const QJsonValue& data) {
    QByteArray file = QByteArray::fromBase64(data[u"p12"].toString().toLatin1());
    QBuffer buffer(&file);
    buffer.open(QIODevice::ReadOnly);
    QSslKey key;
    QSslCertificate certificate;
    QSslCertificate::importPkcs12(&buffer, &key, &certificate, nullptr, data[u"pwd"].toString().toUtf8());
    return key.isNull() ? QSslCertificate() : certificate;
}

} // namespace

/// QR sign-in, certificates, faults, the operator's side and the process itself.
class tst_ReferenceServer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY2(m_server.start(), qPrintable(m_server.lastError())); }
    void init() { QVERIFY2(m_server.makeAnew(), qPrintable(m_server.lastError())); }
    void scannedCodeSignsIn();
    void scannedCodeOfAnUnapprovedDeviceWaits();
    void issuesCertificatesBelowItsAuthority();
    void faultsBreakOneLayerOfASeal();
    void faultsSpoilTheNextAnswers();
    void lostAnswerStillTakesEffect();
    void survivesClientsThatLeaveOrSendTooMuch();
    void operatorSeesNoSecretsAndTestsSeeTheBytes();
    void operatorIsOutOfReachForOtherPages();
    void refusesWrongCommandLines();
    void endsWithItsInput();

private:
    int statusOf(const QString& serial) {
        const auto answer = m_server.get(u"/api/inac/ca/checkstatus?serial="_s + serial).json();
        return number(answer[u"data"_s][u"state"_s]);
    }
    QString serialOfNewest() { return m_server.state()[u"certificates"_s][0][u"serial"_s].toString(); }

    ServerCalls m_server;
};

void tst_ReferenceServer::scannedCodeSignsIn() {
    const auto state = [this] { return number(m_server.call(u"scan_status"_s)[u"data"_s][u"state"_s]); };
    const QString address = ServerCalls::codeAddress();
    QCOMPARE(m_server.get(pathOf(u"scan_login"_s) + u"?v=junk"_s).status, 400);
    QCOMPARE(state(), -2);
    const auto page = m_server.get(address);
    QCOMPARE(page.status, 200);
    QVERIFY(page.body.contains("&lt;b&gt;&amp;h") && !page.body.contains("<b>"));
    QCOMPARE(state(), -1);
    QCOMPARE(m_server.decide(u"reject"_s, {}).status, 200);
    QCOMPARE(state(), -6);
    QCOMPARE(m_server.get(address).status, 200);
    QCOMPARE(state(), -1);
    m_server.action(u"block_user"_s, {{u"userid"_s, u"lin"_s}});
    QCOMPARE(m_server.decide(u"confirm"_s, u"lin"_s).status, 403);
    m_server.action(u"unblock_user"_s, {{u"userid"_s, u"lin"_s}});
    QCOMPARE(m_server.decide(u"confirm"_s, u"lin"_s, "http://elsewhere.example").status, 403);
    QCOMPARE(state(), -1);
    QCOMPARE(
        m_server.decide(u"confirm"_s, u"lin"_s, "http://127.0.0.1:" + QByteArray::number(m_server.httpPort())).status,
        200);

    const auto answer = m_server.call(u"scan_status"_s);
    const QString ticket = answer[u"data"_s][u"ticket"_s].toString();
    QCOMPARE(number(answer[u"data"_s][u"status"_s]), 0);
    QCOMPARE(answer[u"data"_s][u"userid"_s].toString(), u"lin"_s);
    QCOMPARE(answer[u"data"_s][u"username"_s].toString(), u"林"_s);
    // The poll's answer can be lost; the same ticket is told until it was seen in use.
    QCOMPARE(m_server.call(u"scan_status"_s)[u"data"_s][u"ticket"_s].toString(), ticket);
    QCOMPARE(m_server.stateOfTicket(ticket), 0);
    QCOMPARE(state(), 1);
    QCOMPARE(number(m_server.call(u"scan_status"_s, {{u"clientoper"_s, 1}})[u"data"_s][u"state"_s]), -2);
    QCOMPARE(m_server.stateOfTicket(ticket), -2);
}

void tst_ReferenceServer::scannedCodeOfAnUnapprovedDeviceWaits() {
    const auto state = [this] { return number(m_server.call(u"scan_status"_s)[u"data"_s][u"state"_s]); };
    m_server.get(ServerCalls::codeAddress());
    QVERIFY(m_server.action(
        u"confirm_scan"_s, {{u"soleid"_s, u"0123456789abcdef"_s}, {u"deviceid"_s, u"D1"_s}, {u"userid"_s, u"wait"_s}}));
    QCOMPARE(state(), -5);
    QCOMPARE(state(), -5);
    QCOMPARE(m_server.find(u"devices"_s, u"deviceid"_s, u"D1"_s)[u"standing"_s].toString(), u"waiting"_s);
    QVERIFY(m_server.action(u"approve_device"_s, {{u"deviceid"_s, u"D1"_s}}));
    QCOMPARE(state(), -8);
    QCOMPARE(state(), 0);
}

void tst_ReferenceServer::issuesCertificatesBelowItsAuthority() {
    const QJsonObject ticket{{u"ticket"_s, m_server.ticketOf(u"lin"_s)}};
    const QJsonValue data = m_server.call(u"getcert"_s, ticket)[u"data"_s];
    const auto authority = [&data](const QString& name) {
        return QSslCertificate(QByteArray::fromBase64(data[name].toString().toLatin1()), QSsl::Der);
    };
    const QSslCertificate certificate = certificateOf(data);
    QSslConfiguration trusting = QSslConfiguration::defaultConfiguration();
    trusting.setCaCertificates({authority(u"rootCA"_s)});
    QSslConfiguration::setDefaultConfiguration(trusting);
    QCOMPARE(QSslCertificate::verify({certificate, authority(u"subCA"_s)}), QList<QSslError>());
    QVERIFY(!QSslCertificate::verify({certificate}).isEmpty()); // the intermediate signed it
    QCOMPARE(certificate.subjectInfo(QSslCertificate::CommonName), QStringList{u"lin"_s});

    const QString serial = serialOfNewest();
    QCOMPARE(statusOf(serial.toLower()), 0);
    QCOMPARE(statusOf(u"00"_s), -2);
    QCOMPARE(number(m_server.get(u"/api/inac/ca/checkstatus"_s).json()[u"errorcode"_s]), 11);
    QVERIFY(m_server.action(u"revoke_certificate"_s, {{u"serial"_s, serial}}));
    QVERIFY(!m_server.action(u"revoke_certificate"_s, {{u"serial"_s, serial}}));

    // What the server holds survives a restart, and no other user reads it. After a sign-in by code the user's name
    // stands for the account. Each identity is its own, the authority stays.
    m_server.action(u"set_setting"_s, {{u"name"_s, u"certificate_lifetime"_s}, {u"value"_s, -60}});
    QCOMPARE(m_server.stop(), 0);
    for (const QString& file : {u"server.key"_s, u"server.sqlite"_s})
        QCOMPARE(QFile::permissions(m_server.folder() + u'/' + file) & (QFile::ReadGroup | QFile::ReadOther),
            QFile::Permissions());
    QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    const QJsonValue again = m_server.call(u"getcert"_s, with(ticket, {{u"userid"_s, u"林"_s}}))[u"data"_s];
    QCOMPARE(again[u"rootCA"], data[u"rootCA"]);
    QVERIFY(again[u"pwd"] != data[u"pwd"] && again[u"p12"] != data[u"p12"]);
    QCOMPARE(statusOf(serialOfNewest()), -3);
    QCOMPARE(statusOf(serial), -7);
}

void tst_ReferenceServer::faultsBreakOneLayerOfASeal() {
    const QString path = pathOf(u"getcert"_s);
    const QJsonObject ticket{{u"ticket"_s, m_server.ticketOf(u"lin"_s)}};
    const std::tuple<const char*, bool, bool> faults[] = {{R"({"kind":"seal","layer":"base64"})", false, false},
        {R"({"kind":"seal","layer":"cipher"})", true, false}, {R"({"kind":"seal","layer":"packing"})", true, false},
        {R"({"kind":"seal","layer":"cut"})", true, false}, {R"({"kind":"seal","layer":"json"})", true, false},
        {R"({"kind":"text"})", false, false}, {R"({"kind":"data","data":{"p12":null}})", true, true},
        {R"({"kind":"data","data":{"pwd":"other"}})", true, true},
        {R"({"kind":"shape","shape":"data_list"})", true, true}};
    for (const auto& [fault, deciphers, opens] : faults) {
        QVERIFY2(m_server.fault(path, parse(fault)), fault);
        const QByteArray body =
            m_server.post(path, WireCodec::sealRequest(with(rightFields(u"getcert"_s), ticket))).body;
        QVERIFY2(WireCodec::decipher(body).has_value() == deciphers, fault);
        const auto answer = WireCodec::openRequest(body);
        QVERIFY2(answer.has_value() == opens, fault);
        QVERIFY2(!opens || certificateOf(answer->value(u"data"_s)).isNull(), fault);
        // The next one is right again.
        QVERIFY2(!certificateOf(m_server.call(u"getcert"_s, ticket)[u"data"_s]).isNull(), fault);
    }
}

void tst_ReferenceServer::faultsSpoilTheNextAnswers() {
    const std::tuple<const char*, int, const char*> faults[] = {
        {R"({"kind":"status","status":503})", 503, "\"ret\":-1"}, {R"({"kind":"silent"})", 0, ""},
        {R"({"kind":"close"})", 0, ""}, {R"({"kind":"text","body":"<html>x"})", 200, "<html>x"},
        {R"({"kind":"shape","shape":"array"})", 200, "[]"},
        {R"({"kind":"shape","shape":"data_list"})", 200, "\"data\":[]"},
        {R"({"kind":"shape","shape":"ret_text"})", 200, "\"ret\":\"zero\""},
        {R"({"kind":"json","json":{"ret":9}})", 200, R"({"ret":9})"},
        {R"({"kind":"errorcode","ret":-1,"errorcode":44,"msg":"m"})", 200, R"({"errorcode":44,"msg":"m","ret":-1})"},
        {R"({"kind":"state","state":-8})", 200, R"({"state":-8,"status":-8})"}};
    for (const auto& [fault, status, body] : faults) {
        m_server.action(u"clear_requests"_s);
        QVERIFY2(m_server.fault(u"/qen/ping"_s, parse(fault), 2), qPrintable(m_server.lastError()));
        QCOMPARE(m_server.get(u"/api/public/client/start_config"_s).status, 200);
        for (int i = 0; i < 2; ++i) {
            const auto reply = m_server.get(u"/qen/ping"_s, status == 0 ? 300 : 5000);
            QVERIFY2(reply.status == status && reply.body.contains(body), fault);
        }
        QCOMPARE(m_server.get(u"/qen/ping"_s).json(), parse(R"({"ret":0})"));
        const QJsonArray requests = m_server.requests(u"/qen/ping"_s);
        QCOMPARE(requests.size(), 3);
        QCOMPARE(requests[0][u"fault"_s], parse(fault)[u"kind"_s]);
    }
    QVERIFY(!m_server.fault(u"/qen/ping"_s, {{u"kind"_s, u"unheard-of"_s}}));
}

void tst_ReferenceServer::lostAnswerStillTakesEffect() {
    const QString ticket = m_server.ticketOf(u"lin"_s);
    m_server.fault(pathOf(u"logout"_s), {{u"kind"_s, u"close"_s}});
    m_server.call(u"logout"_s, {{u"ticket"_s, ticket}});
    QCOMPARE(m_server.stateOfTicket(ticket), 0);
    m_server.fault(pathOf(u"logout"_s), {{u"kind"_s, u"close"_s}, {u"perform"_s, true}});
    QVERIFY(m_server.call(u"logout"_s, {{u"ticket"_s, ticket}}).isEmpty());
    QCOMPARE(m_server.stateOfTicket(ticket), -2);
}

void tst_ReferenceServer::survivesClientsThatLeaveOrSendTooMuch() {
    m_server.fault(u"*"_s, {{u"kind"_s, u"delay"_s}, {u"seconds"_s, 0.3}}, 2);
    QCOMPARE(m_server.get(u"/qen/ping"_s, 50).status, 0); // gone before its answer
    QElapsedTimer waited;
    waited.start();
    QCOMPARE(m_server.get(u"/qen/ping"_s).status, 200);
    QVERIFY(waited.elapsed() >= 250);

    QCOMPARE(m_server.get(u"/qen/nothing"_s).status, 404);
    QCOMPARE(m_server.post(u"/qen/ping"_s, {}).status, 405);
    QCOMPARE(m_server.post(pathOf(u"account_login"_s), QByteArray(1 << 20, 'A')).status, 200);
    QCOMPARE(m_server.post(pathOf(u"account_login"_s), QByteArray((1 << 20) + 1, 'A')).status, 413);
    // Refused before all of it is there: this body would never end.
    QTcpSocket endless;
    endless.connectToHost(QHostAddress::LocalHost, m_server.httpPort());
    endless.write(
        "POST /qen/ping HTTP/1.1\r\nHost: a\r\nContent-Length: 1000000000\r\n\r\n" + QByteArray(2 << 20, 'A'));
    QTRY_VERIFY_WITH_TIMEOUT(endless.bytesAvailable() > 0, 5000);
    QVERIFY(endless.readAll().startsWith("HTTP/1.1 413"));

    // Two requests on one connection, the second in pieces.
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_server.httpPort());
    QVERIFY(socket.waitForConnected(2000));
    QByteArray received;
    for (const char* piece :
        {"GET /qen/ping HTTP/1.1\r\nHost: a\r\n\r\n", "GET /qen/pi", "ng HTTP/1.1\r\nHost: a\r\n\r\n"}) {
        socket.write(piece);
        socket.waitForBytesWritten(1000);
        socket.waitForReadyRead(200);
        received += socket.readAll();
    }
    QTRY_COMPARE_WITH_TIMEOUT((received += socket.readAll()).count("{\"ret\":0}"), 2, 2000);
    QVERIFY(m_server.isRunning());
}

void tst_ReferenceServer::operatorSeesNoSecretsAndTestsSeeTheBytes() {
    QJsonObject fields = with(rightFields(u"account_login"_s), {{u"userid"_s, u"code"_s}, {u"logintype"_s, 1}});
    fields[u"otp"_s] = u"123456"_s;
    fields[u"hostname"_s] = u"<script>x</script>"_s;
    const QByteArray body = WireCodec::sealRequest(fields);
    const auto answer = m_server.post(pathOf(u"account_login"_s), body, {{"X-Mark", "7"}}).json();
    const QString ticket = answer[u"data"_s][u"ticket"_s].toString();
    QVERIFY(!ticket.isEmpty());

    const QJsonArray requests = m_server.requests(pathOf(u"account_login"_s));
    QCOMPARE(requests.size(), 1);
    const QJsonObject entry = requests[0].toObject();
    QCOMPARE(WireCodec::openRequest(ReferenceServer::bodyOf(entry)), fields);
    QCOMPARE(entry[u"fields"_s][u"hostname"_s], fields[u"hostname"_s]);
    QCOMPARE(entry[u"fields"_s][u"password"_s].toString(), u"***"_s);
    QCOMPARE(entry[u"fields"_s][u"otp"_s].toString(), u"***"_s);
    QCOMPARE(entry[u"answer"_s][u"data"_s][u"ticket"_s].toString(), u"***"_s);
    // The case of a name is the toolkit's affair.
    const QByteArray headers = QJsonDocument(entry[u"headers"_s].toArray()).toJson(QJsonDocument::Compact).toLower();
    QVERIFY(headers.contains(R"(["x-mark","7"])"));

    for (const char* page : {"/operator", "/operator/parts", "/operator/state.json"}) {
        const auto shown = m_server.get(QString::fromLatin1(page));
        QCOMPARE(shown.status, 200);
        QVERIFY(!shown.body.contains("<script>x") || QByteArray(page).endsWith("json"));
        QVERIFY(!shown.body.contains(ticket.toUtf8()) && !shown.body.contains("Abc123!@"));
    }
    QVERIFY(m_server.get(u"/operator/parts"_s).body.contains("&lt;script&gt;x"));
}

void tst_ReferenceServer::operatorIsOutOfReachForOtherPages() {
    const QByteArray action = R"({"action":"block_user","userid":"lin"})";
    const auto status = [&](const QByteArray& host, const QByteArray& origin) {
        return m_server.post(u"/operator/action"_s, action, {{"Host", host}, {"Origin", origin}}).status;
    };
    QCOMPARE(status("127.0.0.1:1", "http://elsewhere.example"), 403);
    QCOMPARE(status("elsewhere.example", "http://elsewhere.example"), 403);
    QVERIFY(!m_server.find(u"accounts"_s, u"userid"_s, u"lin"_s)[u"blocked"_s].toBool());
    QCOMPARE(status("127.0.0.1:1", "http://127.0.0.1:1"), 200);
    QVERIFY(m_server.find(u"accounts"_s, u"userid"_s, u"lin"_s)[u"blocked"_s].toBool());
}

void tst_ReferenceServer::refusesWrongCommandLines() {
    const QStringList folder{u"--folder"_s, m_server.folder() + u"/unused"_s};
    for (const QStringList& arguments : {QStringList{u"--port"_s, u"0"_s},
             folder + QStringList{u"--listen"_s, u"0.0.0.0"_s}, folder + QStringList{u"--port"_s, u"65536"_s},
             folder + QStringList{u"--account"_s, u"lin"_s}, folder + QStringList{u"--account"_s, u"lin:x:12345"_s},
             folder + QStringList{u"--nothing"_s}, QStringList{u"--folder"_s, ReferenceServer::program()}}) {
        QProcess process;
        process.start(ReferenceServer::program(), arguments);
        QVERIFY2(process.waitForFinished(10000), qPrintable(arguments.join(u' ')));
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(process.readAllStandardOutput().isEmpty());
        QVERIFY(process.readAllStandardError().startsWith("mav-reference-server: "));
    }
}

void tst_ReferenceServer::endsWithItsInput() {
    QProcess process;
    process.start(
        ReferenceServer::program(), {u"--folder"_s, m_server.folder() + u"/second"_s, u"--until-stdin-closes"_s});
    QVERIFY(process.waitForReadyRead(20000));
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(5000));
    QCOMPARE(process.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_ReferenceServer)
#include "tst_ReferenceServer.moc"
