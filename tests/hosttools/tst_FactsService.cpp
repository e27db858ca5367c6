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
    void answers() {
        qDBusRegisterMetaType<Texts>();
        const FakeSystemBus bus(m_machine->path());
        FakeObjects objects;
        bus.serve(&objects, Service);
        trust(::geteuid());
        const auto answerIs = [&](const QVariant& answer, const QString& state, const QString& text) {
            objects.answers[u"PacketFilter"_s] = answer;
            check(state, text);
        };
        const auto textsAre = [&](const Texts& texts, const QString& state, const QString& text) {
            answerIs(QVariant::fromValue(texts), state, text);
        };
        const QString one = u"1"_s;
        const QString refused = u"refused"_s;
        const QString unknown = u"unknown"_s;
        const QString version = u"in an unknown version"_s;
        // IPv4 alone, and there is no IPv6.
        textsAre({{u"version"_s, one}, {u"ip"_s, refused}, {u"ip6"_s, u"open"_s}}, u"on"_s, {});
        textsAre({{u"version"_s, one}, {u"ip"_s, u"open"_s}, {u"ip.code"_s, u"firewall.open"_s},
                     {u"ip.subject"_s, u"IPv4, tcp at eth0"_s}},
            u"off"_s, u"unasked traffic is let in: IPv4, tcp at eth0"_s);
        textsAre({{u"version"_s, u"2"_s}, {u"ip"_s, refused}, {u"ip6"_s, refused}}, unknown, version);
        textsAre({{u"ip"_s, refused}, {u"ip6"_s, refused}}, unknown, version);
        for (const QString& word : {u"Refused"_s, QString(1 << 20, u'x')})
            textsAre({{u"version"_s, one}, {u"ip"_s, word}, {u"ip6"_s, refused}}, unknown, {});
        textsAre({}, unknown, version);
        answerIs(refused, unknown, version); // of another type
        answerIs({}, unknown, u"the facts service is not there"_s);
        objects.isSilent = true;
        check(unknown, u"the facts service does not answer in time"_s);
    }

    void serviceThatDies() {
        const FakeSystemBus bus(m_machine->path());
        startService({});
        QVERIFY(m_service.processId() > 0);
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
