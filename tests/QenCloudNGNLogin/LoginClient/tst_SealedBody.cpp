#include "SealedBody.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <openssl/evp.h>
#include <zlib.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QByteArray Key = "Rk5w9ZqT2&hNe7Xc";
const QByteArray Iv = "pWq4nLs8Ty#%!3Hd";

/// AES-128-CBC of @p data as the peer does it, padding checked; empty on failure.
QByteArray peerCipher(const QByteArray& data, int encrypt) {
    const auto bytes = [](const QByteArray& array) {
        return reinterpret_cast<const unsigned char*>(array.constData());
    };
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    QByteArray result(data.size() + 32, '\0');
    auto* out = reinterpret_cast<unsigned char*>(result.data());
    int written = 0;
    int rest = 0;
    EVP_CipherInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, bytes(Key), bytes(Iv), encrypt);
    EVP_CipherUpdate(context.get(), out, &written, bytes(data), static_cast<int>(data.size()));
    if (EVP_CipherFinal_ex(context.get(), out + written, &rest) != 1)
        return {};
    return result.left(written + rest);
}

/// What the peer reads out of a body.
QByteArray peerOpen(const QByteArray& body) {
    const QByteArray compressed = peerCipher(QByteArray::fromBase64(QByteArray(body).replace("\r\n", "")), 0);
    QByteArray json(1 << 20, '\0');
    uLongf length = static_cast<uLongf>(json.size());
    if (uncompress(reinterpret_cast<Bytef*>(json.data()), &length,
            reinterpret_cast<const Bytef*>(compressed.constData()), static_cast<uLong>(compressed.size())) != Z_OK)
        return {};
    return json.left(static_cast<qsizetype>(length));
}

QString peerAnswer(const QByteArray& json) {
    return QString::fromLatin1(peerCipher(json, 1).toBase64());
}

} // namespace

/// Bodies against a peer that shares no code with them.
class tst_SealedBody : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void peerReadsBody_data();
    void peerReadsBody();
    void unsealing_data();
    void unsealing();
    void urlEscaping_data();
    void urlEscaping();
};

void tst_SealedBody::peerReadsBody_data() {
    QTest::addColumn<QJsonObject>("parameters");
    QJsonObject many;
    for (int i = 0; i < 3000; ++i)
        many.insert(u"key%1"_s.arg(i), i * 7919 % 10007);
    QTest::newRow("empty") << QJsonObject();
    QTest::newRow("login") << QJsonObject{
        {u"userid"_s, u"张三"_s}, {u"password"_s, u"a\"b\\c\n😀"_s}, {u"logintype"_s, 0}};
    QTest::newRow("large") << many;
}

void tst_SealedBody::peerReadsBody() {
    QFETCH(QJsonObject, parameters);
    const QByteArray body = SealedBody::encryptResquestParams(parameters);
    const QByteArray json = peerOpen(body);
    QCOMPARE(QJsonDocument::fromJson(json).object(), parameters);
    QVERIFY(parameters.isEmpty() || json.contains("\n  ")); // written to be read by people
    const QList<QByteArray> lines = QByteArray(body).replace("\r\n", "\n").split('\n');
    for (const QByteArray& line : lines)
        QVERIFY(line.size() == 64 || (&line == &lines.back() && line.size() < 64));
    QCOMPARE(SealedBody::encryptResquestParams(parameters), body);
}

void tst_SealedBody::unsealing_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QJsonValue>("expected");
    const QJsonObject object{{u"domain"_s, u"值"_s}};
    const QJsonValue none(QJsonValue::Undefined);
    const QString answer = peerAnswer("{\"domain\": \"值\"}");
    QTest::newRow("object") << answer << QJsonValue(object);
    QTest::newRow("array") << peerAnswer("[1]") << QJsonValue(QJsonArray{1});
    QTest::newRow("line breaks and strange characters")
        << QString(answer).insert(5, u"\r\n-中 "_s) << QJsonValue(object);
    QTest::newRow("part of a block behind")
        << QString::fromLatin1((peerCipher("[1]", 1) + "rest").toBase64()) << QJsonValue(QJsonArray{1});
    QTest::newRow("a body, which is compressed")
        << QString::fromLatin1(SealedBody::encryptResquestParams(object)) << none;
    QTest::newRow("a bare value") << peerAnswer("\"text\"") << none;
    QTest::newRow("cut JSON") << peerAnswer("{\"domain\": ") << none;
    QTest::newRow("damaged") << QString(answer).replace(0, 4, u"AAAA"_s) << none;
    QTest::newRow("no Base64") << u"{}"_s << none;
    QTest::newRow("empty") << QString() << none;
    QTest::newRow("deeply nested") << peerAnswer(QByteArray(100000, '[')) << none;
    // Small ones take many times the bytes of their text.
    QTest::newRow("more lists than any answer") << peerAnswer('[' + QByteArray("[0],").repeated(250000) + "0]") << none;
    QTest::newRow("more values than any answer") << peerAnswer('[' + QByteArray("0,").repeated(4000000) + "0]") << none;
}

void tst_SealedBody::unsealing() {
    QFETCH(QString, text);
    QFETCH(QJsonValue, expected);
    QCOMPARE(SealedBody::decodeSM4(text).value_or(QJsonValue(QJsonValue::Undefined)), expected);
}

void tst_SealedBody::urlEscaping_data() {
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("kept") << QByteArray("azAZ09") << u"azAZ09"_s;
    QTest::newRow("marks") << QByteArray("a-b.c") << u"a%2Db%2Ec"_s;
    QTest::newRow("neighbours") << QByteArray("/:@[`{_~") << u"%2F%3A%40%5B%60%7B%5F%7E"_s;
    QTest::newRow("sealed text") << QByteArray("+/=\r\n") << u"%2B%2F%3D%0D%0A"_s;
    QTest::newRow("any byte") << QByteArray("\0\xff中", 5) << u"%00%FF%E4%B8%AD"_s;
}

void tst_SealedBody::urlEscaping() {
    QFETCH(QByteArray, data);
    QFETCH(QString, expected);
    QCOMPARE(QenUrlEncode::urlencodWithData(data), expected);
}

QTEST_GUILESS_MAIN(tst_SealedBody)
#include "tst_SealedBody.moc"
