#include "ServerCalls.h"

#include <QBuffer>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QTest>

#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString getcert = pathOf(u"getcert"_s);
const QString checkstatus = u"/api/inac/ca/checkstatus"_s;

struct Identity {
    QSslKey key;
    QSslCertificate certificate;
};

QSslCertificate certificateOf(const QJsonValue& base64) {
    return QSslCertificate(QByteArray::fromBase64(base64.toString().toLatin1()), QSsl::Der);
}

/// The identity in an answer's "p12", opened with its "pwd".
Identity identityOf(const QJsonValue& data) {
    QByteArray file = QByteArray::fromBase64(data[u"p12"].toString().toLatin1());
    QBuffer buffer(&file);
    buffer.open(QIODevice::ReadOnly);
    Identity found;
    const bool isOpened = QSslCertificate::importPkcs12(
        &buffer, &found.key, &found.certificate, nullptr, data[u"pwd"].toString().toUtf8());
    return isOpened ? found : Identity();
}

/// Whether a client may be known by @p certificate to someone who trusts @p root and was handed @p intermediate.
bool isTrusted(const QSslCertificate& certificate, const QSslCertificate& intermediate, const QSslCertificate& root) {
    const auto handle = [](const QSslCertificate& one) { return static_cast<X509*>(one.handle()); };
    const std::shared_ptr<X509_STORE> store(X509_STORE_new(), X509_STORE_free);
    X509_STORE_add_cert(store.get(), handle(root));
    STACK_OF(X509)* chain = sk_X509_new_null();
    sk_X509_push(chain, handle(intermediate));
    const std::shared_ptr<X509_STORE_CTX> context(X509_STORE_CTX_new(), X509_STORE_CTX_free);
    X509_STORE_CTX_init(context.get(), store.get(), handle(certificate), chain);
    X509_STORE_CTX_set_purpose(context.get(), X509_PURPOSE_SSL_CLIENT);
    const bool isGood = X509_verify_cert(context.get()) == 1;
    sk_X509_free(chain);
    return isGood;
}

} // namespace

/// Certificate request and status, the operator's side of both, and the answers that go wrong.
class tst_ReferenceNac : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY2(m_server.start(), qPrintable(m_server.lastError())); }
    void init() {
        QVERIFY2(m_server.makeAnew(), qPrintable(m_server.lastError()));
        m_ticket = m_server.ticketOf(u"lin"_s);
        QVERIFY(!m_ticket.isEmpty());
    }
    void issuesIdentitiesBelowItsAuthority();
    void statusFollowsTheOperator();
    void seesTheClientsCertificate();
    void faultsBreakOneLayer_data();
    void faultsBreakOneLayer();

private:
    QJsonObject request(const QJsonObject& changes = {}) {
        return m_server.call(u"getcert"_s, with({{u"ticket"_s, m_ticket}}, changes));
    }
    QByteArray sealed() const {
        return WireCodec::sealRequest(with(rightFields(u"getcert"_s), {{u"ticket"_s, m_ticket}}));
    }
    int statusOf(const QString& serial) {
        return number(m_server.get(checkstatus + u"?serial="_s + serial).json()[u"data"_s][u"state"_s]);
    }
    QString serialOfNewest() { return m_server.state()[u"certificates"_s][0][u"serial"_s].toString(); }
    bool postOverTls(const QJsonValue& identity);

    ServerCalls m_server;
    QString m_ticket;
};

void tst_ReferenceNac::issuesIdentitiesBelowItsAuthority() {
    const QJsonObject answer = request();
    QCOMPARE(number(answer[u"ret"_s]), 0);
    const QJsonValue data = answer[u"data"_s];
    const QSslCertificate root = certificateOf(data[u"rootCA"]);
    const QSslCertificate intermediate = certificateOf(data[u"subCA"]);
    const Identity identity = identityOf(data);
    QVERIFY(isTrusted(identity.certificate, intermediate, root));
    QVERIFY(!isTrusted(identity.certificate, root, root)); // the intermediate signed it
    QCOMPARE(identity.certificate.subjectInfo(QSslCertificate::CommonName), QStringList{u"lin"_s});

    // After a sign-in by code the user's name stands for the account. Each identity is its own, the authority stays.
    QCOMPARE(m_server.stop(), 0);
    QVERIFY(m_server.start());
    const QJsonObject again = request({{u"userid"_s, u"林"_s}});
    QCOMPARE(again[u"data"_s][u"rootCA"_s], data[u"rootCA"]);
    QVERIFY(again[u"data"_s][u"pwd"_s] != data[u"pwd"]);
    QVERIFY(again[u"data"_s][u"p12"_s] != data[u"p12"]);
    QCOMPARE(m_server.state()[u"certificates"_s].toArray().size(), 2);
}

