#include "Base64Text.h"
#include "VoAlgorithmSM4.h"
#include "sm4.h"

#include <QRandomGenerator>
#include <QTest>

#include <openssl/evp.h>

#include <memory>

using namespace Qt::StringLiterals;

using Text = std::optional<QString>;
Q_DECLARE_METATYPE(Text)

namespace {

const QString Key = u"0123456789abcdef"_s;
const QString Iv = u"fedcba9876543210"_s;
const QByteArray BuiltInKey = "Rk5w9ZqT2&hNe7Xc";
const QByteArray FixedIv = "pWq4nLs8Ty#%!3Hd";

const unsigned char* in(const QByteArray& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

unsigned char* out(QByteArray& bytes) {
    return reinterpret_cast<unsigned char*>(bytes.data());
}

/// @p data through @p cipher with the library's own padding.
QByteArray library(const EVP_CIPHER* cipher, const QByteArray& key, const QByteArray& iv, const QByteArray& data) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    QByteArray result(data.size() + 32, '\0');
    int written = 0;
    int rest = 0;
    EVP_EncryptInit_ex(context.get(), cipher, nullptr, in(key), in(iv));
    EVP_EncryptUpdate(context.get(), out(result), &written, in(data), static_cast<int>(data.size()));
    EVP_EncryptFinal_ex(context.get(), out(result) + written, &rest);
    return result.left(written + rest);
}

QByteArray unlined(const Text& text) {
    return QByteArray::fromBase64(text.value_or(QString()).remove(u"\r\n"_s).toLatin1());
}

QString sample(int length) {
    QRandomGenerator generator(static_cast<quint32>(length));
    QString text;
    for (int i = 0; i < length; ++i)
        text += QChar(static_cast<char16_t>(generator.bounded(8) ? generator.bounded(32, 127) : 0x4e00 + i % 1000));
    return text;
}

} // namespace

/// Both ciphers: the standard's vectors, agreement with the library, the refusals and the limits.
class tst_VoAlgorithmSM4 : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void standardVectors();
    void standardVectorsInBulk();
    void blocksSideBySide();
    void chainInPiecesAndInPlace();
    void padding();
    void modes();
    void refusals_data();
    void refusals();
    void undecodable_data();
    void undecodable();
    void systemLog();
    void aesKeys_data();
    void aesKeys();
    void aesBuiltInKey();
    void decodeAes_data();
    void decodeAes();
    void base64_data();
    void base64();
    void base64Lines();
};

void tst_VoAlgorithmSM4::standardVectors() {
    const QByteArray key = QByteArray::fromHex("0123456789abcdeffedcba9876543210");
    sm4_context encryption;
    sm4_context decryption;
    sm4_setkey_enc(&encryption, in(key));
    sm4_setkey_dec(&decryption, in(key));
    for (const auto& [times, expected] : {std::pair(1, QByteArray("681edf34d206965e86b3e94f536e4246")),
             std::pair(1000000, QByteArray("595298c7c6fd271f0402f804c33d3f66"))}) {
        QByteArray block = key;
        for (int i = 0; i < times; ++i)
            sm4_one_round(encryption.sk, in(block), out(block));
        QCOMPARE(block.toHex(), expected);
        for (int i = 0; i < times; ++i)
            sm4_one_round(decryption.sk, in(block), out(block));
        QCOMPARE(block, key);
    }
}

/// By the way that this processor has; the tables take one block as they take many.
void tst_VoAlgorithmSM4::standardVectorsInBulk() {
    const QByteArray key = QByteArray::fromHex("0123456789abcdeffedcba9876543210");
    sm4_context encryption;
    sm4_setkey_enc(&encryption, in(key));
    // Eight would take the tables eight times as long, instrumented longer than a test may.
    const int count = sm4_fastest_blocks() == &sm4_blocks_by_table ? 1 : 8;
    QByteArray blocks = key.repeated(count);
    for (int i = 0; i < 1000000; ++i)
        sm4_crypt_ecb(&encryption, SM4_ENCRYPT, static_cast<size_t>(blocks.size()), in(blocks), out(blocks));
    QCOMPARE(blocks.toHex(), QByteArray("595298c7c6fd271f0402f804c33d3f66").repeated(count));
}

