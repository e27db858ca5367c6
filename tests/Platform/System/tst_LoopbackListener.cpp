#include "LoopbackListener.h"

#include <QTcpServer>
#include <QTest>

using namespace Platform;

namespace {

QByteArray row(const QByteArray& address, const QByteArray& state, int user) {
    return "   0: " + address + " 00000000:0000 " + state + " 00000000:00000000 00:00000000 00000000  " +
        QByteArray::number(user) + "        0 23456 1 0000000000000000 100 0 0 10 0\n";
}

} // namespace

class tst_LoopbackListener : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tables_data() {
        QTest::addColumn<QByteArray>("tcp");
        QTest::addColumn<QByteArray>("tcp6");
        QTest::addColumn<QList<uint>>("users");
        const QByteArray nothing;
        QTest::newRow("nobody") << nothing << nothing << QList<uint>{};
        QTest::newRow("loopback") << row("0100007F:1F90", "0A", 1000) << nothing << QList<uint>{1000};
        QTest::newRow("every address") << row("00000000:1F90", "0A", 0) << nothing << QList<uint>{0};
        QTest::newRow("both families") << nothing << row(QByteArray(32, '0') + ":1F90", "0A", 33) << QList<uint>{33};
        QTest::newRow("mapped") << nothing << row("0000000000000000FFFF00000100007F:1F90", "0A", 7) << QList<uint>{7};
        QTest::newRow("two") << row("0100007F:1F90", "0A", 0) + row("00000000:1F90", "0A", 1001) << nothing
                             << QList<uint>{0, 1001};
        QTest::newRow("a connection") << row("0100007F:1F90", "01", 1000) << nothing << QList<uint>{};
        QTest::newRow("another port") << row("0100007F:1F91", "0A", 1000) << nothing << QList<uint>{};
        QTest::newRow("another address") << row("0200A8C0:1F90", "0A", 1000) << nothing << QList<uint>{};
        QTest::newRow("cut off") << QByteArray("   0: 0100007F:1F90 00000000:0000 0A 0000") << nothing << QList<uint>{};
    }
    void tables() {
        QFETCH(QByteArray, tcp);
        QFETCH(QByteArray, tcp6);
        QTEST(listenersAt(8080, "  sl  local_address rem_address   st\n" + tcp, tcp6), "users");
    }

    void ownListenerIsTrustedUntilItCloses() {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const quint16 port = server.serverPort();
        QVERIFY(isTrustedListener(port));
        server.close();
        QVERIFY(!isTrustedListener(port));
    }
};

QTEST_GUILESS_MAIN(tst_LoopbackListener)
#include "tst_LoopbackListener.moc"
