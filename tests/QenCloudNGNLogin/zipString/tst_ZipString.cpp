#include "zipAndUnzip.h"

#include <QRandomGenerator>
#include <QTest>

#include <barrier>
#include <thread>
#include <vector>

#include <malloc.h>
#include <zlib.h>

using Bytes = std::optional<QByteArray>;
Q_DECLARE_METATYPE(Bytes)

namespace {

/// A stream made afresh; window bits 15 give the zlib header, 31 gzip, -15 none.
QByteArray compressed(const QByteArray& data, int windowBits = 15) {
    z_stream stream{};
    deflateInit2(&stream, -1, Z_DEFLATED, windowBits, 9, Z_DEFAULT_STRATEGY);
    QByteArray result(data.size() + data.size() / 8 + 100, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, Z_FINISH);
    result.truncate(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return result;
}

QByteArray noise(int length) {
    QRandomGenerator generator(42);
    QByteArray bytes(length, Qt::Uninitialized);
    for (char& byte : bytes)
        byte = static_cast<char>(generator.bounded(256));
    return bytes;
}

QByteArray words(int length) {
    QRandomGenerator generator(43);
    QByteArray text;
    while (text.size() < length)
        text += QByteArray("\"key") + QByteArray::number(generator.bounded(900)) + "\": \"value\",\n";
    return text.left(length);
}

} // namespace

class tst_ZipString : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sameBytesAsFreshStream_data();
    void sameBytesAsFreshStream();
    void inflation_data();
    void inflation();
    void boundedExpansion();
    void threadsThatCompressedKeepNothing();
};

void tst_ZipString::sameBytesAsFreshStream_data() {
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("parameters") << words(400);
    QTest::newRow("several blocks") << words(700000);
    QTest::newRow("noise of several blocks") << noise(300000);
    QTest::newRow("parameters again") << words(400);
}

void tst_ZipString::sameBytesAsFreshStream() {
    QFETCH(QByteArray, data);
    const Bytes result = zipAndUnzip().gzipDeflate(data);
    QCOMPARE(result, Bytes(compressed(data)));
    QCOMPARE(zipAndUnzip().gzipInflate(*result), Bytes(data));
}

void tst_ZipString::inflation_data() {
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<Bytes>("expected");
    const QByteArray plain = words(5000);
    const QByteArray zlib = compressed(plain);
    QByteArray damaged = zlib;
    damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x55);
    QByteArray wrongSum = zlib;
    wrongSum.back() = static_cast<char>(wrongSum.back() + 1);
    QTest::newRow("empty") << QByteArray("") << Bytes(QByteArray(""));
    QTest::newRow("zlib header") << zlib << Bytes(plain);
    QTest::newRow("gzip header") << compressed(plain, 31) << Bytes(plain);
    QTest::newRow("no header") << compressed(plain, -15) << Bytes();
    QTest::newRow("bytes behind the end") << zlib + "more" << Bytes(plain);
    QTest::newRow("much larger than its stream")
        << compressed(QByteArray(500000, 'a')) << Bytes(QByteArray(500000, 'a'));
    QTest::newRow("cut by a byte") << zlib.chopped(1) << Bytes();
    QTest::newRow("one byte") << zlib.left(1) << Bytes();
    QTest::newRow("damaged") << damaged << Bytes();
    QTest::newRow("wrong check sum") << wrongSum << Bytes();
    QTest::newRow("no stream") << QByteArray("{\"ret\":0}") << Bytes();
}

void tst_ZipString::inflation() {
    QFETCH(QByteArray, data);
    QFETCH(Bytes, expected);
    QCOMPARE(zipAndUnzip().gzipInflate(data), expected);
}

void tst_ZipString::boundedExpansion() {
    const qsizetype limit = zipAndUnzip::LargestResult;
    const QByteArray most(limit, '\0');
    const QByteArray fits = compressed(most);
    const Bytes result = zipAndUnzip().gzipInflate(fits);
    QVERIFY(result.has_value());
    QCOMPARE(result->size(), limit);
    QCOMPARE(zipAndUnzip().gzipInflate(compressed(most + '\0')), Bytes());
}

void tst_ZipString::threadsThatCompressedKeepNothing() {
    constexpr int Threads = 8;
    constexpr size_t KeptByEach = 16 * 1024; // what the allocator holds ready for a thread; a compressor has 400 kB
    const auto inUse = [] {
        const struct mallinfo2 heap = mallinfo2();
        return heap.uordblks + heap.hblkhd;
    };
    QVERIFY(zipAndUnzip().gzipDeflate(words(400)));
    const size_t before = inUse();
    std::barrier compressed(Threads + 1), measured(Threads + 1);
    std::vector<std::jthread> threads;
    for (int i = 0; i < Threads; ++i)
        threads.emplace_back([&] {
            zipAndUnzip().gzipDeflate(words(400));
            compressed.arrive_and_wait();
            measured.arrive_and_wait();
        });
    compressed.arrive_and_wait();
    const size_t during = inUse();
    measured.arrive_and_wait();
    QVERIFY2(during < before + Threads * KeptByEach, QByteArray::number(during - before).constData());
}

QTEST_GUILESS_MAIN(tst_ZipString)
#include "tst_ZipString.moc"
