#include "sm4.h"

#include <QRandomGenerator>
#include <QTest>

#include <openssl/evp.h>

#include <cstdlib>
#include <cstring>
#include <memory>

/// The SM4 routines against the standard's vectors and against another implementation.
class tst_SM4 : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void standardVectors_data();
    void standardVectors();
    void againstLibrary_data();
    void againstLibrary();
    void partialBlockStaysUntouched();
    void standardVectorsInBulk();
    void padding_data();
    void padding();
    void unpadding_data();
    void unpadding();
};

namespace {

const unsigned char* in(const QByteArray& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}
unsigned char* out(QByteArray& bytes) {
    return reinterpret_cast<unsigned char*>(bytes.data());
}

QByteArray randomBytes(QRandomGenerator& generator, qsizetype length) {
    QByteArray bytes(length, Qt::Uninitialized);
    for (char& byte : bytes)
        byte = static_cast<char>(generator.bounded(256));
    return bytes;
}

QByteArray library(
    const EVP_CIPHER* cipher, const QByteArray& key, const QByteArray& iv, const QByteArray& data, int encrypt) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    QByteArray result(data.size() + 16, '\0');
    int written = 0;
    EVP_CipherInit_ex(context.get(), cipher, nullptr, in(key), in(iv), encrypt);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    EVP_CipherUpdate(context.get(), out(result), &written, in(data), static_cast<int>(data.size()));
    return result.left(written);
}

} // namespace

void tst_SM4::standardVectors_data() {
    QTest::addColumn<int>("times");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("once") << 1 << QByteArray("681edf34d206965e86b3e94f536e4246");
    QTest::newRow("a million times") << 1000000 << QByteArray("595298c7c6fd271f0402f804c33d3f66");
}

void tst_SM4::standardVectors() {
    QFETCH(int, times);
    QFETCH(QByteArray, expected);
    const QByteArray key = QByteArray::fromHex("0123456789abcdeffedcba9876543210");
    sm4_context encryption;
    sm4_setkey_enc(&encryption, in(key));
    QByteArray block = key;
    for (int i = 0; i < times; ++i)
        sm4_one_round(encryption.sk, in(block), out(block));
    QCOMPARE(block.toHex(), expected);

    sm4_context decryption;
    sm4_setkey_dec(&decryption, in(key));
    QCOMPARE(encryption.mode, SM4_ENCRYPT);
    QCOMPARE(decryption.mode, SM4_DECRYPT);
    for (int i = 0; i < times; ++i)
        sm4_one_round(decryption.sk, in(block), out(block));
    QCOMPARE(block, key);
}

void tst_SM4::againstLibrary_data() {
    QTest::addColumn<int>("blocks");
    QTest::addColumn<bool>("tablesOnly");
    QList<int> counts = {63, 64, 65, 71, 128, 4096};
    for (int blocks = 0; blocks <= 33; ++blocks)
        counts += blocks;
    for (const int blocks : counts) {
        QTest::addRow("%d blocks", blocks) << blocks << false;
        QTest::addRow("%d blocks by table", blocks) << blocks << true;
    }
}

void tst_SM4::againstLibrary() {
    QFETCH(int, blocks);
    QFETCH(bool, tablesOnly);
    QRandomGenerator generator(static_cast<quint32>(blocks) + 1);
    const QByteArray key = randomBytes(generator, 16);
    const QByteArray iv = randomBytes(generator, 16);
    const QByteArray plain = randomBytes(generator, blocks * 16);
    const auto length = static_cast<std::size_t>(plain.size());
    sm4_context encryption;
    sm4_context decryption;
    sm4_setkey_enc(&encryption, in(key));
    sm4_setkey_dec(&decryption, in(key));
    if (tablesOnly)
        encryption.blocks = decryption.blocks = sm4_blocks_by_table;

    QByteArray result(plain.size(), '\0');
    sm4_crypt_ecb(&encryption, SM4_ENCRYPT, length, in(plain), out(result));
    QCOMPARE(result, library(EVP_sm4_ecb(), key, iv, plain, 1));
    sm4_crypt_ecb(&decryption, SM4_DECRYPT, length, in(result), out(result));
    QCOMPARE(result, plain);
    // From an odd address to another.
    QByteArray apart = '-' + QByteArray(plain.size(), '\0') + '-';
    const QByteArray odd = '-' + plain;
    sm4_crypt_ecb(&encryption, SM4_ENCRYPT, length, in(odd) + 1, out(apart) + 1);
    QCOMPARE(apart, '-' + library(EVP_sm4_ecb(), key, iv, plain, 1) + '-');

    // In two pieces, so that the IV handed on is seen to be right, and in place on the way back.
    const std::size_t first = length / 48 * 16;
    QByteArray chained = iv;
    sm4_crypt_cbc(&encryption, SM4_ENCRYPT, first, out(chained), in(plain), out(result));
    sm4_crypt_cbc(&encryption, SM4_ENCRYPT, length - first, out(chained), in(plain) + first, out(result) + first);
    QCOMPARE(result, library(EVP_sm4_cbc(), key, iv, plain, 1));
    QCOMPARE(chained, blocks ? result.right(16) : iv);
    chained = iv;
    sm4_crypt_cbc(&decryption, SM4_DECRYPT, first, out(chained), in(result), out(result));
    sm4_crypt_cbc(&decryption, SM4_DECRYPT, length - first, out(chained), in(result) + first, out(result) + first);
    QCOMPARE(result, plain);
}

