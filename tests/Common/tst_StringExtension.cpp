#include "ArrayExtension.h"
#include "ColorExtension.h"
#include "ImageExtension.h"
#include "StringExtension.h"

#include <QDir>
#include <QFont>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using Text = std::optional<QString>;
using Rule = bool (*)(const QString&);
Q_DECLARE_METATYPE(Text)
Q_DECLARE_METATYPE(Rule)

using namespace Qt::StringLiterals;
using namespace StringExtension;

namespace {

struct Category {
    QString type;
    QString categoryType() const { return type; }
};

void pictureFile(const QString& path, int side) {
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(Qt::red);
    QVERIFY(image.save(path));
}

} // namespace

/// The helpers on strings, lists, colours and pictures: their limits and the oddities that are kept.
class tst_StringExtension : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rules_data() {
        QTest::addColumn<Rule>("rule");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("expected");
        const auto rows = [](const char* name, Rule rule, bool expected, const QStringList& texts) {
            for (const QString& text : texts)
                QTest::addRow("%s %d \"%s\"", name, expected, qPrintable(text)) << rule << text << expected;
        };
        rows("letter", isLetter, true, {u"A"_s, u"Z"_s, u"1a"_s, u"z."_s, QString(QChar(0x4e41))});
        rows("letter", isLetter, false, {QString(), u"019.-@[`{"_s, QString(QChar(0x4e00))});

        rows("address", isValidatIP, true,
            {u"a.b"_s, u".a"_s, u"1.2.3.4x"_s, u"0.0.0.0"_s, u"255.255.255.255"_s, u"192.168.01.001"_s,
                u"199.249.99.9"_s});
        rows("address", isValidatIP, false,
            {u""_s, u"host"_s, u"256.1.1.1"_s, u"1.2.3.260"_s, u"1.2.3"_s, u"1.2.3.4.5"_s, u"1..3.4"_s, u"1.2.3.0004"_s,
                u"1.2.3.4\n"_s, u" 1.2.3.4"_s, u"1,2,3,4"_s, u"１.２.３.４"_s});

        rows("digits", isPureNumandCharacters, true, {QString(), u"8080"_s, u"８٠०"_s, u"𝟘𝟙"_s});
        rows("digits", isPureNumandCharacters, false, {u"80a"_s, u"8a0"_s, u"-80"_s, u"80 "_s, u"8.0"_s, u"½"_s});

