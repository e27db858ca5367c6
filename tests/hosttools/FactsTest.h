#pragma once

#include "MachineTest.h"

#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <unistd.h>

using namespace Qt::StringLiterals;

/// On the machine's bus the facts service or what stands in its place, and the tools that ask it.
class FactsTest : public MachineTest {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(QFile::copy(QStringLiteral(MAV_FACTS), m_pack.filePath(u"mav-facts"_s))); }
    void init() {
        m_machine.emplace();
        HostPack::makeReadable(m_machine->path());
        build(u"file /proc/modules nf_tables 1 0\n"_s);
    }
    void cleanup() {
        m_service.kill();
        m_service.waitForFinished(5000);
    }

protected:
    /// The bus, its service and two more questions, each with its limit, and the start of a program on a busy machine.
    static constexpr int Patience = 2500; // milliseconds
    const QString Service = u"com.qencloud.mav.HostFacts"_s;

    static bool isOwned(const QDBusConnection& bus, const QString& name) {
        return bus.interface()->isServiceRegistered(name);
    }

    /// As the package makes the service's user.
    void trust(uint user) const {
        const QByteArray line =
            "root:x:0:0::/:/bin/sh\nmav-facts:x:" + QByteArray::number(user) + ":65534::/:/bin/false\n";
        QVERIFY(fixture().write(u"/etc/passwd"_s, line));
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
        QTRY_VERIFY_WITH_TIMEOUT(isOwned(connection, Service), 10000);
        QDBusConnection::disconnectFromBus(m_machine->path());
    }

    QJsonObject reason() const {
        return QJsonDocument::fromJson(run({u"mav-hosttools"_s, u"reason"_s, u"firewall"_s}).output.toUtf8()).object();
    }

    void check(const QString& state, const QString& text) const {
        QElapsedTimer clock;
        clock.start();
        const QJsonObject found = reason();
        QVERIFY2(clock.elapsed() < Patience, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(found[u"state"].toString(), state);
        QVERIFY2(found[u"text"].toString().contains(text), qPrintable(found[u"text"].toString()));
    }

    QProcess m_service;
};