void tst_SM4::partialBlockStaysUntouched() {
    const QByteArray key(16, 'k');
    sm4_context context;
    sm4_setkey_enc(&context, in(key));
    QByteArray iv(16, 'i');
    const QByteArray plain(16 * 5 + 7, 'p');
    for (const bool chained : {false, true}) {
        QByteArray result(plain.size(), '-');
        const auto length = static_cast<std::size_t>(plain.size());
        if (chained)
            sm4_crypt_cbc(&context, SM4_ENCRYPT, length, out(iv), in(plain), out(result));
        else
            sm4_crypt_ecb(&context, SM4_ENCRYPT, length, in(plain), out(result));
        QCOMPARE(result.right(7), QByteArray(7, '-'));
        QVERIFY(result.at(79) != '-' || result.at(78) != '-');
    }
}

/// By the way that this processor has; the tables take one block as they take many.
void tst_SM4::standardVectorsInBulk() {
    const QByteArray key = QByteArray::fromHex("0123456789abcdeffedcba9876543210");
    sm4_context encryption;
    sm4_setkey_enc(&encryption, in(key));
    QByteArray blocks = key.repeated(8);
    for (int i = 0; i < 1000000; ++i)
        sm4_crypt_ecb(&encryption, SM4_ENCRYPT, 8 * SM4_BLOCK_SIZE, in(blocks), out(blocks));
    QCOMPARE(blocks.toHex(), QByteArray("595298c7c6fd271f0402f804c33d3f66").repeated(8));
}

void tst_SM4::padding_data() {
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("count");
    QTest::newRow("one byte") << 1 << 15;
    QTest::newRow("one short of a block") << 15 << 1;
    QTest::newRow("a whole block gains another") << 16 << 16;
    QTest::newRow("second block") << 17 << 15;
}

void tst_SM4::padding() {
    QFETCH(int, length);
    QFETCH(int, count);
    auto* buffer = static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(length)));
    std::memset(buffer, 'x', static_cast<std::size_t>(length));
    paddingForEncryption(&buffer, static_cast<std::size_t>(length));
    const QByteArray padded(reinterpret_cast<char*>(buffer), length + count + 1);
    std::free(buffer);
    QCOMPARE(padded, QByteArray(length, 'x') + QByteArray(count, static_cast<char>(count)) + '\0');

    unsigned char* none = nullptr;
    paddingForEncryption(&none, 5);
    QVERIFY(!none);
    unsigned char kept = 'x';
    unsigned char* empty = &kept;
    paddingForEncryption(&empty, 0);
    QCOMPARE(empty, &kept);
}

void tst_SM4::unpadding_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<int>("remaining");
    QTest::newRow("proper") << QByteArray("abc\2\2") << QByteArray("abc\0\0", 5) << 3;
    QTest::newRow("pad bytes differ") << QByteArray("abcd\3") << QByteArray("ab\0\0\0", 5) << 2;
    QTest::newRow("count of zero") << QByteArray("abc\0", 4) << QByteArray("abc\0", 4) << 4;
    QTest::newRow("all padding") << QByteArray("\1") << QByteArray("\0", 1) << 0;
    QTest::newRow("count above sixteen") << QByteArray(50, '0') << QByteArray("00") + QByteArray(48, '\0') << 2;
    QTest::newRow("count above the length") << QByteArray("ab\xff") << QByteArray(3, '\0') << 0;
    QTest::newRow("empty") << QByteArray() << QByteArray() << 0;
}

void tst_SM4::unpadding() {
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, expected);
    QFETCH(int, remaining);
    std::size_t left = 99;
    unpaddingForDecryption(out(bytes), &left, static_cast<std::size_t>(bytes.size()));
    QCOMPARE(left, static_cast<std::size_t>(remaining));
    QCOMPARE(bytes, expected);
}

QTEST_GUILESS_MAIN(tst_SM4)
#include "tst_SM4.moc"
