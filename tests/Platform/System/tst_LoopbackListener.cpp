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
    void tables() {
        const QByteArray loopback = row("0100007F:1F90", "0A", 1000);
        const QByteArray everywhere = row("00000000:1F90", "0A", 0);
        const auto users = [](const QByteArray& tcp, const QByteArray& tcp6 = {}) {
            return listenersAt(8080, "  sl  local_address rem_address   st\n" + tcp, tcp6);
        };
        QCOMPARE(users(loopback), QList<uint>{1000});
        QCOMPARE(users(everywhere), QList<uint>{0});
        QCOMPARE(users(loopback + everywhere), (QList<uint>{1000, 0}));
        QCOMPARE(users({}, row(QByteArray(32, '0') + ":1F90", "0A", 33)), QList<uint>{33});
        QCOMPARE(users({}, row("0000000000000000FFFF00000100007F:1F90", "0A", 7)), QList<uint>{7});
        // A connection, another port, another address, and a table that is cut off.
        for (const QByteArray& other :
            {QByteArray(), row("0100007F:1F90", "01", 1000), row("0100007F:1F91", "0A", 1000),
                row("0200A8C0:1F90", "0A", 1000), QByteArray("   0: 0100007F:1F90 00000000:0000 0A 0000")})
            QCOMPARE(users(other), QList<uint>());
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