/// Both ways that independent blocks can go, in every number up to two vectors and around the widest step.
void tst_VoAlgorithmSM4::blocksSideBySide() {
    QList<int> counts{63, 64, 65, 71, 128, 4096};
    for (int blocks = 0; blocks <= 33; ++blocks)
        counts << blocks;
    for (const auto way : {sm4_fastest_blocks(), &sm4_blocks_by_table}) {
        sm4_context encryption;
        sm4_context decryption;
        sm4_setkey_enc(&encryption, in(BuiltInKey));
        sm4_setkey_dec(&decryption, in(BuiltInKey));
        encryption.blocks = decryption.blocks = way;
        for (const int blocks : std::as_const(counts)) {
            const auto length = static_cast<size_t>(blocks) * SM4_BLOCK_SIZE;
            const QByteArray plain = sample(blocks * 16).toLatin1();
            const QByteArray sealed = library(EVP_sm4_ecb(), BuiltInKey, {}, plain).left(plain.size());
            // From an odd address to another, and back in place.
            const QByteArray odd = '-' + plain;
            QByteArray apart = '-' + QByteArray(plain.size(), '\0') + '-';
            sm4_crypt_ecb(&encryption, SM4_ENCRYPT, length, in(odd) + 1, out(apart) + 1);
            QCOMPARE(apart, '-' + sealed + '-');
            sm4_crypt_ecb(&decryption, SM4_DECRYPT, length, in(apart) + 1, out(apart) + 1);
            QCOMPARE(apart, '-' + plain + '-');
            QByteArray chained = library(EVP_sm4_cbc(), BuiltInKey, FixedIv, plain).left(plain.size());
            QByteArray iv = FixedIv;
            sm4_crypt_cbc(&decryption, SM4_DECRYPT, length, out(iv), in(chained), out(chained));
            QCOMPARE(chained, plain);
        }
    }
}

void tst_VoAlgorithmSM4::chainInPiecesAndInPlace() {
    sm4_context encryption;
    sm4_context decryption;
    sm4_setkey_enc(&encryption, in(BuiltInKey));
    sm4_setkey_dec(&decryption, in(BuiltInKey));
    const QByteArray plain = QByteArray(80, 'p') + QByteArray(23, 'q');
    QByteArray result(plain.size(), '-');
    QByteArray iv = FixedIv;
    sm4_crypt_cbc(&encryption, SM4_ENCRYPT, 32, out(iv), in(plain), out(result));
    sm4_crypt_cbc(&encryption, SM4_ENCRYPT, 71, out(iv), in(plain) + 32, out(result) + 32);
    // A part of a block at the end is left alone.
    QCOMPARE(result, library(EVP_sm4_cbc(), BuiltInKey, FixedIv, plain).left(96) + "-------");
    QCOMPARE(iv, result.mid(80, 16));
    iv = FixedIv;
    sm4_crypt_cbc(&decryption, SM4_DECRYPT, 32, out(iv), in(result), out(result));
    sm4_crypt_cbc(&decryption, SM4_DECRYPT, 71, out(iv), in(result) + 32, out(result) + 32);
    QCOMPARE(result, plain.left(96) + "-------");
    sm4_crypt_ecb(&encryption, SM4_ENCRYPT, 103, in(plain), out(result));
    QCOMPARE(result, library(EVP_sm4_ecb(), BuiltInKey, FixedIv, plain).left(96) + "-------");
}

