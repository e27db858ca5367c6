#include "FakeServices.h"
#include "HostFixture.h"
#include "HostPack.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>

#include <cstring>

#include <csignal>
#include <optional>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// What polkit answers.
struct Authorization {
    bool isAuthorized = false;
};
Q_DECLARE_METATYPE(Authorization)

QDBusArgument& operator<<(QDBusArgument& argument, const Authorization& value) {
    argument.beginStructure();
    argument << value.isAuthorized << false << QMap<QString, QString>();
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, Authorization&) {
    return argument;
}

namespace {

using Texts = QMap<QString, QString>;

/// The bus, its service and two more questions, each with its limit, and the start of a program on a busy machine.
constexpr int Patience = 2500; // milliseconds

/// Takes the question and says nothing.
class Silent final : public QDBusVirtualObject {
public:
    bool handleMessage(const QDBusMessage&, const QDBusConnection&) override { return true; }
    QString introspect(const QString&) const override { return {}; }
};

} // namespace

/// The facts service, the real one and others in its place, and the tools that ask it.
class tst_FactsService : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        qDBusRegisterMetaType<Texts>();
        qDBusRegisterMetaType<Authorization>();
        QVERIFY(m_pack.isGood());
        QVERIFY(QFile::copy(QStringLiteral(MAV_FACTS), m_pack.filePath(u"mav-facts"_s)));
    }
    void init() {
        m_machine.emplace();
        HostPack::makeReadable(m_machine->path());
        QCOMPARE(HostFixture(m_machine->path()).build(u"file /proc/modules nf_tables 1 0\n"_s), QString());
    }
    void cleanup() {
        m_service.kill();
        m_service.waitForFinished(5000);
    }

    void answers_data() {
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
        row("refused", good, u"on"_s, {});
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
        own(bus, &objects);
        trust(::geteuid());
        check(state, text);
    }

    void serviceThatHangs() {
        const FakeSystemBus bus(m_machine->path());
        Silent silent;
        own(bus, &silent);
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
        const QByteArray path = m_machine->filePath(u"run/dbus/system_bus_socket"_s).toLocal8Bit();
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        QVERIFY(path.size() < qsizetype(sizeof address.sun_path));
        std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
        QVERIFY(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && ::listen(socket, 4) == 0);
        QVERIFY(::chmod(path.constData(), 0777) == 0);
        QCOMPARE(HostFixture(m_machine->path()).build(u"unit firewalld\nunit sssd\n"_s), QString());
        check(u"unknown"_s, u"firewalld runs and does not answer"_s);
        QElapsedTimer clock;
        clock.start();
        const HostPack::Result domain = m_pack.run(m_machine->path(), {u"dsconfigad"_s, u"-show"_s});
        ::close(socket);
        QVERIFY(domain.output.isEmpty() && domain.error.contains(u"cannot be read without privilege"));
        QVERIFY2(clock.elapsed() < Patience, qPrintable(QString::number(clock.elapsed())));
    }

    /// The real service with the privilege that its unit gives it, over rules that the real tools have loaded.
    void realService_data() {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QString>("load");
        QTest::addColumn<QString>("state");
        const QString chain =
            u"nft add table %1 t; nft add chain %1 t i '{ type filter hook input priority 0; policy %2; }'"_s;
        QTest::newRow("no rules") << u"nft"_s << u"true"_s << u"off"_s;
        QTest::newRow("nftables") << u"nft"_s << chain.arg(u"inet"_s, u"drop"_s) << u"on"_s;
        QTest::newRow("nftables that lets in") << u"nft"_s << chain.arg(u"inet"_s, u"accept"_s) << u"off"_s;
        QTest::newRow("iptables") << u"iptables-nft"_s
                                  << u"iptables-nft -A INPUT -m conntrack --ctstate ESTABLISHED -j ACCEPT; "
                                     "iptables-nft -A INPUT -j REJECT"_s
                                  << u"on"_s;
        QTest::newRow("older tables") << u"iptables-legacy"_s << u"iptables-legacy -P INPUT DROP"_s << u"on"_s;
    }
    void realService() {
        QFETCH(QString, tool);
        QFETCH(QString, load);
        QFETCH(QString, state);
        QProcess attempt;
        attempt.start(u"unshare"_s, {u"-n"_s, u"sh"_s, u"-c"_s, u"PATH=$PATH:/usr/sbin:/sbin; "_s + load});
        if (!attempt.waitForFinished(10000) || attempt.exitCode() != 0)
            QSKIP(qPrintable(u"no network namespace with %1 here: %2"_s.arg(
                tool, QString::fromUtf8(attempt.readAllStandardError()))));
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
        if (program.isEmpty() || ::geteuid() != 0)
            QSKIP("firewalld is not installed, or this is not run as root");
        const FakeSystemBus bus(m_machine->path());
        FakePolkit polkit;
        QDBusConnection connection = bus.connection();
        QVERIFY(connection.registerVirtualObject(u"/org/freedesktop/PolicyKit1"_s, &polkit, QDBusConnection::SubPath));
        QVERIFY(connection.registerService(u"org.freedesktop.PolicyKit1"_s));
        const QString settings = m_machine->filePath(u"firewalld"_s);
        QCOMPARE(QProcess::execute(u"cp"_s, {u"-r"_s, u"/etc/firewalld"_s, settings}), 0);
        start({u"unshare"_s, u"-n"_s, program, u"--nofork"_s, u"--nopid"_s, u"--system-config"_s, settings});
        QTRY_VERIFY_WITH_TIMEOUT(isOwned(connection, u"org.fedoraproject.FirewallD1"_s), 20000);
        QCOMPARE(HostFixture(m_machine->path()).build(u"unit firewalld\n"_s), QString());
        // The daemon has its name some time before it answers.
        QTRY_COMPARE_WITH_TIMEOUT(reason()[u"state"].toString(), u"on"_s, 20000);
        QElapsedTimer clock;
        clock.start();
        check(u"on"_s, {});
        qInfo("the whole answer took %lld ms", clock.elapsed());
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
            connection.send(message.createReply(QVariant::fromValue(Authorization{isInformation})));
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

    static bool isOwned(const QDBusConnection& bus, const QString& name) {
        return bus.interface()->isServiceRegistered(name);
    }

    static void own(const FakeSystemBus& bus, QDBusVirtualObject* object) {
        QDBusConnection connection = bus.connection();
        QVERIFY(connection.isConnected());
        QVERIFY(connection.registerVirtualObject(u"/"_s, object, QDBusConnection::SubPath));
        QVERIFY(connection.registerService(u"com.qencloud.mav.HostFacts"_s));
    }

    /// As the package makes the service's user.
    void trust(uint user) const {
        const QByteArray line =
            "root:x:0:0::/:/bin/sh\nmav-facts:x:" + QByteArray::number(user) + ":65534::/:/bin/false\n";
        QVERIFY(HostFixture(m_machine->path()).write(u"/etc/passwd"_s, line));
    }

    void start(const QStringList& command) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        const QString socket = m_machine->filePath(u"run/dbus/system_bus_socket"_s);
        environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_s, u"unix:path="_s + socket);
        environment.insert(u"PATH"_s, environment.value(u"PATH"_s) + u":/usr/sbin:/sbin"_s);
        m_service.setProcessEnvironment(environment);
        m_service.start(command[0], command.mid(1));
        QVERIFY(m_service.waitForStarted(5000));
    }

    /// The real one as nobody; with @p load in a network of its own, and with the privilege that its unit gives it.
    void startService(const QString& load) {
        const QString limits = load.isEmpty() ? QString()
                                              : u"--inh-caps=+net_admin,+net_raw --ambient-caps=+net_admin,+net_raw "
                                                "--bounding-set=-all,+net_admin,+net_raw "_s;
        const QString user =
            ::geteuid() == 0 ? u"setpriv --reuid=65534 --regid=65534 --clear-groups "_s + limits : QString();
        const QString program = m_pack.filePath(u"mav-facts"_s);
        const QStringList shell{
            u"sh"_s, u"-c"_s, load + (load.isEmpty() ? QString() : u"; "_s) + u"exec "_s + user + program};
        start(load.isEmpty() ? shell : QStringList{u"unshare"_s, u"-n"_s} + shell);
        QDBusConnection connection = QDBusConnection::connectToBus(
            u"unix:path="_s + m_machine->filePath(u"run/dbus/system_bus_socket"_s), m_machine->path());
        QTRY_VERIFY_WITH_TIMEOUT(isOwned(connection, u"com.qencloud.mav.HostFacts"_s), 10000);
        QDBusConnection::disconnectFromBus(m_machine->path());
    }

    QJsonObject reason() const {
        const HostPack::Result result = m_pack.run(m_machine->path(), {u"mav-hosttools"_s, u"reason"_s, u"firewall"_s});
        return QJsonDocument::fromJson(result.output.toUtf8()).object();
    }

    void check(const QString& state, const QString& text) const {
        QElapsedTimer clock;
        clock.start();
        const QJsonObject found = reason();
        QVERIFY2(clock.elapsed() < Patience, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(found[u"state"].toString(), state);
        QVERIFY2(found[u"text"].toString().contains(text), qPrintable(found[u"text"].toString()));
    }

    const HostPack m_pack;
    std::optional<QTemporaryDir> m_machine;
    QProcess m_service;
};

QTEST_GUILESS_MAIN(tst_FactsService)
#include "tst_FactsService.moc"
