#include "ColorExtension.h"
#include "ImageExtension.h"
#include "StringExtension.h"

#include <QDir>
#include <QFont>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <optional>

using Text = std::optional<QString>;
using Rule = bool (*)(const QString&);
Q_DECLARE_METATYPE(Rule)

using namespace Qt::StringLiterals;
using namespace StringExtension;

/// The helpers on strings, colours and pictures: their limits and the oddities that are kept.
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

        // A segment, and behind the bar an address; no digits read as 0.
        const Rule segment = [](const QString& text) {
            return ifINIPSegment(text.section(u'|', 0, 0), text.section(u'|', 1));
        };
        rows("segment", segment, true,
            {u"10.0.0.1-10.0.0.254|10.0.0.1"_s, u"10.0.0.1-10.0.0.254|10.0.0.254"_s,
                u"10.0.0.1 - 10.0.0.254|10.0.0.254"_s, u"10.0.0.1-223.255.255.255|200.0.0.1"_s,
                u"10.0.0.0-10.0.0.9|10.0.0.x"_s});
        rows("segment", segment, false,
            {u"10.0.0.1-10.0.0.254|10.0.0.0"_s, u"10.0.0.1-10.0.0.254|10.0.1.0"_s, u"10.0.0.254-10.0.0.1|10.0.0.100"_s,
                u"10.0.0.1-10.0.0.9|9.1.0.3"_s, u"10.0.0.1-10.0.0.9|10.1.0.3"_s, u"10.0.0.1|10.0.0.1"_s,
                u"10.0.0.1-10.0.0.5-10.0.0.9|10.0.0.3"_s, u"10.0.0-10.0.0.9|10.0.0.3"_s, u"10.0.0.1-10.0.0.9|10.0.0"_s,
                u"10.0.0.1-10.0.0.9|10.0.0.3.1"_s, u"|"_s});
    }

    void rules() {
        QFETCH(Rule, rule);
        QFETCH(QString, text);
        QFETCH(bool, expected);
        QCOMPARE(rule(text), expected);
    }

    void aes() {
        const QString key = u"quorvanel"_s;
        // Made with: openssl enc -aes-128-ecb -K <first 16 bytes of the key> -base64
        const std::array<QString, 3> rows[]{{key, u""_s, u"mho9lI/7pEEA3AEZwLoiHQ=="_s},
            {key, u"ticket"_s, u"oLL99eiMF9Q1iv7yAfCuqA=="_s},
            {u"0123456789abcdefTHE REST DOES NOT COUNT"_s, u"sixteen bytes ok"_s,
                u"HuFJ3BOKfIPTQIr+xeGa4TdyIuBhqSTFkc2cJ+oWPtQ="_s},
            {u"钥匙"_s, u"票据"_s, u"1/VeSW8HQpcJWSXvG/0mTQ=="_s},
            {u""_s, u"a line break after every sixty-four characters of it"_s,
                u"JZQPQXghqHXVarjzGWlvYDKcy1IHZFsquswBdJC2L8Z5lyrataSekL++OWcGi+9V\r\nIDeNGQzfRl5nLHjbZZK9eg=="_s}};
        for (const auto& [secret, text, sealed] : rows) {
            QCOMPARE(aes256_encrypt(text, secret), Text(sealed));
            QCOMPARE(aes256_decrypt(sealed, secret), Text(text));
        }
        QCOMPARE(
            aes256_decrypt(u"HuFJ3BOKfIPTQIr+xeGa4Q=="_s, u"0123456789abcdef"_s), Text()); // the last block is missing
        // Plain text, nothing, part of a block; a block of the right key whose end is no padding, and one that is no
        // UTF-8.
        for (const auto& refused :
            {u"ticket-1234"_s, QString(), u"AAAA"_s, u"ooQWy/MkpQK1/L/7o3DZ4w=="_s, u"wTbUFdwPUpOshQTiKdDciA=="_s})
            QCOMPARE(aes256_decrypt(refused, key), Text());
    }

    void colors() {
        using namespace ColorExtension;
        QCOMPARE(fromRGBA(0x11223380), QColor(0x11, 0x22, 0x33, 0x80));
        QCOMPARE(fromRGB(0xff112233), QColor(0x11, 0x22, 0x33, 0xff));
        QCOMPARE(fromRed(1, 2, 255), QColor(1, 2, 255));
    }

    void textSize() {
        const QFont font;
        const QString text = u"one two three four five six"_s;
        const QSizeF line = sizeWithText(text, font, {1e300, 1e300});
        const QSizeF wrapped = sizeWithText(text, font, {line.width() / 2, 1e300});
        QVERIFY(wrapped.width() <= line.width() / 2 && wrapped.height() > line.height());
        QVERIFY(sizeWithText(text, font, {-1, -1}).isEmpty());
    }

    void pictures() {
        using namespace ImageExtension;
        QTemporaryDir folder;
        const QString root = folder.path();
        QVERIFY(QDir(root).mkpath(u"tools.bundle/icons"_s));
        const std::pair<const char*, int> files[]{{"logo@2x.png", 20}, {"dot@3x.png", 30},
            {"tools.bundle/logo@2x.bmp", 22}, {"tools.bundle/icons/logo@2x.bmp", 24}};
        for (const auto& [name, side] : files)
            QVERIFY(QImage(side, side, QImage::Format_RGB32).save(root + u'/' + QString::fromLatin1(name)));
        const QString logo = u"logo"_s;
        QCOMPARE(imageWithName(logo, root, 2).size(), QSize(20, 20));
        QCOMPARE(imageWithName(logo, root, 2).devicePixelRatio(), 2.0);
        // A named picture goes before a file and is drawn at the scale.
        QCOMPARE(imageWithName(u"dot"_s, root, 3).pixelColor(23, 23), QColor(Qt::blue));
        QCOMPARE(noSystemCacheImageWithName(u"dot"_s, root, 3).size(), QSize(30, 30));
        QCOMPARE(imageWithName(logo, u"bmp"_s, u"tools"_s, {}, root, 2).size(), QSize(22, 22));
        QCOMPARE(imageWithName(logo, u"bmp"_s, u"tools"_s, u"icons"_s, root, 2).size(), QSize(24, 24));
        QCOMPARE(imageWithName(logo, u"bmp"_s, {}, {}, root, 2).size(), QSize(20, 20));
    }
};

QTEST_MAIN(tst_StringExtension)
#include "tst_StringExtension.moc"