void tst_VoAlgorithmSM4::padding() {
    unsigned char* none = nullptr;
    paddingForEncryption(&none, 5);
    QVERIFY(!none);
    unsigned char kept = 'x';
    unsigned char* empty = &kept;
    paddingForEncryption(&empty, 0);
    QCOMPARE(empty, &kept);
    // What is taken off is not left to be read.
    QByteArray bytes = "abcd\3";
    std::size_t left = 99;
    unpaddingForDecryption(out(bytes), &left, 5);
    QCOMPARE(left, std::size_t(2));
    QCOMPARE(bytes, QByteArray("ab\0\0\0", 5));
}

void tst_VoAlgorithmSM4::modes() {
    // The second key and IV have more bytes than characters, of which the first sixteen count.
    const QString wideKey = u"钥匙0123456789abcd"_s;
    const QString wideIv = u"向量fedcba98765432"_s;
    const auto compare = [](const QString& key, const QString& iv, const QString& text) {
        const QByteArray plain = text.toUtf8();
        const QByteArray k = key.toUtf8().left(16);
        const QByteArray v = iv.toUtf8().left(16);
        VoAlgorithmSM4 ctr = VoAlgorithmSM4::ctrSM4WithKey(key, iv);
        VoAlgorithmSM4 cbc = VoAlgorithmSM4::cbcSM4WithKey(key, iv);
        VoAlgorithmSM4 ecb = VoAlgorithmSM4::ecbSM4WithKey(key);
        QCOMPARE(unlined(ctr.encryption(text)), library(EVP_sm4_ctr(), k, v, plain));
        QCOMPARE(unlined(cbc.encryption(text)), library(EVP_sm4_cbc(), k, v, plain));
        QCOMPARE(unlined(ecb.encryption(text)), library(EVP_sm4_ecb(), k, v, plain));
        for (const VoAlgorithmSM4* cipher : {&ctr, &cbc, &ecb})
            QCOMPARE(cipher->decryption(*cipher->encryption(text)), Text(text));
        ecb.setType(3);
        QCOMPARE(ecb.encryption(text), Text());
        QCOMPARE(ecb.decryption(u"AAAA"_s), Text());
    };
    for (const int length : {1, 15, 16, 17, 48, 65, 5000})
        compare(Key, Iv, sample(length));
    compare(wideKey, wideIv, sample(16));
}

void tst_VoAlgorithmSM4::refusals_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("iv");
    QTest::addColumn<QString>("text");
    const QString text = u"AAAAAAAAAAAAAAAAAAAAAA=="_s;
    QTest::newRow("key too short") << Key.left(15) << Iv << text;
    QTest::newRow("key too long") << Key + u'0' << Iv << text;
    QTest::newRow("sixteen bytes but fewer characters") << u"钥0123456789abc"_s << Iv << text;
    QTest::newRow("iv too short") << Key << Iv.left(15) << text;
    QTest::newRow("empty text") << Key << Iv << u""_s;
}

void tst_VoAlgorithmSM4::refusals() {
    QFETCH(QString, key);
    QFETCH(QString, iv);
    QFETCH(QString, text);
    QCOMPARE(VoAlgorithmSM4::encryptionWithSM4CTRKey(key, iv, text), Text());
    QCOMPARE(VoAlgorithmSM4::decryptionWithSM4CTRKey(key, iv, text), Text());
    QCOMPARE(VoAlgorithmSM4::encryptionWithSM4Key(key, iv, text), Text());
    QCOMPARE(VoAlgorithmSM4::decryptionWithSM4Key(key, iv, text), Text());
    if (iv == Iv) {
        QCOMPARE(VoAlgorithmSM4::encryptionWithSM4Key(key, text), Text());
        QCOMPARE(VoAlgorithmSM4::decryptionWithSM4Key(key, text), Text());
    }
}

