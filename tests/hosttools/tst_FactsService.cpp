#include "FactsTest.h"
#include "FakeServices.h"
#include "SilentBus.h"

#include <QDBusMetaType>
#include <QDir>
#include <QTimer>

#include <csignal>

using Texts = QMap<QString, QString>;

/// The facts service, the real one and others in its place, and the tools that ask it.
class tst_FactsService : public FactsTest {
    Q_OBJECT

private Q_SLOTS:
    void answers_data() {
        qDBusRegisterMetaType<Texts>();
        QTest::addColumn<QVariant>("answer");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* name, const Texts& answer, const QString& state, const QString& text) {
            QTest::newRow(name) << QVariant::fromValue(answer) << state << text;
        };
        const QString one = u"1"_s;
        const QString refused = u"refused"_s;
        const Texts good{{u"version"_s, one}, {u"ip"_s, refused}, {u"ip6"_s, refused}};
        const auto with = [&good](const QString& key, const QString& value) {
            Texts changed = good;
            changed[key] = value;
            return changed;
        };
        row("IPv4 alone, and there is no IPv6", {{u"version"_s, one}, {u"ip"_s, refused}, {u"ip6"_s, u"open"_s}},
            u"on"_s, {});
        row("open",
            {{u"version"_s, one}, {u"ip"_s, u"open"_s}, {u"ip.code"_s, u"firewall.open"_s},
                {u"ip.subject"_s, u"IPv4, tcp at eth0"_s}},
            u"off"_s, u"unasked traffic is let in: IPv4, tcp at eth0"_s);
        row("newer version", with(u"version"_s, u"2"_s), u"unknown"_s, u"in an unknown version"_s);
        row("no version", {{u"ip"_s, refused}, {u"ip6"_s, refused}}, u"unknown"_s, u"in an unknown version"_s);
        row("a word that is none", with(u"ip"_s, u"Refused"_s), u"unknown"_s, {});
        row("a word that is huge", with(u"ip"_s, QString(1 << 20, u'x')), u"unknown"_s, {});
        row("nothing", {}, u"unknown"_s, u"in an unknown version"_s);
        QTest::newRow("another type") << QVariant(u"refused"_s) << u"unknown"_s << u"in an unknown version"_s;
        QTest::newRow("no such question") << QVariant() << u"unknown"_s << u"the facts service is not there"_s;
    }
    void answers() {
        QFETCH(QVariant, answer);
        QFETCH(QString, state);
        QFETCH(QString, text);
        const FakeSystemBus bus(m_machine->path());
        FakeObjects objects;
        objects.answers[u"PacketFilter"_s] = answer;
        bus.serve(&objects, Service);
        trust(::geteuid());
        check(state, text);
    }

    void serviceThatHangs() {
        const FakeSystemBus bus(m_machine->path());
        FakeObjects silent;
        silent.isSilent = true;
        bus.serve(&silent, Service);
        trust(::geteuid());
        check(u"unknown"_s, u"the facts service does not answer in time"_s);
    }

    void serviceThatDies() {
        const FakeSystemBus bus(m_machine->path());
        startService({});
        ::kill(pid_t(m_service.processId()), SIGSTOP);
        QTimer::singleShot(200, this, [this] { m_service.kill(); });
        check(u"unknown"_s, u"the facts service "_s);
    }

    void busThatHangs() {
        QVERIFY(QDir(m_machine->path()).mkpath(u"run/dbus"_s));
        const SilentBus silent(SilentBus::Until::Ever, m_machine->filePath(u"run/dbus/system_bus_socket"_s));
        QVERIFY(!silent.address().isEmpty());
        build(u"unit firewalld\nunit sssd\n"_s);
        check(u"unknown"_s, u"firewalld runs and does not answer"_s);
        QElapsedTimer clock;
        clock.start();
        const HostPack::Result domain = run({u"dsconfigad"_s, u"-show"_s});
        QVERIFY(domain.output.isEmpty() && domain.error.contains(u"cannot be read without privilege"));
        QVERIFY2(clock.elapsed() < Patience, qPrintable(QString::number(clock.elapsed())));
    }
};

QTEST_GUILESS_MAIN(tst_FactsService)
#include "tst_FactsService.moc"