        // From 8 to 32 characters, one beyond 16 bits counts once; a line end may stand behind them only.
        const QString x29(29, u'x');
        rows("password", confirmPassFormat, true,
            {u"Abcdefg1!"_s, u"abcdefg1!"_s, u"ABCDEFG1!"_s, u"abcdef1!"_s, u"a1!"_s + x29,
                u"a1!"_s + u"😀"_s.repeated(29), u"abcdefg1!\u2028"_s});
        rows("password", confirmPassFormat, false,
            {QString(), u"abcde1!"_s, u"a1!x"_s + x29, u"a1!xxx😀"_s, u"abcdefg12"_s, u"abcdefg1 "_s, u"abcdefgh!"_s,
                u"12345678!"_s, u"abcd\refg1!"_s});
        for (const QChar c : u"`~!@#$%^&*()_-+=|{}':;,[].<>/?！￥…（）—【】‘；：”“’。，、？"_s)
            rows("password", confirmPassFormat, true, {u"abcdefg1"_s + c});
        for (const QChar c : u"\"\\～《€"_s)
            rows("password", confirmPassFormat, false, {u"abcdefg1"_s + c});
    }

    void rules() {
        QFETCH(Rule, rule);
        QFETCH(QString, text);
        QFETCH(bool, expected);
        QCOMPARE(rule(text), expected);
    }

    void segments_data() {
        QTest::addColumn<QString>("segment");
        QTest::addColumn<QString>("address");
        QTest::addColumn<bool>("expected");
        const auto row = [](const char* segment, const char* address, bool expected) {
            QTest::addRow("%s in %s", address, segment)
                << QString::fromLatin1(segment) << QString::fromLatin1(address) << expected;
        };
        row("10.0.0.1-10.0.0.254", "10.0.0.1", true);
        row("10.0.0.1-10.0.0.254", "10.0.0.254", true);
        row("10.0.0.1-10.0.0.254", "10.0.0.0", false);
        row("10.0.0.1-10.0.0.254", "10.0.1.0", false);
        row("10.0.0.1 - 10.0.0.254", "10.0.0.254", true);
        row("10.0.0.1-223.255.255.255", "200.0.0.1", true); // not below zero
        row("10.0.0.254-10.0.0.1", "10.0.0.100", false);
        row("10.0.0.1-10.0.0.9", "9.1.0.3", false);
        row("10.0.0.1-10.0.0.9", "10.1.0.3", false);
        row("10.0.0.1", "10.0.0.1", false);
        row("10.0.0.1-10.0.0.5-10.0.0.9", "10.0.0.3", false);
        row("10.0.0-10.0.0.9", "10.0.0.3", false);
        row("10.0.0.1-10.0.0.9", "10.0.0", false);
        row("10.0.0.1-10.0.0.9", "10.0.0.3.1", false);
        row("10.0.0.0-10.0.0.9", "10.0.0.x", true); // no digits read as 0
        row("", "", false);
    }

    void segments() {
        QFETCH(QString, segment);
        QFETCH(QString, address);
        QFETCH(bool, expected);
        QCOMPARE(ifINIPSegment(segment, address), expected);
    }

    void aes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("expected");
        // Made with: openssl enc -aes-128-ecb -K <first 16 bytes of the key> -base64
        const auto row = [](const char* text, const char* key, const char* expected) {
            QTest::addRow("%s with %s", text, key)
                << QString::fromUtf8(text) << QString::fromUtf8(key) << QString::fromLatin1(expected);
        };
        row("", "quorvanel", "mho9lI/7pEEA3AEZwLoiHQ==");
        row("ticket", "quorvanel", "oLL99eiMF9Q1iv7yAfCuqA==");
        row("sixteen bytes ok", "0123456789abcdefTHE REST DOES NOT COUNT",
            "HuFJ3BOKfIPTQIr+xeGa4TdyIuBhqSTFkc2cJ+oWPtQ=");
        row("票据", "钥匙", "1/VeSW8HQpcJWSXvG/0mTQ==");
        row("a line break after every sixty-four characters of it", "",
            "JZQPQXghqHXVarjzGWlvYDKcy1IHZFsquswBdJC2L8Z5lyrataSekL++OWcGi+9V\r\nIDeNGQzfRl5nLHjbZZK9eg==");
    }

    void aes() {
        QFETCH(QString, text);
        QFETCH(QString, key);
        QFETCH(QString, expected);
        QCOMPARE(aes256_encrypt(text, key), Text(expected));
        QCOMPARE(aes256_decrypt(expected, key), Text(text));
    }

    void aesRefusals_data() {
        QTest::addColumn<QString>("text");
        const QString good = *aes256_encrypt(u"a ticket of more than one block"_s, u"quorvanel"_s);
        QTest::newRow("plain text") << u"ticket-1234"_s;
        QTest::newRow("nothing") << QString();
        QTest::newRow("part of a block") << u"AAAA"_s;
        QTest::newRow("last block missing") << good.left(20) + u"A=="_s;
        // A block of the right key whose end is no padding, and one that is no UTF-8.
        QTest::newRow("no padding") << u"ooQWy/MkpQK1/L/7o3DZ4w=="_s;
        QTest::newRow("no text") << u"wTbUFdwUPpOshQTiKdDciA=="_s;
    }

    void aesRefusals() {
        QFETCH(QString, text);
        QCOMPARE(aes256_decrypt(text, u"quorvanel"_s), Text());
    }

    void zeroEndedStrings_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QStringList>("expected");
        const QString abc = u"abc"_s;
        QTest::newRow("empty") << QByteArray() << QStringList();
        QTest::newRow("no zero byte") << QByteArray("abc") << QStringList();
        QTest::newRow("rest dropped") << QByteArray("abc\0de", 6) << QStringList{abc};
        QTest::newRow("two") << QByteArray("abc\0de\0", 7) << QStringList{abc, u"de"_s};
        QTest::newRow("adjacent") << QByteArray("\0\0abc\0", 6) << QStringList{QString(), QString(), abc};
    }

    void zeroEndedStrings() {
        QFETCH(QByteArray, data);
        QFETCH(QStringList, expected);
        QCOMPARE(ArrayExtension::stringArrayWithCFData(data), expected);
    }

    void categories() {
        using namespace ArrayExtension;
        const QString second = u"b"_s;
        QList<Category> values;
        QCOMPARE(ObjectPositionToArray(values, second), -1);
        values = {{u"a"_s}, {second}, {second}};
        QCOMPARE(ObjectPositionToArray(values, second), 1);
        QVERIFY(isContainsObject(values, second));
        QVERIFY(!isContainsObject(values, u"B"_s));
    }

    void colors() {
        using namespace ColorExtension;
        QCOMPARE(fromRGBA(0x11223380), QColor(0x11, 0x22, 0x33, 0x80));
        QCOMPARE(fromRGB(0xff112233), QColor(0x11, 0x22, 0x33, 0xff));
        QCOMPARE(fromRed(1, 2, 255), QColor(1, 2, 255));
        QCOMPARE(fromRGBA(0xff000000).redF(), 1.0f);
    }

    void textSize() {
        const QFont font;
        const QString text = u"one two three four five six"_s;
        const QSizeF line = sizeWithText(text, font, {1e300, 1e300});
        QVERIFY(line.width() > 0 && line.height() > 0);
        const QSizeF wrapped = sizeWithText(text, font, {line.width() / 2, 1e300});
        QVERIFY(wrapped.width() <= line.width() / 2);
        QVERIFY(wrapped.height() > line.height());
        QCOMPARE(sizeWithText(text, font, {line.width() / 2, 3}).height(), 3.0);
        QVERIFY(sizeWithText(text, font, {-1, -1}).isEmpty());
    }

    void pictures() {
        using namespace ImageExtension;
        QTemporaryDir folder;
        const QString root = folder.path();
        QVERIFY(QDir(root).mkpath(u"tools.bundle/icons"_s));
        pictureFile(root + u"/logo@2x.png"_s, 20);
        pictureFile(root + u"/logo@1x.png"_s, 10);
        pictureFile(root + u"/tools.bundle/logo@2x.bmp"_s, 22);
        pictureFile(root + u"/tools.bundle/icons/logo@2x.bmp"_s, 24);
        const QString logo = u"logo"_s;

        QCOMPARE(scaledName(logo, 2), u"logo@2x"_s);
        QVERIFY(mainScreenScale() >= 1);
        const QImage image = imageWithName(logo, root, 2);
        QCOMPARE(image.size(), QSize(20, 20));
        QCOMPARE(image.devicePixelRatio(), 2.0);
        QCOMPARE(imageWithName(logo, root, 1).size(), QSize(10, 10));
        QVERIFY(imageWithName(logo, root, 3).isNull());
        pictureFile(root + u"/logo@2x.png"_s, 26);
        QCOMPARE(noSystemCacheImageWithName(logo, root, 2).size(), QSize(26, 26));

        // A named picture goes before a file and is drawn at the scale.
        const QString dot = u"dot"_s;
        pictureFile(root + u"/dot@3x.png"_s, 30);
        QCOMPARE(imageWithName(dot, root, 3).size(), QSize(24, 24));
        QCOMPARE(imageWithName(dot, root, 3).pixelColor(23, 23), QColor(Qt::blue));
        QCOMPARE(noSystemCacheImageWithName(dot, root, 3).size(), QSize(30, 30));

        const QString bmp = u"bmp"_s;
        const QString bundle = u"tools"_s;
        QCOMPARE(imageWithName(logo, bmp, bundle, {}, root, 2).size(), QSize(22, 22));
        QCOMPARE(imageWithName(logo, bmp, bundle, u"icons"_s, root, 2).size(), QSize(24, 24));
        QVERIFY(imageWithName(logo, bmp, u"other"_s, {}, root, 2).isNull());
        QCOMPARE(imageWithName(logo, bmp, {}, {}, root, 2).size(), QSize(26, 26));
    }
};

QTEST_MAIN(tst_StringExtension)
#include "tst_StringExtension.moc"
