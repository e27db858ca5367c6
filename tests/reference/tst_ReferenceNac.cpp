#include "ServerCalls.h"

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QTest>

#include <openssl/pkcs12.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString getcert = u"/api/inac/ca/getcert"_s;
const QString checkstatus = u"/api/inac/ca/checkstatus"_s;

template <auto Free>
struct Freed {
    template <typename T>
    void operator()(T* pointer) const {
        Free(pointer);
    }
};
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;

struct Identity {
    Key key;
    Certificate certificate;
};

Certificate certificateOf(const QJsonValue& base64) {
    const QByteArray der = QByteArray::fromBase64(base64.toString().toLatin1());
    const auto* bytes = reinterpret_cast<const unsigned char*>(der.constData());
    return Certificate(d2i_X509(nullptr, &bytes, der.size()));
}

/// The identity in an answer's "p12", opened with its "pwd".
Identity identityOf(const QJsonValue& data) {
    const QByteArray der = QByteArray::fromBase64(data[u"p12"].toString().toLatin1());
    const auto* bytes = reinterpret_cast<const unsigned char*>(der.constData());
    const std::unique_ptr<PKCS12, Freed<PKCS12_free>> file(d2i_PKCS12(nullptr, &bytes, der.size()));
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    if (file)
        PKCS12_parse(file.get(), data[u"pwd"].toString().toUtf8().constData(), &key, &certificate, nullptr);
    return {Key(key), Certificate(certificate)};
}

/// Whether a client may be known by @p certificate to someone who trusts @p root and was handed @p intermediate.
bool isTrusted(X509* certificate, X509* intermediate, X509* root) {
    const std::unique_ptr<X509_STORE, Freed<X509_STORE_free>> store(X509_STORE_new());
    X509_STORE_add_cert(store.get(), root);
    STACK_OF(X509)* chain = sk_X509_new_null();
    sk_X509_push(chain, intermediate);
    const std::unique_ptr<X509_STORE_CTX, Freed<X509_STORE_CTX_free>> context(X509_STORE_CTX_new());
    X509_STORE_CTX_init(context.get(), store.get(), certificate, chain);
    X509_STORE_CTX_set_purpose(context.get(), X509_PURPOSE_SSL_CLIENT);
    const bool isGood = X509_verify_cert(context.get()) == 1;
    sk_X509_free(chain);
    return isGood;
}

