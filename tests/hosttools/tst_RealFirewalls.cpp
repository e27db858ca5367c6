#include "FactsTest.h"
#include "FakeServices.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

/// The real packet filters and the real firewalld, in networks of their own: for root alone.
class tst_RealFirewalls : public FactsTest {
    Q_OBJECT

private Q_SLOTS:
    /// The real service with the privilege that its unit gives it, over rules that the real tools have loaded.
    void realService_data() {
        QTest::addColumn<QString>("load");
        QTest::addColumn<QString>("state");
        const QString chain =
            u"nft add table %1 t; nft add chain %1 t i '{ type filter hook input priority 0; policy %2; }'"_s;
        QTest::newRow("no rules") << u"true"_s << u"off"_s;
        QTest::newRow("nftables") << chain.arg(u"inet"_s, u"drop"_s) << u"on"_s;
        QTest::newRow("nftables that lets in") << chain.arg(u"inet"_s, u"accept"_s) << u"off"_s;
        QTest::newRow("iptables") << u"iptables-nft -A INPUT -m conntrack --ctstate ESTABLISHED -j ACCEPT; "
                                     "iptables-nft -A INPUT -j REJECT"_s
                                  << u"on"_s;
        QTest::newRow("older tables") << u"iptables-legacy -P INPUT DROP"_s << u"on"_s;
    }
    void realService() {
        QFETCH(QString, load);
        QFETCH(QString, state);
        QProcess attempt;
        attempt.start(u"unshare"_s, {u"-n"_s, u"sh"_s, u"-e"_s, u"-c"_s, u"PATH=$PATH:/usr/sbin:/sbin; "_s + load});
        QVERIFY2(attempt.waitForFinished(10000) && attempt.exitCode() == 0, attempt.readAllStandardError().constData());
        const FakeSystemBus bus(m_machine->path());
        startService(load);
        check(u"unknown"_s, u"another program answers for the facts service"_s);
        trust(65534);
        check(state, {});
    }

    /// A firewalld whose polkit refuses all that is not for everybody, where a refusal would be a question to the
    /// person.
    void realFirewalld() {
        const QString program = QStandardPaths::findExecutable(u"firewalld"_s, {u"/usr/sbin"_s, u"/usr/bin"_s});
        QVERIFY(!program.isEmpty());
        const FakeSystemBus bus(m_machine->path());
        qDBusRegisterMetaType<QMap<QString, QString>>();
        FakePolkit polkit;
        bus.serve(&polkit, u"org.freedesktop.PolicyKit1"_s, u"/org/freedesktop/PolicyKit1"_s);
        const QString settings = m_machine->filePath(u"firewalld"_s);
        QCOMPARE(QProcess::execute(u"cp"_s, {u"-r"_s, u"/etc/firewalld"_s, settings}), 0);
        start({u"unshare"_s, u"-n"_s, program, u"--nofork"_s, u"--nopid"_s, u"--system-config"_s, settings});
        QTRY_VERIFY_WITH_TIMEOUT(isOwned(bus.connection(), u"org.fedoraproject.FirewallD1"_s), 20000);
        build(u"unit firewalld\n"_s);
        // The daemon has its name some time before it answers.
        QTRY_COMPARE_WITH_TIMEOUT(reason()[u"state"].toString(), u"on"_s, 20000);
        check(u"on"_s, {});
        QCOMPARE(polkit.refused, QStringList());
    }

private:
    /// Grants what firewalld calls information and notes everything else.
    class FakePolkit final : public QDBusVirtualObject {
    public:
        QStringList refused;

        bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
            if (message.member() != u"CheckAuthorization")
                return false;
            const QString action = message.arguments().value(1).toString();
            const bool isInformation = action == u"org.fedoraproject.FirewallD1.info";
            if (!isInformation)
                refused.append(action);
            QDBusArgument authorization;
            authorization.beginStructure();
            authorization << isInformation << false << QMap<QString, QString>();
            authorization.endStructure();
            connection.send(message.createReply(QVariant::fromValue(authorization)));
            return true;
        }
        /// firewalld's library looks here for the types of what it sends.
        QString introspect(const QString&) const override {
            QString arguments;
            for (const char16_t* type : {u"(sa{sv})", u"s", u"a{ss}", u"u", u"s"})
                arguments += u"<arg direction=\"in\" type=\"%1\"/>"_s.arg(QString::fromUtf16(type));
            return u"<interface name=\"org.freedesktop.PolicyKit1.Authority\"><method name=\"CheckAuthorization\">%1"
                   "<arg direction=\"out\" type=\"(bba{ss})\"/></method></interface>"_s.arg(arguments);
        }
    };
};

QTEST_GUILESS_MAIN(tst_RealFirewalls)
#include "tst_RealFirewalls.moc"