void tst_VoAlgorithmSM4::undecodable_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<Text>("blocks");
    QTest::addColumn<Text>("stream");
    const Text empty = u""_s;
    const auto sealed = [](const QByteArray& plain) {
        return QString::fromLatin1(library(EVP_sm4_ctr(), Key.toUtf8(), Iv.toUtf8(), plain).toBase64());
    };
    QTest::newRow("no character of the alphabet") << u"!\r\n?"_s << empty << empty;
    QTest::newRow("no whole group") << u"AAAAA"_s << Text() << Text();
    QTest::newRow("cut within a character") << sealed("\xe4\xb8") << empty << Text();
    QTest::newRow("byte order mark stays") << sealed("\xef\xbb\xbf") << empty << Text(QChar(0xfeff));
}

void tst_VoAlgorithmSM4::undecodable() {
    QFETCH(QString, text);
    QFETCH(Text, blocks);
    QFETCH(Text, stream);
    QCOMPARE(VoAlgorithmSM4::decryptionWithSM4Key(Key, Iv, text), blocks);
    QCOMPARE(VoAlgorithmSM4::decryptionWithSM4Key(Key, text), blocks);
    QCOMPARE(VoAlgorithmSM4::decryptionWithSM4CTRKey(Key, Iv, text), stream);
}

void tst_VoAlgorithmSM4::systemLog() {
    const Text result = VoAlgorithmSM4::cbcSM4WithKey(Key, Iv).encryption(u"a"_s);
    QTest::ignoreMessage(QtInfoMsg, result->toLatin1().constData());
    VoAlgorithmSM4::encryptionWithSM4Key(Key, Iv, u"a"_s);

    const Text stream = VoAlgorithmSM4::encryptionWithSM4CTRKey(Key, Iv, u"\tz中"_s);
    QTest::ignoreMessage(QtInfoMsg, "de=09 122 228 184 173 ");
    QCOMPARE(VoAlgorithmSM4::decryptionWithSM4CTRKey(Key, Iv, *stream), Text(u"\tz中"_s));
}

void tst_VoAlgorithmSM4::aesKeys_data() {
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("bits");
    QTest::newRow("16 characters") << QString(16, u'a') << 128;
    QTest::newRow("24 characters") << QString(24, u'b') << 192;
    QTest::newRow("32 characters") << QString(32, u'c') << 256;
    QTest::newRow("16 characters, 48 bytes") << QString(16, u'钥') << 128;
    QTest::newRow("20 characters") << QString(20, u'd') << 0;
    QTest::newRow("10 characters, 32 bytes") << QString(11, u'钥').replace(0, 1, u'x') << 0;
    QTest::newRow("empty key") << u""_s << 0;
}

void tst_VoAlgorithmSM4::aesKeys() {
    QFETCH(QString, key);
    QFETCH(int, bits);
    const QString text = u"sixteen bytes ok"_s;
    const Text result = VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(text, key);
    QCOMPARE(result.has_value(), bits > 0);
    if (!bits)
        return;
    const EVP_CIPHER* cipher = bits == 128 ? EVP_aes_128_cbc() : bits == 192 ? EVP_aes_192_cbc() : EVP_aes_256_cbc();
    QCOMPARE(unlined(result), library(cipher, key.toUtf8(), FixedIv, text.toUtf8()));
    QCOMPARE(result->size(), 44);
    // Decoding knows 128 bits only.
    QCOMPARE(VoAlgorithmSM4::DecodeAES(unlined(result), key) == text.toUtf8(), bits == 128);
}

void tst_VoAlgorithmSM4::aesBuiltInKey() {
    for (const int length : {0, 1, 15, 16, 17, 48, 70000}) {
        const QByteArray plain = sample(length).toUtf8();
        const Text result = VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(plain);
        QVERIFY(result);
        // An empty text is not padded.
        QCOMPARE(unlined(result), length ? library(EVP_aes_128_cbc(), BuiltInKey, FixedIv, plain) : QByteArray());
        QCOMPARE(Base64Text::decode(*result), std::optional(unlined(result)));
        QCOMPARE(VoAlgorithmSM4::DecodeAES(unlined(result)), std::optional(plain));
        QCOMPARE(VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(QString::fromUtf8(plain), QString::fromLatin1(BuiltInKey)),
            result);
    }
}

