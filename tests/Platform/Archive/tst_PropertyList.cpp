#include "Corpus.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <plist/plist.h>

#include <cstdlib>
#include <limits>

using namespace Qt::StringLiterals;

using namespace Platform;

namespace {

const QByteArray Head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">";

ArchiveValue nested(int depth) {
    ArchiveValue value(ArchiveValue::Array{});
    for (int i = 1; i < depth; ++i)
        value = ArchiveValue(ArchiveValue::Array{value});
    return value;
}

} // namespace

/// Both forms of a property list: exact bytes, nothing lost, and no file that costs more than it should.
class tst_PropertyList : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void bytes() {
        const std::pair<ArchiveValue, const char*> rows[] = {
            {0, "1000"},
            {255, "10ff"},
            {256, "110100"},
            {4294967295, "12ffffffff"},
            {4294967296, "130000000100000000"},
            {-1, "13ffffffffffffffff"},
            {std::numeric_limits<qint64>::min(), "138000000000000000"},
            {std::numeric_limits<quint64>::max(), "140000000000000000ffffffffffffffff"},
            {ArchiveValue::unsignedInteger(5), "1400000000000000000000000000000005"},
            {1.5, "233ff8000000000000"},
            {ArchiveValue::date(-0.5), "33bfe0000000000000"},
            {"", "50"},
            {"abcdefghijklmn", "5e6162636465666768696a6b6c6d6e"},
            {"abcdefghijklmno", "5f100f6162636465666768696a6b6c6d6e6f"},
            {"\u00e9", "6100e9"},
            {"\U0001f600", "62d83dde00"},
            {QByteArray::fromHex("00ff"), "4200ff"},
            {ArchiveValue(ArchiveValue::Array()), "a0"},
            {ArchiveValue(ArchiveValue::Dictionary()), "d0"},
        };
        for (const auto& [value, object] : rows) {
            const QByteArray file = PropertyList::binaryData(value);
            QCOMPARE(file.mid(8, file.size() - 8 - 1 - 32).toHex(), object);
            QCOMPARE(PropertyList::decoded(file), std::optional(value));
        }
    }

    void sharingAndCopies() {
        const ArchiveValue longText("a text that no pointer holds");
        const ArchiveValue one = longText.asOneInstance();
        for (const auto& [item, objects] : {std::pair{longText, 3}, {one, 2}, {"short", 2}, {7, 2}, {1.5, 3}}) {
            const ArchiveValue pair(ArchiveValue::Array{item, item});
            QCOMPARE(int(PropertyList::binaryData(pair).end()[-17]), objects);
            QCOMPARE(PropertyList::decoded(PropertyList::binaryData(pair)), std::optional(pair));
        }
        // Every further reference to a boolean adds an object that nobody refers to.
        QCOMPARE(PropertyList::binaryData(ArchiveValue(ArchiveValue::Array{true, true, false})).mid(8, 7).toHex(),
            QByteArray("a3010103090908"));
    }

    void widths() {
        for (const auto& [items, referenceSize, offsetSize] :
            {std::tuple{254, 1, 2}, {255, 2, 2}, {65534, 2, 4}, {65535, 4, 4}}) {
            const ArchiveValue list(ArchiveValue::Array(static_cast<size_t>(items), ArchiveValue(0.25)));
            const QByteArray file = PropertyList::binaryData(list);
            QCOMPARE(int(file.end()[-25]), referenceSize);
            QCOMPARE(int(file.end()[-26]), offsetSize);
            QCOMPARE(PropertyList::decoded(file), std::optional(list));
        }
    }

    /// An independent library reads what we write and we read what it writes, in both forms.
    void otherLibrary() {
        ArchiveValue value;
        value.insert("numbers", ArchiveValue(ArchiveValue::Array{0, 255, 65536, 5000000000, -7, 2.5, true, false}));
        value.insert("text", "公司 <&> \t\n");
        value.insert("data", QByteArray::fromHex("00010203fffe"));
        value.insert("date", ArchiveValue::date(643444513));
        value.insert(
            "inner", ArchiveValue(ArchiveValue::Dictionary{{"", ""}, {"键", ArchiveValue(ArchiveValue::Array())}}));
        for (const QByteArray& ours : {PropertyList::binaryData(value), PropertyList::xmlData(value)}) {
            plist_t nodes = nullptr;
            const auto readNodes = ours.startsWith("bplist") ? plist_from_bin : plist_from_xml;
            readNodes(ours.constData(), static_cast<uint32_t>(ours.size()), &nodes);
            QVERIFY(nodes);
            for (const auto write : {plist_to_bin, plist_to_xml}) {
                char* text = nullptr;
                uint32_t length = 0;
                write(nodes, &text, &length);
                const auto read = PropertyList::decoded(QByteArray(text, static_cast<qsizetype>(length)));
                std::free(text); // the library's own name for it differs from release to release
                QVERIFY(read);
                for (const ArchiveEntry& entry : value.dictionary())
                    QVERIFY(read->value(entry.key) == entry.value);
            }
            plist_free(nodes);
        }
    }

    /// Each but the large ones is a file that is changed in thousands of ways, too.
    void broken_data() {
        addCorpusRows(u"refused_lists"_s);
        QTest::newRow("xml: too many values")
            << Head + "<array>" + QByteArray("<true/>").repeated(PropertyListLimits::Objects) + "</array></plist>";
        QTest::newRow("longer than 8 MiB")
            << Head + "<string>" + QByteArray(PropertyListLimits::FileSize, 'a') + "</string></plist>";
    }
    void broken() {
        QFETCH(QByteArray, file);
        QVERIFY(isRefusedCheaply([&] { return PropertyList::decoded(file); }));
    }

    void limits() {
        for (const QByteArray& file : {PropertyList::binaryData(nested(128)), PropertyList::xmlData(nested(128))})
            QVERIFY(PropertyList::decoded(file));
        QVERIFY(PropertyList::binaryData(nested(129)).isEmpty());
        QVERIFY(PropertyList::xmlData(nested(129)).isEmpty());
        const auto most = [](quint32 count) { return ArchiveValue(ArchiveValue::Array(count, ArchiveValue(0.5))); };
        QVERIFY(PropertyList::decoded(PropertyList::binaryData(most(PropertyListLimits::Objects - 1))));
        QVERIFY(PropertyList::binaryData(most(PropertyListLimits::Objects)).isEmpty());
        QVERIFY(!PropertyList::binaryData(QByteArray(PropertyListLimits::FileSize - 64, 'a')).isEmpty());
        QVERIFY(PropertyList::binaryData(QByteArray(PropertyListLimits::FileSize, 'a')).isEmpty());
    }

    void xml() {
        const std::pair<const char*, ArchiveValue> rows[] = {
            {"<integer>0x1F</integer>", 31},
            {"<integer> -9223372036854775808 </integer>", std::numeric_limits<qint64>::min()},
            {"<integer>18446744073709551615</integer>", std::numeric_limits<quint64>::max()},
            {"<real>1e-7</real>", 1e-7},
            {"<real>inf</real>", std::numeric_limits<double>::infinity()},
            {"<string/>", ""},
            {"<string> &lt;a&gt;&#13;\n<![CDATA[<b>]]></string>", " <a>\r\n<b>"},
            {"<data>\n\tAAEC\n\t/w==\n</data>", QByteArray::fromHex("000102ff")},
            {"<date>2000-12-31T23:59:59Z</date>", ArchiveValue::date(-1)},
            {"<array/>", ArchiveValue(ArchiveValue::Array())},
            {"<dict><key/><false/><key>a</key><string>1</string><key>a</key><string>2</string></dict>",
                ArchiveValue(ArchiveValue::Dictionary{{"", false}, {"a", "2"}})},
        };
        for (const auto& [text, value] : rows) {
            QVERIFY2(PropertyList::decoded(Head + text + "</plist>") == value, text);
            QVERIFY2(PropertyList::decoded(PropertyList::xmlData(value)) == value, text);
        }
    }

    void notForPropertyLists() {
        for (const ArchiveValue& value : {ArchiveValue(), ArchiveValue::null(), ArchiveValue::object("AccountModel"),
                 ArchiveValue(ArchiveValue::Array{ArchiveValue()})}) {
            QVERIFY(PropertyList::binaryData(value).isEmpty());
            QVERIFY(PropertyList::xmlData(value).isEmpty());
        }
        QVERIFY(PropertyList::xmlData(QString(QChar(1))).isEmpty());
        QVERIFY(PropertyList::xmlData(QString(QChar(0xd800))).isEmpty());
    }

    void conversions() {
        const QJsonObject json =
            QJsonDocument::fromJson(R"({"a":[1,2.5,true,null,"x"],"b":{},"c":9007199254740993})").object();
        const ArchiveValue value = ArchiveValue::fromJson(json);
        QCOMPARE(value.value(u"c").integer(), 9007199254740993);
        QVERIFY(value.value(u"a").array()[3].type() == ArchiveValue::Type::Null);
        QCOMPARE(QJsonObject::fromVariantMap(value.toVariant().toMap()), json);
        QVERIFY(ArchiveValue::fromVariant(value.toVariant()) == value);
        QVERIFY(ArchiveValue(QString()).isNothing() && ArchiveValue(""_L1).isString());
        QCOMPARE(ArchiveValue(1e300).integer(), std::numeric_limits<qint64>::max());
    }
};

QTEST_GUILESS_MAIN(tst_PropertyList)
#include "tst_PropertyList.moc"
