#include "AccountModel.h"
#include "ArchiveStore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

/// What the support tool tells of a running system, in a root and a home of its own.
class tst_mavctlStatus : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_folder.emplace();
        m_home = m_folder->filePath(u"home"_s);
        m_agent = m_folder->filePath(u"root/Library/Application Support/QenCloud"_s);
        m_support = m_home + u"/Library/Application Support"_s;
        QVERIFY(QDir().mkpath(m_agent) && QDir().mkpath(m_support));
    }

    void session_data() {
        QTest::addColumn<QString>("userid");
        QTest::addColumn<QString>("ticket");
        QTest::addColumn<qint64>("islogout");
        QTest::addColumn<QString>("state");
        QTest::newRow("signed in") << "u1"
                                   << "t" << qint64(0) << "signed in";
        QTest::newRow("sign-out to be reported") << "u1"
                                                 << "t" << qint64(1) << "logout pending";
        QTest::newRow("no user") << QString() << "t" << qint64(0) << "stale record";
    }

    void session() {
        QFETCH(QString, userid);
        QFETCH(QString, ticket);
        QFETCH(qint64, islogout);
        AccountModel record;
        record.setUserid(userid);
        record.setTicket(ticket);
        record.setIslogout(islogout);
        record.setLoginType(LoginType::Domain);
        QVERIFY(record.save(m_support));
        const QJsonObject session = status().value(u"session").toObject();
        QTEST(session.value(u"state").toString(), "state");
        QCOMPARE(session.value(u"method").toString(), u"domain account"_s);
    }

    void serverNetworkAndFiles() {
        const ArchiveValue address(ArchiveValue::Array{"mav.example", "8080"});
        const ArchiveValue outer(ArchiveValue::Array{"out.example", "443"});
        QVERIFY(
            archiveRootObject(ArchiveValue(ArchiveValue::Array{address, outer, address}), m_agent + u"/.QenConfig"_s));
        QVERIFY(QDir().mkpath(m_support + u"/QenCloudL"_s));
        QVERIFY(archiveRootObject(u"1"_s, m_support + u"/QenCloudL/netType.archive"_s));
        write(m_agent + u"/appmgrlist.archive"_s, "bplist00 cut off");
        write(m_agent + u"/tips.txt"_s, "\xff\xfe");
        const QJsonObject all = status();
        QCOMPARE(all.value(u"session").toObject().value(u"state").toString(), u"signed out"_s);
        QCOMPARE(all.value(u"server").toObject().value(u"used").toString(), u"out.example:443"_s);
        QCOMPARE(all.value(u"network").toString(), u"extranet"_s);
        QCOMPARE(all.value(u"ticket_service").toString(), u"no session bus"_s);
        QCOMPARE(all.value(u"vpn").toArray().size(), 0);
        QCOMPARE(condition(all, u"/.QenConfig"), u"decodes"_s);
        QCOMPARE(condition(all, u"/appmgrlist.archive"), u"damaged"_s);
        QCOMPARE(condition(all, u"/tips.txt"), u"damaged"_s);
        QCOMPARE(condition(all, u"/restart.txt"), u"missing"_s);
    }

    void watchTellsEachChangeUntilInterrupted() {
        QProcess process;
        start(process, {u"watch"_s, u"--json"_s});
        QVERIFY(process.waitForStarted());
        // The tool says nothing before the first change, so the file is touched until it is seen.
        QElapsedTimer clock;
        clock.start();
        while (!process.canReadLine() && clock.elapsed() < 20000) {
            write(m_agent + u"/tips.txt"_s, "公告");
            process.waitForReadyRead(500);
        }
        const QJsonObject change = QJsonDocument::fromJson(process.readLine()).object();
        QCOMPARE(change.value(u"message").toString(), u"monitor tips.txt has changed"_s);
        QCOMPARE(change.value(u"file").toString(), u"decodes"_s);
        QCOMPARE(change.value(u"path").toString(), m_agent + u"/tips.txt"_s);
        process.terminate();
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
    }

    void deviceFactsOfAFolder() {
        const QString root = m_folder->filePath(u"machine"_s);
        QVERIFY(QDir().mkpath(root + u"/etc"_s));
        write(root + u"/etc/os-release"_s, "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n");
        QProcess process;
        start(process, {u"device"_s, u"--json"_s, u"--root"_s, root});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0);
        const QJsonObject facts = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
        QVERIFY(facts.value(u"osVersion").toString().contains(u"12"));
        QVERIFY(facts.value(u"macAddresses").isArray());
        for (const char* fact : {"uuid", "machineName", "userName", "ADDomainName"})
            QVERIFY2(facts.contains(QLatin1StringView(fact)), fact);
    }

private:
    void start(QProcess& process, const QStringList& arguments) const {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, m_home);
        environment.insert(u"MAV_ROOT"_s, m_folder->filePath(u"root"_s));
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s);
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(MAVCTL), arguments);
    }

    QJsonObject status() const {
        QProcess process;
        start(process, {u"status"_s, u"--json"_s});
        if (!process.waitForFinished(30000) || process.exitCode() != 0)
            return {};
        return QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    }

    static QString condition(const QJsonObject& status, QStringView name) {
        for (const QJsonValue& file : status.value(u"files").toArray()) {
            if (file[u"path"].toString().endsWith(name))
                return file[u"file"].toString();
        }
        return {};
    }

    static void write(const QString& path, const QByteArray& bytes) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    std::optional<QTemporaryDir> m_folder;
    QString m_home;
    QString m_agent;
    QString m_support;
};

QTEST_GUILESS_MAIN(tst_mavctlStatus)
#include "tst_mavctlStatus.moc"