QJsonObject requestFor(const QString& ticket) {
    return with(
        parse(R"({"machinename":"h","userid":"lin","deviceid":"D1","mac":"aa;bb","os":3})"), {{u"ticket"_s, ticket}});
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
    void refusesWhoMayNotHaveOne_data();
    void refusesWhoMayNotHaveOne();
    void seesTheClientsCertificate();
    void faultsBreakOneLayer_data();
    void faultsBreakOneLayer();

private:
    QJsonObject request(const QJsonObject& changes = {}) {
        const auto reply = m_server.post(getcert, WireCodec::sealRequest(with(requestFor(m_ticket), changes)));
        // Packed and enciphered like a request.
        return WireCodec::openRequest(reply.body).value_or(QJsonObject());
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
    const Certificate root = certificateOf(data[u"rootCA"]);
    const Certificate intermediate = certificateOf(data[u"subCA"]);
    const Identity identity = identityOf(data);
    QVERIFY(root && intermediate && identity.key && identity.certificate);
    QVERIFY(isTrusted(identity.certificate.get(), intermediate.get(), root.get()));
    QVERIFY(!isTrusted(identity.certificate.get(), root.get(), root.get())); // the intermediate signed it
    QCOMPARE(X509_check_private_key(identity.certificate.get(), identity.key.get()), 1);
    char name[64] = {};
    X509_NAME_get_text_by_NID(X509_get_subject_name(identity.certificate.get()), NID_commonName, name, sizeof name);
    QCOMPARE(name, "lin");

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
    m_server.action(u"reset"_s); // forgets that setting too
    QVERIFY(m_server.state()[u"certificates"_s].toArray().isEmpty());
    m_ticket = m_server.ticketOf(u"lin"_s);
    m_server.action(u"set_setting"_s, {{u"name"_s, u"certificate_lifetime"_s}, {u"value"_s, -60}});
    QCOMPARE(number(request()[u"ret"_s]), 0);
    QCOMPARE(statusOf(serialOfNewest()), -3);
}

void tst_ReferenceNac::refusesWhoMayNotHaveOne_data() {
    QTest::addColumn<QByteArray>("changes");
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("errorcode");
    const auto row = [](const char* name, const char* changes, const char* action, int errorcode) {
        QTest::newRow(name) << QByteArray(changes) << QString::fromLatin1(action) << errorcode;
    };
    row("no machine name", R"({"machinename":null})", "", 11);
    row("other system", R"({"os":1})", "", 11);
    row("unknown ticket", R"({"ticket":"x"})", "", 50);
    row("other device", R"({"deviceid":"D2"})", "", 50);
    row("other user", R"({"userid":"code"})", "", 50);
    row("ticket expired", "{}", "expire_ticket", 50);
    row("ticket revoked", "{}", "revoke_ticket", 50);
    row("user blocked", "{}", "block_user", 15);
    row("device blocked", "{}", "block_device", 25);
    row("device rejected", "{}", "reject_device", 51);
}

void tst_ReferenceNac::refusesWhoMayNotHaveOne() {
    QFETCH(QByteArray, changes);
    QFETCH(QString, action);
    QFETCH(int, errorcode);
    if (!action.isEmpty())
        QVERIFY(m_server.action(action, {{u"userid"_s, u"lin"_s}, {u"deviceid"_s, u"D1"_s}}));
    const QJsonObject answer = request(parse(changes.constData()));
    QCOMPARE(number(answer[u"errorcode"_s]), errorcode);
    QVERIFY(!answer[u"msg"_s].toString().isEmpty());
    QVERIFY(m_server.state()[u"certificates"_s].toArray().isEmpty());
}

bool tst_ReferenceNac::postOverTls(const QJsonValue& identity) {
    QSslSocket socket;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    if (!identity.isUndefined()) {
        const Identity opened = identityOf(identity);
        unsigned char* bytes = nullptr;
        const int length = i2d_X509(opened.certificate.get(), &bytes);
        const QByteArray der(reinterpret_cast<const char*>(bytes), length);
        OPENSSL_free(bytes);
        configuration.setLocalCertificate(QSslCertificate(der, QSsl::Der));
        // The handle is the key's own from here on.
        EVP_PKEY_up_ref(opened.key.get());
        configuration.setPrivateKey(QSslKey(Qt::HANDLE(opened.key.get())));
    }
    socket.setSslConfiguration(configuration);
    socket.connectToHostEncrypted(u"127.0.0.1"_s, m_server.httpsPort());
    if (!socket.waitForEncrypted(5000))
        return false;
    const QByteArray body = WireCodec::sealRequest(requestFor(m_ticket));
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
    QTest::addColumn<QByteArray>("missing");
    const auto row = [](const char* name, const char* fault, bool deciphers, bool opens, const char* missing = "") {
        QTest::newRow(name) << QByteArray(fault) << deciphers << opens << QByteArray(missing);
    };
    row("no Base64", R"({"kind":"seal","layer":"base64"})", false, false);
    row("wrong cipher text", R"({"kind":"seal","layer":"cipher"})", true, false);
    row("not packed", R"({"kind":"seal","layer":"packing"})", true, false);
    row("cut short", R"({"kind":"seal","layer":"cut"})", true, false);
    row("no JSON", R"({"kind":"seal","layer":"json"})", true, false);
    row("not sealed", R"({"kind":"text"})", false, false);
    row("without the identity", R"({"kind":"data","data":{"p12":null}})", true, true, "p12");
    row("wrong password", R"({"kind":"data","data":{"pwd":"other"}})", true, true);
    row("other types, sealed", R"({"kind":"shape","shape":"data_list"})", true, true, "p12");
}

void tst_ReferenceNac::faultsBreakOneLayer() {
    QFETCH(QByteArray, fault);
    QFETCH(bool, deciphers);
    QFETCH(bool, opens);
    QFETCH(QByteArray, missing);
    QVERIFY2(m_server.fault(getcert, parse(fault.constData())), qPrintable(m_server.lastError()));
    const QByteArray body = m_server.post(getcert, WireCodec::sealRequest(requestFor(m_ticket))).body;
    QCOMPARE(WireCodec::decipher(body).has_value(), deciphers);
    const auto answer = WireCodec::openRequest(body);
    QCOMPARE(answer.has_value(), opens);
    if (opens) {
        const QJsonValue data = answer->value(u"data"_s);
        QCOMPARE(data[u"p12"].isUndefined(), missing == "p12");
        QVERIFY(!identityOf(data).key);
    }
    // The next one is right again.
    QVERIFY(identityOf(request()[u"data"_s]).key);
}

QTEST_GUILESS_MAIN(tst_ReferenceNac)
#include "tst_ReferenceNac.moc"