void tst_VoAlgorithmSM4::decodeAes_data() {
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<int>("kept");
    QTest::addColumn<QByteArray>("expected");
    // Each plain text gains a block of padding; only so many bytes of the cipher text are handed over.
    QTest::newRow("nothing") << QByteArray("abc") << 0 << QByteArray();
    QTest::newRow("less than a block") << QByteArray("abc") << 15 << QByteArray();
    QTest::newRow("part of a block at the end")
        << QByteArray("abcdefghijklmno\1Z") << 31 << QByteArray("abcdefghijklmno");
    QTest::newRow("count above the length") << QByteArray("abcdefghijklmno\xff") << 16 << QByteArray();
    QTest::newRow("count above the block") << QByteArray(16, 'a') + QByteArray(16, '\x11') << 32 << QByteArray(15, 'a');
    QTest::newRow("count of zero") << QByteArray(16, '\0') << 16 << QByteArray(16, '\0');
    QTest::newRow("unlike pad bytes") << QByteArray("abcdefghijklmn\7\2") << 16 << QByteArray("abcdefghijklmn");
}

void tst_VoAlgorithmSM4::decodeAes() {
    QFETCH(QByteArray, plain);
    QFETCH(int, kept);
    QFETCH(QByteArray, expected);
    const QByteArray shortKey = QByteArray("short") + QByteArray(11, '\0');
    QCOMPARE(VoAlgorithmSM4::DecodeAES(library(EVP_aes_128_cbc(), BuiltInKey, FixedIv, plain).left(kept)),
        std::optional(expected));
    QCOMPARE(VoAlgorithmSM4::DecodeAES(library(EVP_aes_128_cbc(), shortKey, FixedIv, plain).left(kept), u"short"_s),
        std::optional(expected));
}

void tst_VoAlgorithmSM4::base64_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<bool>("accepted");
    const auto row = [](const char* name, const QString& text, const QByteArray& expected, bool accepted = true) {
        QTest::newRow(name) << text << expected << accepted;
    };
    row("empty", QString(), QByteArray());
    row("breaks within a group", u"Y\r\nWJ jZ\tGVm"_s, "abcdef");
    row("unknown characters", u"Y-W_中Jİj"_s, "abc");
    row("one byte", u"YQ=="_s, "a");
    row("padding apart", u"YWI\r\n=\r\n"_s, "ab");
    row("padding missing", u"YWI"_s, {}, false);
    row("a single letter left", u"YWJjY==="_s, {}, false);
    row("goes on behind the padding", u"YQ==YWJj"_s, {}, false);
    row("padding for nothing", u"="_s, {}, false);
}

void tst_VoAlgorithmSM4::base64() {
    QFETCH(QString, text);
    QFETCH(QByteArray, expected);
    QFETCH(bool, accepted);
    const std::optional<QByteArray> decoded = Base64Text::decode(text);
    QCOMPARE(decoded.has_value(), accepted);
    QCOMPARE(decoded.value_or(QByteArray()), expected);
}

void tst_VoAlgorithmSM4::base64Lines() {
    QByteArray bytes;
    for (int length = 0; length < 200; ++length) {
        QString expected = QString::fromLatin1(bytes.toBase64());
        for (qsizetype at = 64; at < expected.size(); at += 66)
            expected.insert(at, u"\r\n"_s);
        QCOMPARE(Base64Text::encode(bytes), expected);
        QVERIFY(!Base64Text::encode(bytes).isNull());
        QCOMPARE(Base64Text::decode(expected), std::optional(bytes));
        bytes += static_cast<char>(length * 37);
    }
}

QTEST_GUILESS_MAIN(tst_VoAlgorithmSM4)
#include "tst_VoAlgorithmSM4.moc"
