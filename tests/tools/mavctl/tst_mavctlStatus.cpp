#include "AccountModel.h"
#include "ArchiveStore.h"
#include "LoopbackServer.h"
#include "PrivateBus.h"
#include "SupportTool.h"

#include <QDBusConnection>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

/// What the support tool tells of a running system, in a root and a home of its own.
class tst_mavctlStatus : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_tool.emplace();
        m_tool->environment.insert("MAV_FACTS_ROOT", m_tool->file("facts"));
    }

    void rounds_data() {
        QTest::addColumn<QVariantMap>("access");
        QTest::addColumn<QByteArray>("catalogue");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("lines");
        const QByteArray unknown =
            "<plist version=\"1.0\"><array><dict><key>a</key><array><dict><key>title</key>"
            "<string>域检测</string><key>selectorName</key><string>nothing:</string></dict></array>"
            "</dict></array></plist>";
        const auto row = [](const char* name, const QVariantMap& access, const QByteArray& catalogue, int status,
                             const QStringList& lines) {
            QTest::newRow(name) << access << catalogue << status << lines;
        };
        const QVariantMap disk{{"is_disk_encrypt", "1"}};
        const QVariantMap domain{{"ent_domain", "c.example"}};
        const QString encrypted = "met        磁盘已加密: fdesetup answers \"FileVault is On.\"";
        row("compliant", disk, {}, 0, {encrypted, "level 0 电脑安全: 1 of 1 checks met"});
        row("not compliant", {{"is_disk_encrypt", "1"}, {"firewall", "1"}, {"ent_domain", "c.example"}}, {}, 1,
            {encrypted, "not met    已开启主机防火墙: the facts service is not there",
                "not met    域检测: the computer is joined to no domain, required is \"c.example\"",
                "level 1 轻度危险: 1 of 3 checks met"});
        row("nothing required", {}, {}, 0,
            {"nothing is required: the policy POLICY asks for no check", "level 0 电脑安全: 0 of 0 checks met"});
        row("unknown check", domain, unknown, 1,
            {"no result  域检测: the client has no check named \"nothing:\"", "level 0 电脑安全: 0 of 1 checks met"});
        row("damaged catalogue", disk, "bplist00", 1, {});
    }
    void rounds() {
        QFETCH(QVariantMap, access);
        QFETCH(QByteArray, catalogue);
        QFETCH(int, status);
        QFETCH(QStringList, lines);
        tool("fdesetup", "echo 'FileVault is On.'");
        tool("defaults", "echo 'no privilege' >&2");
        tool("dsconfigad", "exit 0");
        tool("mav-hosttools",
            R"(echo '{"state":"unknown","code":"service.missing","text":"the facts service is not there"}')");
        if (!catalogue.isEmpty())
            SupportTool::write(
                m_tool->file("root/Applications/Mav/Mav.app/Contents/Resources/QenCheck.plist"), catalogue);
        for (const char* name : {"/complianceInfo", "/complianceInfo.archive"})
            QVERIFY(
                archiveRootObject(ArchiveValue::fromVariant(QVariantMap{{"access", access}}), m_tool->agent() + name));
        lines.replaceInStrings("POLICY", m_tool->agent() + "/complianceInfo.archive");

        QElapsedTimer clock;
        clock.start();
        const SupportTool::Outcome inText = m_tool->run({"check"});
        QCOMPARE(inText.status, status);
        QCOMPARE(QString::fromUtf8(inText.output).split(u'\n', Qt::SkipEmptyParts), lines);
        QCOMPARE(inText.error.count('\n'), status);
        if (lines.size() > 2)
            QVERIFY2(clock.elapsed() >= 2500, "the round closes 2.5 seconds after its last result");
        if (!lines.isEmpty()) {
            const QJsonObject summary = QJsonDocument::fromJson(m_tool->run({"check", "--json"}).output).object();
            if (access.contains(u"firewall"_s)) {
                const QJsonValue check = summary[u"checks"][1];
                QCOMPARE(check[u"reason"], u"the facts service is not there"_s);
                QCOMPARE(check[u"code"], u"service.missing"_s);
                QCOMPARE(check[u"known"], false);
                QVERIFY(check[u"note"].toString().startsWith(u"主机状态服务没有运行，未能确定。"));
            }
            QCOMPARE(summary.value(u"compliant").toBool(), status == 0);
            QCOMPARE(int(summary.value(u"checks").toArray().size()), summary.value(u"required").toInt());
            QVERIFY(lines.last().startsWith(
                u"level %1 %2:"_s.arg(summary.value(u"level").toInt()).arg(summary.value(u"state").toString())));
        }
        // The client's log and state are the client's.
        QVERIFY(QDir(m_tool->file("home")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty());
    }

    void withoutAPolicy() {
        const QString policy = m_tool->agent() + "/complianceInfo.archive";
        for (const char* state : {"missing", "damaged"}) {
            const SupportTool::Outcome outcome = m_tool->run({"check", "--json"});
            QCOMPARE(outcome.status, 4);
            QCOMPARE(outcome.error, "mavctl: not compliant: the policy " + policy.toUtf8() + " is " + state + '\n');
            QCOMPARE(QJsonDocument::fromJson(outcome.output)[u"compliant"], false);
            SupportTool::write(policy, "bplist00 cut off");
        }
    }

    void doctorOfABareSystem() {
        QVERIFY(QDir(m_tool->agent()).removeRecursively());
        const SupportTool::Outcome outcome = m_tool->run({"doctor"});
        QCOMPARE(outcome.status, 1);
        QVERIFY(outcome.error.contains("problems found"));
        const QJsonObject all = doctor();
        for (const char* subject : {"session bus", "ticket service", "agent's folder", "agent's files", "server"})
            QCOMPARE(state(all, subject), u"problem"_s);
        for (const char* subject : {"tray host", "notifications", "facts service", "log"})
            QCOMPARE(state(all, subject), u"warning"_s);
        for (const QJsonValue& finding : all.value(u"findings").toArray())
            QCOMPARE(finding[u"advice"].toString().isEmpty(), finding[u"state"].toString() == u"good");
    }

    void doctorBesideABusThatSaysNothing() {
        m_tool->environment.insert("DBUS_SESSION_BUS_ADDRESS", u"unix:path="_s + m_tool->file("silent"));
        QLocalServer bus;
        QVERIFY(bus.listen(m_tool->file("silent")));
        QElapsedTimer clock;
        clock.start();
        const QJsonObject all = doctor();
        QVERIFY2(clock.elapsed() < 15000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(finding(all, "session bus")[u"found"].toString(), u"does not answer"_s);
        QCOMPARE(state(all, "ticket service"), u"problem"_s);
    }

    void doctorOfASystemThatWorks() {
        const PrivateBus bus;
        QDBusConnection services = QDBusConnection::connectToBus(bus.address(), "services");
        QVERIFY(services.registerService("com.qencloud.mav.TicketService"));
        QVERIFY(services.registerService("org.freedesktop.Notifications"));
        QVERIFY(services.registerService("com.qencloud.mav.HostFacts"));
        QVERIFY(QDir().mkpath(m_tool->file("facts/run/dbus")));
        QVERIFY(QFile::link(
            bus.address().section(u'=', 1).section(u',', 0, 0), m_tool->file("facts/run/dbus/system_bus_socket")));
        auto server = std::make_unique<LoopbackServer>(LoopbackServer::always(LoopbackServer::ok(R"({"ret":0})")));
        const ArchiveValue address(ArchiveValue::Array{"127.0.0.1", int(server->port())});
        QVERIFY(archiveRootObject(
            ArchiveValue(ArchiveValue::Array{address, address, address}), m_tool->agent() + "/.QenConfig"));
        SupportTool::write(m_tool->file("home") + "/Library/Logs/QenCloud/Logs/QenCloud-Info-1.log", "a line\n");
        m_tool->environment.insert("DBUS_SESSION_BUS_ADDRESS", bus.address());
        QJsonObject all = doctor();
        for (const char* subject : {"session bus", "notifications", "ticket service", "facts service", "agent's folder",
                 "agent's files", "server", "log"})
            QVERIFY2(state(all, subject) == u"good", subject);
        QCOMPARE(state(all, "tray host"), u"warning"_s);

        server.reset();
        SupportTool::write(m_tool->agent() + "/complianceInfo", "bplist00 cut off");
        all = doctor();
        QDBusConnection::disconnectFromBus("services");
        QCOMPARE(state(all, "server"), u"problem"_s);
        QCOMPARE(state(all, "agent's files"), u"problem"_s);
    }

    void session() {
        QVERIFY(QDir().mkpath(m_tool->support() + u"/QenCloudL"_s));
        const std::tuple<QString, int, QString> states[] = {
            {u"u1"_s, 0, u"signed in"_s}, {u"u1"_s, 1, u"logout pending"_s}, {QString(), 0, u"stale record"_s}};
        for (const auto& [userid, islogout, state] : states) {
            AccountModel record;
            record.setUserid(userid);
            record.setTicket(u"t"_s);
            record.setIslogout(islogout);
            record.setLoginType(LoginType::Domain);
            QVERIFY(record.save(m_tool->support()));
            const QJsonValue session = status().value(u"session");
            QCOMPARE(session[u"state"].toString(), state);
            QCOMPARE(session[u"method"].toString(), u"domain account"_s);
        }
    }

    void serverNetworkAndFiles() {
        const ArchiveValue address(ArchiveValue::Array{"mav.example", "8080"});
        const ArchiveValue outer(ArchiveValue::Array{"out.example", "443"});
        QVERIFY(archiveRootObject(
            ArchiveValue(ArchiveValue::Array{address, outer, address}), m_tool->agent() + u"/.QenConfig"_s));
        QVERIFY(QDir().mkpath(m_tool->support() + u"/QenCloudL"_s));
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
    QJsonObject doctor() const { return QJsonDocument::fromJson(m_tool->run({"doctor", "--json"}).output).object(); }

    static QJsonValue finding(const QJsonObject& all, const char* subject) {
        const QJsonArray findings = all.value(u"findings").toArray();
        const auto found = std::find_if(findings.begin(), findings.end(),
            [subject](const QJsonValue& one) { return one[u"subject"].toString() == QLatin1StringView(subject); });
        return found == findings.end() ? QJsonValue() : *found;
    }
    static QString state(const QJsonObject& all, const char* subject) {
        return finding(all, subject)[u"state"].toString();
    }
    void tool(const char* name, const QByteArray& script) const {
        const QString path = m_tool->file("root/Applications/Mav/Mav.app/Contents/Tools/") + name;
        SupportTool::write(path, "#!/bin/sh\n" + script);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner);
    }

    std::optional<SupportTool> m_tool;
};

QTEST_GUILESS_MAIN(tst_mavctlStatus)
#include "tst_mavctlStatus.moc"
