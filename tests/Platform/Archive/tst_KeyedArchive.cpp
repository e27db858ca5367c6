#include "CraftedArchive.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "PropertyListLimits.h"

#include <QElapsedTimer>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Platform;
using namespace CraftedArchive;

namespace {

using Pairs = ArchiveValue::Dictionary;

std::optional<ArchiveValue> read(const QByteArray& file, const AllowedClasses& allowed = AllowedClasses::any()) {
    return KeyedUnarchiver::unarchivedObject(file, allowed);
}

/// The archive's list of objects as a plain property list.
ArchiveValue::Array objects(const QByteArray& file) {
    return PropertyList::decoded(file).value_or(ArchiveValue()).value(u"$objects").array();
}

int objectCount(const ArchiveValue& value) {
    return static_cast<int>(objects(KeyedArchiver::archivedData(value)).size());
}

QStringList keys(const ArchiveValue& dictionary) {
    QStringList result;
    for (const ArchiveEntry& entry : dictionary.dictionary())
        result += entry.key;
    return result;
}

ArchiveValue record() {
    ArchiveValue object = ArchiveValue::object("AccountModel");
    object.setField("ticket", "dGhpcyBpcyBsb25nZXI=");
    object.setField("qenStatus", 0);
    object.setField("userid", "u1");
    object.setField("username", "张三");
    object.setField("islogout", 0);
    object.setField("ticket_state", 1);
    object.setField("networkType", 1);
    object.setField("loginType", 1);
    object.setField("domainName", "");
    return object;
}

} // namespace

