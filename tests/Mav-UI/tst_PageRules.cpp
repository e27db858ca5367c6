#include "NetworkLook.h"
#include "ServerAddress.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_PageRules : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void serverAddress_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("port");
        QTest::addColumn<int>("fault");
        const auto entry = [](const char* name, const char* address, const char* port, ServerAddressFault fault) {
            QTest::newRow(name) << QString::fromUtf8(address) << QString::fromUtf8(port) << static_cast<int>(fault);
        };
        using Fault = ServerAddressFault;
        entry("good", "10.0.0.1", "8080", Fault::None);
        entry("empty port", "10.0.0.1", "", Fault::None);
        entry("letter in the port", "10.0.0.1", "8a", Fault::Port);
        entry("letter within the port", "10.0.0.1", "8a0", Fault::Port);
        entry("empty address", "", "80", Fault::Address);
        entry("both wrong", "256.1.1.1", "8a", Fault::Address);
        entry("three groups", "1.2.3", "80", Fault::Address);
        entry("host name", "mav.example.com", "443", Fault::Address);
    }
    void serverAddress() {
        QFETCH(QString, address);
        QFETCH(QString, port);
        QFETCH(int, fault);
        QCOMPARE(static_cast<int>(checkServerAddress(address, port)), fault);
    }

    void networkLooks() {
        const NetworkLook good{u"Mav-icon"_s, u"MavSuccess"_s, true};
        const NetworkLook bad{u"Mav-gray"_s, u"ReconnectServer"_s};
        QCOMPARE(networkLook(1), std::optional(good));
        QCOMPARE(networkLook(2), std::optional(good));
        QCOMPARE(networkLook(0), std::optional(bad));
        QCOMPARE(networkLook(-1), std::optional(bad));
        QCOMPARE(networkLook(3), std::nullopt);
        QCOMPARE(networkLook(-2), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(tst_PageRules)
#include "tst_PageRules.moc"
