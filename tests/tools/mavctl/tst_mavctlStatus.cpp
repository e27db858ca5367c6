#include "AccountModel.h"
#include "ArchiveStore.h"
#include "SupportTool.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <optional>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

/// What the support tool tells of a running system, in a root and a home of its own.
class tst_mavctlStatus : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_tool.emplace();
        QVERIFY(QDir().mkpath(m_tool->support() + u"/QenCloudL"_s));
    }

    void session_data() {
        QTest::addColumn<QString>("userid");
        QTest::addColumn<qint64>("islogout");
        QTest::addColumn<QString>("state");
        QTest::newRow("signed in") << u"u1"_s << qint64(0) << "signed in";
        QTest::newRow("sign-out to be reported") << u"u1"_s << qint64(1) << "logout pending";
        QTest::newRow("no user") << QString() << qint64(0) << "stale record";
    }

    void session() {
        QFETCH(QString, userid);
        QFETCH(qint64, islogout);
        AccountModel record;
        record.setUserid(userid);
        record.setTicket(u"t"_s);
        record.setIslogout(islogout);
        record.setLoginType(LoginType::Domain);
        QVERIFY(record.save(m_tool->support()));
        const QJsonObject session = status().value(u"session").toObject();
        QTEST(session.value(u"state").toString(), "state");
        QCOMPARE(session.value(u"method").toString(), u"domain account"_s);
    }

    void serverNetworkAndFiles() {
        const ArchiveValue address(ArchiveValue::Array{"mav.example", "8080"});
        const ArchiveValue outer(ArchiveValue::Array{"out.example", "443"});
        QVERIFY(archiveRootObject(
            ArchiveValue(ArchiveValue::Array{address, outer, address}), m_tool->agent() + u"/.QenConfig"_s));
        QVERIFY(archiveRootObject(u"1"_s, m_tool->support() + u"/QenCloudL/netType.archive"_s));
        SupportTool::write(m_tool->agent() + u"/appmgrlist.archive"_s, "bplist00 cut off");
        SupportTool::write(m_tool->agent() + u"/tips.txt"_s, "\xff\xfe");
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
        m_tool->start(process, {u"watch"_s, u"--json"_s});
        QVERIFY(process.waitForStarted());
        // The tool says nothing before the first change, so the file is touched until it is seen.
        QElapsedTimer clock;
        clock.start();
        while (!process.canReadLine() && clock.elapsed() < 20000) {
            SupportTool::write(m_tool->agent() + u"/tips.txt"_s, "公告");
            process.waitForReadyRead(500);
        }
        const QJsonObject change = QJsonDocument::fromJson(process.readLine()).object();
        QCOMPARE(change.value(u"message").toString(), u"monitor tips.txt has changed"_s);
        QCOMPARE(change.value(u"file").toString(), u"decodes"_s);
        QCOMPARE(change.value(u"path").toString(), m_tool->agent() + u"/tips.txt"_s);
        process.terminate();
        QVERIFY(process.waitForFinished(10000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
    }

    void deviceFactsOfAFolder() {
        const QString root = m_tool->file(u"machine"_s);
        SupportTool::write(root + u"/etc/os-release"_s, "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n");
        const SupportTool::Outcome outcome = m_tool->run({u"device"_s, u"--json"_s, u"--root"_s, root});
        QCOMPARE(outcome.status, 0);
        const QJsonObject facts = QJsonDocument::fromJson(outcome.output).object();
        QVERIFY(facts.value(u"osVersion").toString().contains(u"12"));
        QVERIFY(facts.value(u"macAddresses").isArray());
        for (const char* fact : {"uuid", "machineName", "userName", "ADDomainName"})
            QVERIFY2(facts.contains(QLatin1StringView(fact)), fact);
    }

private:
    QJsonObject status() const {
        const SupportTool::Outcome outcome = m_tool->run({u"status"_s, u"--json"_s});
        return outcome.status == 0 ? QJsonDocument::fromJson(outcome.output).object() : QJsonObject();
    }

    static QString condition(const QJsonObject& status, QStringView name) {
        for (const QJsonValue& file : status.value(u"files").toArray()) {
            if (file[u"path"].toString().endsWith(name))
                return file[u"file"].toString();
        }
        return {};
    }

    std::optional<SupportTool> m_tool;
};

QTEST_GUILESS_MAIN(tst_mavctlStatus)
#include "tst_mavctlStatus.moc"