void tst_ReferenceNac::statusFollowsTheOperator() {
    QCOMPARE(number(request()[u"ret"_s]), 0);
    const QString serial = serialOfNewest();
    QVERIFY(m_server.get(u"/operator/parts"_s).body.contains(serial.toLatin1()));
    QCOMPARE(statusOf(serial), 0);
    QCOMPARE(statusOf(serial.toLower()), 0);
    QCOMPARE(statusOf(u"00"_s), -2);
    QCOMPARE(number(m_server.get(checkstatus).json()[u"errorcode"_s]), 11);
    QVERIFY(m_server.action(u"revoke_certificate"_s, {{u"serial"_s, serial}}));
    QCOMPARE(statusOf(serial), -7);
    QVERIFY(!m_server.action(u"revoke_certificate"_s, {{u"serial"_s, serial}}));

    m_server.action(u"set_setting"_s, {{u"name"_s, u"certificate_lifetime"_s}, {u"value"_s, -60}});
    QCOMPARE(number(request()[u"ret"_s]), 0);
    QCOMPARE(statusOf(serialOfNewest()), -3);
}

bool tst_ReferenceNac::postOverTls(const QJsonValue& identity) {
    QSslSocket socket;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    if (!identity.isUndefined()) {
        const Identity opened = identityOf(identity);
        configuration.setLocalCertificate(opened.certificate);
        configuration.setPrivateKey(opened.key);
    }
    socket.setSslConfiguration(configuration);
    socket.connectToHostEncrypted(u"127.0.0.1"_s, m_server.httpsPort());
    if (!socket.waitForEncrypted(5000))
        return false;
    // The port's own certificate is for this machine.
    if (!socket.peerCertificate().subjectAlternativeNames().values(QSsl::IpAddressEntry).contains(u"127.0.0.1"_s))
        return false;
    const QByteArray body = sealed();
    socket.write("POST " + getcert.toLatin1() +
        " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nContent-Length: " + QByteArray::number(body.size()) +
        "\r\n\r\n" + body);
    QByteArray received;
    while (socket.waitForReadyRead(5000))
        received += socket.readAll();
    const auto answer = WireCodec::openRequest(received.mid(received.indexOf("\r\n\r\n") + 4));
    return answer && number(answer->value(u"ret"_s)) == 0;
}

void tst_ReferenceNac::seesTheClientsCertificate() {
    const QJsonValue identity = request()[u"data"_s];
    const auto shown = [this] { return m_server.requests(getcert).last()[u"client_certificate"_s].toString(); };
    QCOMPARE(shown(), QString());
    QVERIFY(postOverTls(QJsonValue::Undefined)); // asked for, not insisted on
    QCOMPARE(shown(), QString());
    QVERIFY(postOverTls(identity));
    QCOMPARE(shown(), u"lin"_s);

    m_server.action(u"set_setting"_s, {{u"name"_s, u"require_client_certificate"_s}, {u"value"_s, true}});
    QCOMPARE(number(request()[u"errorcode"_s]), 52);
    QVERIFY(!postOverTls(QJsonValue::Undefined));
    QVERIFY(postOverTls(identity));
}

void tst_ReferenceNac::faultsBreakOneLayer_data() {
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<bool>("deciphers");
    QTest::addColumn<bool>("opens");
    const auto row = [](const char* name, const char* fault, bool deciphers, bool opens) {
        QTest::newRow(name) << QByteArray(fault) << deciphers << opens;
    };
    row("no Base64", R"({"kind":"seal","layer":"base64"})", false, false);
    row("wrong cipher text", R"({"kind":"seal","layer":"cipher"})", true, false);
    row("not packed", R"({"kind":"seal","layer":"packing"})", true, false);
    row("cut short", R"({"kind":"seal","layer":"cut"})", true, false);
    row("no JSON", R"({"kind":"seal","layer":"json"})", true, false);
    row("not sealed", R"({"kind":"text"})", false, false);
    row("without the identity", R"({"kind":"data","data":{"p12":null}})", true, true);
    row("wrong password", R"({"kind":"data","data":{"pwd":"other"}})", true, true);
    row("other types, sealed", R"({"kind":"shape","shape":"data_list"})", true, true);
}

void tst_ReferenceNac::faultsBreakOneLayer() {
    QFETCH(QByteArray, fault);
    QFETCH(bool, deciphers);
    QFETCH(bool, opens);
    QVERIFY2(m_server.fault(getcert, parse(fault.constData())), qPrintable(m_server.lastError()));
    const QByteArray body = m_server.post(getcert, sealed()).body;
    QCOMPARE(WireCodec::decipher(body).has_value(), deciphers);
    const auto answer = WireCodec::openRequest(body);
    QCOMPARE(answer.has_value(), opens);
    if (opens)
        QVERIFY(identityOf(answer->value(u"data"_s)).key.isNull());
    // The next one is right again.
    QVERIFY(!identityOf(request()[u"data"_s]).key.isNull());
}

QTEST_GUILESS_MAIN(tst_ReferenceNac)
#include "tst_ReferenceNac.moc"
