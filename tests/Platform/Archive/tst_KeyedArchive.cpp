#include "Corpus.h"
#include "KeyOrder.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"

#include <QCryptographicHash>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Platform;

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
    /// Fields are numbered as encoded and come out in the order of their hashes; "$class" is numbered last.
    void exactBytes() {
        for (const auto& [name, value] : {std::pair{u"archive/one_number"_s, ArchiveValue(Pairs{{"ct", 0}})},
                 {u"archive/account_record"_s, record()}}) {
            const QByteArray file = corpusFile(name);
            QCOMPARE(KeyedArchiver::archivedData(value).toHex(), file.toHex());
            QCOMPARE(read(file), std::optional(value));
        }
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

    void otherForms() {
        for (const QString& name : {u"older_order"_s, u"class_without_list"_s, u"class_with_hints"_s})
            QCOMPARE(read(corpusFile(u"archive/"_s + name)), std::optional(ArchiveValue(QStringList{"a"})));
        ArchiveValue fields = ArchiveValue::object("Outer", {"Outer", "Base", "NSObject"});
        fields.setField("list", ArchiveValue(ArchiveValue::Array{"x", 7}));
        fields.setField("boxed", 5);
        fields.setField("$dollar", "x");
        fields.setField("pairs", Pairs{{"a", 5}});
        QCOMPARE(read(corpusFile(u"archive/odd_fields"_s)), std::optional(fields));
        // A key that is no string makes a dictionary an object.
        const auto odd = read(corpusFile(u"archive/key_that_is_a_list"_s));
        QVERIFY(odd && odd->isObject() && odd->field(u"NS.keys").array().size() == 1);
        QString rootKey;
        const QByteArray file = KeyedArchiver::archivedData("x", "State");
        QVERIFY(!read(file));
        QVERIFY(KeyedUnarchiver::unarchivedObject(file, AllowedClasses::any(), &rootKey) == ArchiveValue("x"));
        QCOMPARE(rootKey, u"State"_s);
    }

    /// What was written is read again, whatever it consists of, when its classes are allowed.
    void allowedClasses() {
        using Array = ArchiveValue::Array;
        ArchiveValue outer = ArchiveValue::object("Outer", {"Outer", "Base", "NSObject"});
        outer.setField("$dollar", "a");
        outer.setField("nothing", ArchiveValue());
        outer.setField("inner", ArchiveValue::object("NoList", QStringList()));
        for (int i = 0; i < 40; ++i)
            outer.setField(u"field %1"_s.arg(i), u"a long text that is always equal"_s);
        struct Row {
            ArchiveValue value;
            QStringList allowed;
            bool isRead;
        };
        const Row rows[] = {
            {"text", {"NSString"}, true},
            {"text", {"NSArray"}, false},
            {ArchiveValue("公司").asMutable(), {"NSString"}, true},
            {Array{0, -1, 300, 1.5, 1ull << 63, 1e300}, {"NSArray", "NSValue"}, true},
            {true, {"NSNumber"}, true},
            {5, {"NSString"}, false},
            {Pairs{{"a", 1}}, {"NSDictionary", "NSValue"}, false},
            {ArchiveValue(Pairs{{"a", 1}}).asMutable(), {"NSDictionary", "NSString", "NSValue"}, true},
            {ArchiveValue::date(0.1), {"NSDate"}, true},
            {ArchiveValue::date(0.1), {"NSString", "NSData", "NSNumber"}, false},
            {ArchiveValue(QByteArray("a")).asMutable(), {"NSData"}, true},
            {QByteArray("a"), {"NSString", "NSDate", "NSNumber"}, false},
            {ArchiveValue(Array{ArchiveValue(), ArchiveValue::null()}).asMutable(), {"NSArray", "NSNull"}, true},
            {record(), {"NSString", "AccountModel", "NSValue", "NSNull"}, true},
            {record(), {"AccountModel"}, false},
            {ArchiveValue(Array{outer}), {"NSObject"}, true},
            {outer, {"Base", "NSString", "NoList"}, true},
            {outer, {"Base", "NSString"}, false},
        };
        for (const auto& [value, allowed, isRead] : rows) {
            const QByteArray file = KeyedArchiver::archivedData(value);
            QCOMPARE(read(file), std::optional(value));
            QVERIFY2(read(file, AllowedClasses(allowed)).has_value() == isRead, qPrintable(allowed.join(u' ')));
        }
    }

    void broken_data() { addCorpusRows(u"refused_archives"_s); }
    void broken() {
        QFETCH(QByteArray, file);
        QVERIFY(PropertyList::decoded(file));
        QVERIFY(isRefusedCheaply([&] { return read(file); }));
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

    /// A digest of the orders of 1 to 390 keys, in which the table grows ten times. Over 96 units only the first,
    /// middle and last 32 of a key count.
    void keyOrder() {
        QCryptographicHash digest(QCryptographicHash::Sha1);
        Pairs pairs;
        for (int count = 1; count <= 390; ++count) {
            const int number = count * 7919 % 1000;
            pairs.push_back({u"%1%2 key "_s.arg(QChar(0x4e00 + number)).arg(number).repeated(1 + number % 25), count});
            KeyOrder order;
            for (const quint32 index : order.ofKeys(pairs))
                digest.addData(QByteArray::number(index) + ' ');
        }
        QCOMPARE(digest.result().toHex(), QByteArray("dc60a1387955e744dd2e6d86a423a867a73a8310"));
    }

    /// Keys that all want one place: a growing table takes them from the old one's start, and its end leads to its own.
    void collidingKeys() {
        KeyOrder keys;
        QCOMPARE(keys.ofHashes(std::vector<quint64>(6, 5)), std::vector<quint32>({0, 3, 4, 5, 1, 2}));
        QVERIFY(!keys.isExhausted());
        const std::vector<quint32> hostile = keys.ofHashes(std::vector<quint64>(60000, 1));
        QVERIFY(keys.isExhausted());
        QVERIFY(hostile.size() == 60000 && std::is_sorted(hostile.begin(), hostile.end()));
    }
};

QTEST_GUILESS_MAIN(tst_KeyedArchive)
#include "tst_KeyedArchive.moc"