/// Keyed archives: the bytes of the platform's archiver, everything read that it writes, and nothing else.
class tst_KeyedArchive : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void exactBytes() {
        const ArchiveValue value(ArchiveValue::Dictionary{{"ct", 0}});
        const QByteArray file = QByteArray::fromHex("62706c6973743030d4010203040506070a582476657273696f6e59246172636869"
                                                    "7665725424746f7058246f626a6563747312000186a05f100f4e534b657965"
                                                    "644172636869766572d1080954726f6f748001a50b0c15161755246e756c6cd30d"
                                                    "0e0f101214574e532e6b6579735a4e532e6f626a656374735624636c617373"
                                                    "a1118002a113800380045263741000d218191a1b5a24636c6173736e616d655824"
                                                    "636c61737365735c4e5344696374696f6e617279a21a1c584e534f626a6563"
                                                    "7408111a24293237494c5153595f666e7980828486888a8d8f949fa8b5b8000000"
                                                    "0000000101000000000000001d000000000000000000000000000000c1");
        QCOMPARE(KeyedArchiver::archivedData(value).toHex(), file.toHex());
        QVERIFY(read(file) == value);
    }

    /// Fields are numbered as encoded, come out in hash order, and "$class" is numbered last.
    void ownClass() {
        const ArchiveValue original = record();
        const QByteArray file = KeyedArchiver::archivedData(original);
        const ArchiveValue::Array list = objects(file);
        QCOMPARE(list.size(), size_t(7));
        QCOMPARE(keys(list[1]),
            QStringList({"ticket", "userid", "$class", "islogout", "qenStatus", "domainName", "username",
                "ticket_state", "networkType", "loginType"}));
        QVERIFY(list[1].value(u"ticket") == uid(2) && list[1].value(u"userid") == uid(3) &&
            list[1].value(u"username") == uid(4) && list[1].value(u"domainName") == uid(5) &&
            list[1].value(u"$class") == uid(6) && list[1].value(u"loginType") == ArchiveValue(1));
        QVERIFY(list[6] == classEntry("AccountModel", {"AccountModel", "NSObject"}));
        const auto again = read(file, {"NSString", "AccountModel", "NSValue", "NSNull"});
        QVERIFY(again && again->className() == u"AccountModel" && again->field(u"domainName").isString());
        for (const ArchiveEntry& field : original.dictionary())
            QVERIFY(again->field(field.key) == field.value);
    }

    void sharing() {
        const auto pair = [](const ArchiveValue& a, const ArchiveValue& b) {
            return ArchiveValue(ArchiveValue::Array{a, b});
        };
        constexpr int Shared = 4;
        constexpr int Apart = 5;
        const std::pair<ArchiveValue, int> rows[] = {
            {"1234567", Shared},
            {"~~~~~~~", Shared},
            {"~~~~~~~~", Apart},
            {"AccountM", Shared},
            {"AccountMo", Shared},
            {"Account~M", Apart},
            {"eilotrm.ap", Shared},
            {"eilotrm.apd", Shared},
            {"eilotrm.apb", Apart},
            {"eilotrm.apdn", Apart},
            {"名", Apart},
            {"", Shared},
            {3, Shared},
            {-3, Shared},
            {true, Shared},
            {(qint64(1) << 55) - 1, Shared},
            {qint64(1) << 55, Apart},
            {0.5, Apart},
            {QByteArray("a"), Apart},
            {ArchiveValue::null(), 5},
            {ArchiveValue("twelve units").asOneInstance(), Shared},
            {ArchiveValue("short").asMutable(), 6},
        };
        for (const auto& [value, count] : rows)
            QVERIFY2(objectCount(pair(value, value)) == count,
                qPrintable(value.string() + QString::number(value.integer())));
        // Equal keys are one, a value equal to a key is not; an array added twice is two, or one when asked for.
        const ArchiveValue inner(ArchiveValue::Dictionary{{"a key of many units", "a key of many units"}});
        QCOMPARE(objectCount(pair(inner, inner)), 1 + 1 + 2 + 3 + 2);
        QCOMPARE(objectCount(pair(inner.asOneInstance(), inner.asOneInstance())), 1 + 1 + 2 + 3 + 2);
        const ArchiveValue one = inner.asOneInstance();
        QCOMPARE(objectCount(pair(one, one)), 1 + 1 + 1 + 2 + 2);
        QCOMPARE(read(KeyedArchiver::archivedData(pair(one, one))), std::optional(pair(inner, inner)));
    }

    /// What was written is read again, whatever it consists of.
    void writtenAndRead_data() {
        QTest::addColumn<ArchiveValue>("value");
        ArchiveValue mixed(ArchiveValue::Dictionary{});
        mixed.insert("numbers", ArchiveValue(ArchiveValue::Array{0, -1, 300, 1.5, true, false, 1ull << 63, 1e300}));
        mixed.insert("mutable",
            ArchiveValue(ArchiveValue::Array{ArchiveValue("text").asMutable(),
                ArchiveValue(QByteArray("d")).asMutable(), ArchiveValue(ArchiveValue::Array()).asMutable(),
                ArchiveValue(ArchiveValue::Dictionary()).asMutable()}));
        mixed.insert("rest",
            ArchiveValue(ArchiveValue::Array{
                ArchiveValue::null(), ArchiveValue(), ArchiveValue::date(0.1), QByteArray("bytes"), "公司", record()}));
        QTest::newRow("everything") << mixed;
        QTest::newRow("nothing") << ArchiveValue();
        QTest::newRow("null") << ArchiveValue::null();
        QTest::newRow("text") << ArchiveValue("userPolicyRequest");
        const ArchiveValue address(QStringList{"192.0.2.1", "8443"});
        QTest::newRow("pair twice") << ArchiveValue(ArchiveValue::Array{address, address}).asMutable();
        ArchiveValue odd = ArchiveValue::object("Outer", {"Outer", "Base", "NSObject"});
        odd.setField("$dollar", "a");
        odd.setField("nothing", ArchiveValue());
        odd.setField("inner", ArchiveValue::object("NoList", QStringList()));
        QTest::newRow("own classes") << odd;
        QTest::newRow("long texts of a field") << [] {
            ArchiveValue object = ArchiveValue::object("A");
            for (int i = 0; i < 40; ++i)
                object.setField(u"field %1"_s.arg(i), u"a long text that is always equal"_s);
            return object;
        }();
    }
    void writtenAndRead() {
        QFETCH(ArchiveValue, value);
        const QByteArray file = KeyedArchiver::archivedData(value);
        const auto again = read(file);
        QVERIFY(again);
        QVERIFY(again == value);
    }

    void otherForms() {
        const ArchiveValue listClass = classEntry("NSArray", {"NSArray", "NSObject"});
        const ArchiveValue expected(QStringList{"a"});
        QVERIFY(read(archive({arrayEntry({2}, 3), "a", listClass})) == expected);
        QVERIFY(read(archive({arrayEntry({2}, 3), "a", Pairs{{"$classname", "NSArray"}}})) == expected);
        QVERIFY(read(archive({arrayEntry({2}, 3), "a",
                    Pairs{{"$classes", QStringList{"NSArray", "NSObject"}}, {"$classname", "NSArray"},
                        {"$classhints", QStringList{"X"}}}})) == expected);
        ArchiveValue fields = ArchiveValue::object("Outer", {"Outer", "Base", "NSObject"});
        fields.setField("list", ArchiveValue(ArchiveValue::Array{"x", 7}));
        fields.setField("boxed", 5);
        fields.setField("$dollar", "x");
        fields.setField("pairs", Pairs{{"a", 5}});
        QVERIFY(read(oddFields()) == fields);
        // A key that is no string makes a dictionary an object.
        const auto odd = read(archive({dictionaryEntry({3}, {2}, 4), "a", arrayEntry({}, 5),
            classEntry("NSDictionary", {"NSDictionary", "NSObject"}), listClass}));
        QVERIFY(odd && odd->isObject() && odd->field(u"NS.keys").array().size() == 1);
        QString rootKey;
        const QByteArray file = KeyedArchiver::archivedData("x", "State");
        QVERIFY(!read(file));
        QVERIFY(KeyedUnarchiver::unarchivedObject(file, AllowedClasses::any(), &rootKey) == ArchiveValue("x"));
        QCOMPARE(rootKey, u"State"_s);
    }

    void allowedClasses_data() {
        QTest::addColumn<ArchiveValue>("value");
        QTest::addColumn<QStringList>("allowed");
        QTest::addColumn<bool>("isRead");
        const QStringList store{"NSString", "NSDictionary", "NSArray", "NSValue", "NSNull"};
        const auto row = [](const char* name, const ArchiveValue& value, const QStringList& allowed, bool isRead) {
            QTest::newRow(name) << value << allowed << isRead;
        };
        const auto list = [](const ArchiveValue& item) { return ArchiveValue(ArchiveValue::Array{item}); };
        row("text", "a", {"NSString"}, true);
        row("text not allowed", "a", {"NSArray"}, false);
        row("mutable text", ArchiveValue("a").asMutable(), {"NSString"}, true);
        row("number is a value", 5, {"NSValue"}, true);
        row("boolean is a number", true, {"NSNumber"}, true);
        row("number not allowed", 5, {"NSString"}, false);
        row("everything of the store",
            list(ArchiveValue(ArchiveValue::Dictionary{{"a", list(1.5)}, {"b", ArchiveValue::null()}}).asMutable()),
            store, true);
        row("key not allowed", ArchiveValue(ArchiveValue::Dictionary{{"a", 1}}), {"NSDictionary", "NSValue"}, false);
        row("data inside", list(QByteArray("a")), store, false);
        row("date inside", list(ArchiveValue::date(0)), store, false);
        row("date allowed", ArchiveValue::date(0), {"NSDate"}, true);
        row("record not allowed", record(), store, false);
        row("record inside not allowed", list(list(record())), store, false);
        row("record allowed", record(), {"NSString", "AccountModel", "NSValue", "NSNull"}, true);
        row("subclass", ArchiveValue::object("B", {"B", "AccountModel", "NSObject"}), {"AccountModel"}, true);
        row("NSObject is any", list(record()), {"NSObject"}, true);
        row(
            "field not allowed",
            [] {
                ArchiveValue object = ArchiveValue::object("AccountModel");
                object.setField("data", QByteArray("a"));
                return object;
            }(),
            {"AccountModel", "NSString"}, false);
    }
    void allowedClasses() {
        QFETCH(ArchiveValue, value);
        QFETCH(QStringList, allowed);
        QFETCH(bool, isRead);
        const QByteArray file = KeyedArchiver::archivedData(value);
        QVERIFY(read(file));
        QCOMPARE(read(file, AllowedClasses(allowed)).has_value(), isRead);
    }

    void broken_data() {
        QTest::addColumn<QByteArray>("file");
        const auto row = [](const char* name, const QByteArray& file) { QTest::newRow(name) << file; };
        const ArchiveValue listClass = classEntry("NSArray", {"NSArray", "NSObject"});
        const ArchiveValue mapClass = classEntry("NSDictionary", {"NSDictionary", "NSObject"});
        const QByteArray whole = archive({"a"});
        row("nothing", "");
        row("property list", PropertyList::binaryData(ArchiveValue(ArchiveValue::Array{1})));
        row("other archiver", QByteArray(whole).replace("NSKeyedArchiver", "NSOtherArchiver"));
        row("other version", QByteArray(whole).replace(QByteArray("\0\1\x86\xa0", 4), QByteArray("\0\1\x86\xa1", 4)));
        row("no root", QByteArray(whole).replace("Troot", "Tr00t"));
        row("no objects", QByteArray(whole).replace("$objects", "$0bjects"));
        row("root outside", QByteArray(whole).replace("\x80\x01", "\x80\x07"));
        row("array in itself", archive({arrayEntry({1}, 2), listClass}));
        row("cycle of two", archive({arrayEntry({2}, 3), arrayEntry({1}, 3), listClass}));
        row("cycle by a field",
            archive({Pairs{{"next", uid(1)}, {"$class", uid(2)}}, classEntry("A", {"A", "NSObject"})}));
        row("class outside", archive({arrayEntry({}, 9)}));
        row("class that is a text", archive({arrayEntry({}, 2), "NSArray"}));
        row("class that is itself", archive({arrayEntry({}, 1)}));
        row("no class", archive({Pairs{{"NS.objects", ArchiveValue(ArchiveValue::Array())}}}));
        row("class without name", archive({arrayEntry({}, 2), Pairs{{"$classes", QStringList{"NSArray"}}}}));
        row("class list that is none",
            archive({arrayEntry({}, 2), Pairs{{"$classname", "NSArray"}, {"$classes", "NSArray"}}}));
        row("plain array among objects", archive({ArchiveValue(ArchiveValue::Array{uid(1)})}));
        row("array without objects", archive({Pairs{{"$class", uid(2)}}, listClass}));
        row("array of no references",
            archive({Pairs{{"NS.objects", QStringList{"a"}}, {"$class", uid(2)}}, listClass}));
        row("more keys than values", archive({dictionaryEntry({2}, {}, 3), "a", mapClass}));
        row("key that is a number", archive({dictionaryEntry({2}, {2}, 3), 5, mapClass}));
        row("key that is nil", nilKey());
        row("keys that are a number",
            archive({Pairs{{"NS.keys", uid(2)}, {"NS.objects", uids({2})}, {"$class", uid(3)}}, 5, mapClass}));
        row("text without text",
            archive({Pairs{{"$class", uid(2)}},
                classEntry("NSMutableString", {"NSMutableString", "NSString", "NSObject"})}));
        row("date without time",
            archive({Pairs{{"NS.time", "now"}, {"$class", uid(2)}}, classEntry("NSDate", {"NSDate", "NSObject"})}));
        row("shared 2^60 times", sharedLists(60, 0));
        row("shared more often than the file is long", sharedLists(40, 24));
        row("field that is wide and in itself",
            binary({"\xd4\1\2\3\4\5\6\7\x08", "\x58$version", "\x59$archiver", "\x54$top", "\x58$objects",
                QByteArray("\x12\0\1\x86\xa0", 5), "\x5f\x10\x0fNSKeyedArchiver", "\xd1\x09\x0a", "\xa3\x0b\x0c\x0d",
                "\x54root", "\x80\1", "\x55$null", "\xd2\x0e\x0f\x15\x10", "\xd2\x11\x12\x13\x14", "\x54next",
                "\x56$class", "\x80\2", "\x5a$classname", "\x58$classes",
                "\x51"
                "A",
                "\xa1\x13", wideArray(21)}));
        // Each row is allowed by itself, and hangs below the end of the one before.
        ArchiveValue::Array deep{arrayEntry({102, 2}, 203)};
        for (int i = 2; i <= 200; ++i)
            deep.push_back(i == 101 ? arrayEntry({102}, 203) : arrayEntry({i + 1}, 203));
        deep.insert(deep.end(), {arrayEntry({202}, 203), ArchiveValue("a"), listClass});
        row("deep by sharing", archive(deep));
    }
    void broken() {
        QFETCH(QByteArray, file);
        QElapsedTimer timer;
        timer.start();
        const long before = peakMemory();
        QVERIFY(!read(file));
        QVERIFY(peakMemory() - before < MemoryLimit);
        QVERIFY(timer.elapsed() < 5000);
    }

    void everyByteBroken() {
        ArchiveValue value(ArchiveValue::Dictionary{{"list", ArchiveValue(ArchiveValue::Array{1, "a", record()})}});
        const QByteArray file = KeyedArchiver::archivedData(value);
        for (qsizetype i = 0; i < file.size(); ++i) {
            QVERIFY(!read(file.left(i)));
            for (const int change : {1, 0x10, 0x80, 0xff}) {
                QByteArray damaged = file;
                damaged[i] = static_cast<char>(damaged[i] ^ change);
                if (const auto stillRead = read(damaged))
                    QVERIFY(read(KeyedArchiver::archivedData(*stillRead)) == stillRead);
            }
        }
    }

    void limits() {
        const auto nested = [](int depth) {
            ArchiveValue value("a");
            for (int i = 0; i < depth; ++i)
                value = ArchiveValue(ArchiveValue::Array{value});
            return value;
        };
        QVERIFY(read(KeyedArchiver::archivedData(nested(128))) == nested(128));
        QVERIFY(KeyedArchiver::archivedData(nested(129)).isEmpty());
        // One instance at many places is longer than the file, and yet one.
        for (const ArchiveValue& one : {ArchiveValue(QByteArray(1000, 'a')), ArchiveValue(QString(1000, u'a'))}) {
            const ArchiveValue list(ArchiveValue::Array(100, one.asOneInstance()));
            QVERIFY(read(KeyedArchiver::archivedData(list)) == list);
        }
        ArchiveValue doubled("a");
        for (int i = 0; i < 30; ++i) {
            doubled = doubled.asOneInstance();
            doubled = ArchiveValue(ArchiveValue::Array{doubled, doubled});
        }
        QVERIFY(KeyedArchiver::archivedData(doubled).isEmpty());
        QVERIFY(
            KeyedArchiver::archivedData(ArchiveValue(ArchiveValue::Array(PropertyListLimits::Objects, ArchiveValue(1))))
                .isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_KeyedArchive)
#include "tst_KeyedArchive.moc"
