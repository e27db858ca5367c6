#include "SealedBody.h"
#include "WireCodec.h"
#include "zipAndUnzip.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

/// Bodies against a peer that shares no code with them.
class tst_SealedBody : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void peerReadsBody_data();
    void peerReadsBody();
    void unsealing_data();
    void unsealing();
    void urlEscaping();
};

void tst_SealedBody::peerReadsBody_data() {
    QTest::addColumn<QJsonObject>("parameters");
    QTest::newRow("empty") << QJsonObject();
    QTest::newRow("login") << QJsonObject{
        {u"userid"_s, u"张三"_s}, {u"password"_s, u"a\"b\\c\n😀"_s}, {u"logintype"_s, 0}};
}

void tst_SealedBody::peerReadsBody() {
    QFETCH(QJsonObject, parameters);
    const QByteArray body = SealedBody::encryptResquestParams(parameters);
    QCOMPARE(WireCodec::openRequest(body), std::optional(parameters));
    // Written to be read by people.
    QVERIFY(parameters.isEmpty() || zipAndUnzip().gzipInflate(*WireCodec::decipher(body))->contains("\n  "));
    QCOMPARE(SealedBody::encryptResquestParams(parameters), body);
}

void tst_SealedBody::unsealing_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QJsonValue>("expected");
    const QJsonObject object{{u"domain"_s, u"值"_s}};
    const QJsonValue none(QJsonValue::Undefined);
    const auto sealed = [](const QByteArray& json) { return QString::fromLatin1(WireCodec::encipher(json)); };
    const QString answer = sealed("{\"domain\": \"值\"}");
    QTest::newRow("object") << answer << QJsonValue(object);
    QTest::newRow("array") << sealed("[1]") << QJsonValue(QJsonArray{1});
    QTest::newRow("a body, which is compressed")
        << QString::fromLatin1(SealedBody::encryptResquestParams(object)) << none;
    QTest::newRow("a bare value") << sealed("\"text\"") << none;
    QTest::newRow("cut JSON") << sealed("{\"domain\": ") << none;
    QTest::newRow("damaged") << QString(answer).replace(0, 4, u"AAAA"_s) << none;
    QTest::newRow("no Base64") << u"{}"_s << none;
    QTest::newRow("empty") << QString() << none;
    QTest::newRow("deeply nested") << sealed(QByteArray(100000, '[')) << none;
    // Small ones take many times the bytes of their text.
    QTest::newRow("more lists than any answer") << sealed('[' + QByteArray("[0],").repeated(250000) + "0]") << none;
    QTest::newRow("more values than any answer") << sealed('[' + QByteArray("0,").repeated(4000000) + "0]") << none;
}

void tst_SealedBody::unsealing() {
    QFETCH(QString, text);
    QFETCH(QJsonValue, expected);
    QCOMPARE(SealedBody::decodeSM4(text).value_or(QJsonValue(QJsonValue::Undefined)), expected);
}

void tst_SealedBody::urlEscaping() {
    QByteArray every;
    for (int byte = 0; byte < 256; ++byte)
        every += static_cast<char>(byte);
    QCOMPARE(QenUrlEncode::urlencodWithData(every).toLatin1(), every.toPercentEncoding({}, "-._~"));
    QCOMPARE(QenUrlEncode::urlencodWithData("a-Z.+/=\r\n"), u"a%2DZ%2E%2B%2F%3D%0D%0A"_s);
}

QTEST_GUILESS_MAIN(tst_SealedBody)
#include "tst_SealedBody.moc"
