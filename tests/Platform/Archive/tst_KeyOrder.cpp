#include "KeyOrder.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"

#include <QTest>

using namespace Qt::StringLiterals;

using namespace Platform;

namespace {

QStringList keys(const ArchiveValue& dictionary) {
    QStringList result;
    for (const ArchiveEntry& entry : dictionary.dictionary())
        result += entry.key;
    return result;
}

/// The order of @p keys by the rule as it is told, with nothing but lists.
QStringList orderByTheRule(const QStringList& keys) {
    static const QList<QPair<int, int>> sizes = {{3, 3}, {7, 6}, {13, 11}, {23, 19}, {41, 32}, {71, 52}, {127, 85},
        {191, 118}, {251, 155}, {383, 237}, {631, 390}};
    const auto put = [](QStringList& table, const QString& key) {
        qsizetype place = static_cast<qsizetype>(KeyOrder::hash(key) % static_cast<quint64>(table.size()));
        while (!table[place].isNull())
            place = (place + 1) % table.size();
        table[place] = key;
    };
    qsizetype size = 0;
    QStringList table(sizes[0].first);
    const auto grow = [&] {
        QStringList next(sizes[++size].first);
        for (const QString& key : table) {
            if (!key.isNull())
                put(next, key);
        }
        table = next;
    };
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (!table.contains(QString()))
            grow();
        put(table, keys[i]);
        if (i + 1 > sizes[size].second)
            grow();
    }
    table.removeAll(QString());
    return table;
}

} // namespace

/// The order in which the keys of a dictionary come out of an archive.
class tst_KeyOrder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void hash_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<quint64>("hash");
        QTest::newRow("empty") << "" << quint64(0);
        QTest::newRow("a") << "a" << quint64((1 * 257 + 97) * 3);
        QTest::newRow("ct") << "ct" << quint64(((2 * 257 + 99) * 257 + 116) * 5);
        QTest::newRow("four units") << "root"
                                    << quint64(4 * 67503105 + (((114 * 257u + 111) * 257 + 111) * 257 + 116)) * 17;
        // The four units together are cut to 32 bits before they are added.
        const quint64 four = ((0x4e00 * 257ull + 0x4e00) * 257 + 0x4e00) * 257 + 0x4e00;
        QTest::newRow("wide") << QString(4, QChar(0x4e00)) << (quint64(4) * 67503105 + (four & 0xffffffff)) * 17;
    }
    void hash() {
        QFETCH(QString, key);
        QTEST(KeyOrder::hash(key), "hash");
    }

    /// Over 96 units only the first, middle and last 32 count; of 198 these are 0 to 31, 83 to 114 and 166 to 197.
    void hashOfLongTexts() {
        const QString text(198, u'x');
        for (const auto& [place, counts] : {std::pair{0, true}, {31, true}, {32, false}, {82, false}, {83, true},
                 {114, true}, {115, false}, {165, false}, {166, true}, {197, true}}) {
            QString other = text;
            other[place] = u'y';
            QVERIFY2((KeyOrder::hash(other) != KeyOrder::hash(text)) == counts, qPrintable(QString::number(place)));
        }
        QString whole(96, u'x');
        whole[40] = u'y';
        QVERIFY(KeyOrder::hash(whole) != KeyOrder::hash(QString(96, u'x')));
    }

    void keyOrder_data() {
        QTest::addColumn<int>("count");
        for (const int count :
            {1, 2, 3, 4, 6, 7, 11, 12, 19, 20, 32, 33, 52, 53, 85, 86, 118, 119, 155, 156, 237, 238, 389, 390})
            QTest::addRow("%d keys", count) << count;
    }
    void keyOrder() {
        QFETCH(int, count);
        QStringList names;
        ArchiveValue value(ArchiveValue::Dictionary{});
        for (int i = 0; i < count; ++i) {
            names += u"key number %1"_s.arg(i * 7919 % 1000);
            value.insert(names.last(), i);
        }
        const QByteArray file = KeyedArchiver::archivedData(value);
        const auto again = KeyedUnarchiver::unarchivedObject(file, AllowedClasses::any());
        QVERIFY(again);
        QCOMPARE(keys(*again), orderByTheRule(names));
    }

    /// Keys that all want one place: a growing table takes them from the old one's start, and its end leads to its own.
    void colliding() {
        KeyOrder keys;
        QCOMPARE(keys.ofHashes(std::vector<quint64>(6, 5)), std::vector<quint32>({0, 3, 4, 5, 1, 2}));
        QVERIFY(!keys.isExhausted());
        const std::vector<quint32> hostile = keys.ofHashes(std::vector<quint64>(60000, 1));
        QVERIFY(keys.isExhausted());
        QVERIFY(hostile.size() == 60000 && std::is_sorted(hostile.begin(), hostile.end()));
    }
};

QTEST_GUILESS_MAIN(tst_KeyOrder)
#include "tst_KeyOrder.moc"
