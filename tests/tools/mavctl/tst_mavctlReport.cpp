#include "AccountModel.h"
#include "ArchiveStore.h"
#include "SupportTool.h"

#include <optional>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

/// A report for support, made of what a root and a home of its own hold.
class tst_mavctlReport : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_tool.emplace(); }

    void tellsNothingOfAnybody() {
        plant();
        const QString archive = m_tool->file(u"report.zip"_s);
        const QString list = run({u"report"_s, archive});
        struct stat info {};
        QVERIFY(::stat(qPrintable(archive), &info) == 0);
        QCOMPARE(info.st_mode & 0777, mode_t(0600));
        const QString all = list + textOf(archive);
        // Each source is there, with what is no secret in it.
        for (const char* kept : {"\"version\"", "session bus", "\"session\"", "ConnectServer fails",
                 "state/client/login.archive.json", "state/agent/tips.txt", "agent says",
                 "/api/public/clientlogin/ticket_auth", "2026-11-24 02:22:38", "signed in"})
            QVERIFY2(all.contains(QString::fromUtf8(kept)), kept);
        for (const QString& secret : std::as_const(m_secrets))
            QVERIFY2(!all.contains(secret, Qt::CaseInsensitive), qPrintable(secret));
        QVERIFY(m_secrets.size() >= 30);
        // The same person is the same token in the record and in the log.
        const auto token = QRegularExpression(u"\"userid\": \"(<[a-z]+-[0-9]+>)\""_s).match(all);
        QVERIFY(token.hasMatch());
        QVERIFY(all.contains(u"welcome "_s + token.captured(1) + u'!'));
    }

    void alone() {
        QVERIFY(run({u"report"_s}).contains(u"manifest.json"_s));
        QVERIFY(run({u"report"_s, u"--all"_s}).isEmpty());
        const QString taken = m_tool->file(u"taken"_s);
        SupportTool::write(taken, "what is there");
        QVERIFY(!run({u"report"_s, taken}).contains(u"Written"_s));
        QCOMPARE(QFileInfo(taken).size(), 13);
    }

private:
    QString secret(const char* text) {
        m_secrets.append(QString::fromUtf8(text));
        return m_secrets.last();
    }

    void plant() {
        const QString agent = m_tool->agent();
        const QString user = m_tool->support() + u"/QenCloudL"_s;
        AccountModel record;
        record.setUserid(secret("zhang.wei"));
        record.setUsername(secret("张伟"));
        record.setTicket(secret("Zk93-ticket-of-today"));
        record.setDomainName(secret("corp-forest"));
        record.setLoginType(LoginType::Account);
        QVERIFY(record.save(m_tool->support()));
        const auto pair = [](const QString& host) { return QVariantList{host, u"8443"_s}; };
        archive(agent + u"/.QenConfig"_s,
            QVariantList{QVariant(pair(secret("mavbox.example"))), QVariant(pair(secret("203.0.113.77"))),
                QVariant(pair(secret("2001:db8:77::51")))});
        archive(user + u"/soleid.archive"_s, secret("9f3b77d0a1c2e4f6"));
        archive(agent + u"/inacSSIDInfo.archive"_s,
            QVariantMap{{u"ssidlist"_s, QStringList{secret("Board-Room-7")}},
                {u"inac_addr"_s, secret("https://inac7.corp.example")}});
        archive(agent + u"/appmgrlist.archive"_s,
            QVariantList{QVariantMap{{u"appname"_s, u"x"_s}, {u"desturl"_s, secret("wiki-intern/hr/7")}}});
        archive(user + u"/RTMDMNetwork.mobileconfig"_s, secret("certificate-of-zhang"));
        archive(agent + u"/complianceInfo.archive"_s,
            QVariantMap{{u"access"_s, QVariantMap{{u"ent_domain"_s, secret("ad.corp-forest.example")}}}});
        SupportTool::write(agent + u"/tips.txt"_s,
            (u"call "_s + secret("helpdesk.lead@corp.example") + u" at "_s + secret("021555012345678")).toUtf8());
        QString log = u"2026-11-24 02:22:38 : ConnectServer fails\n"_s;
        const auto line = [&log](const QString& text) { log += u"2026-11-24 02:22:38 : "_s + text + u'\n'; };
        line(u"url:http://"_s + secret("10.77.3.9") + u":18080/api/public/clientlogin/ticket_auth param:(222 bytes)"_s);
        line(u"http://"_s + secret("mav-eu-3") + u":80/operator"_s);
        line(u"{\"userid\":\""_s + secret("li.na") + u"\",\"username\":\""_s + secret("李娜") +
            u"\",\"password\":\""_s + secret("S3cret!pass") + u"\",\"otp\":\""_s + secret("771122") + u"\"}"_s);
        line(u"mac="_s + secret("02:fc:77:00:00:0a") + u" deviceid:"_s + secret("dev-77-42") + u" soleid="_s +
            secret("s0le77"));
        line(u"serialnumber: "_s + secret("WX77A1234567") + u", hostname = "_s + secret("desk-77"));
        line(u"welcome zhang.wei! 张伟已登录"_s);
        line(u"bare "_s + secret("02-fc-77-00-00-0b") + u" and "_s + secret("fe80::77:1c2d:3e4f"));
        line(u"token "_s + secret("eyJhbGciOiJIUzI1NiIsInR5cCI6IkpXVCJ9abcdef0123"));
        line(u"session 1: "_s + secret("3d1219c7-c4c5-404a-aa1f-6d2a48adf777"));
        line(u"digest "_s + secret("b1946ac92492d2347c6235b4d2611184"));
        line(u"mail to "_s + secret("wang.fang77@mail.corp.example") + u" by "_s + secret("smtp.corp.example"));
        line(u"sealed "_s + secret("HlNAxp4al44kGe0Uxx5r7Pd0monF35ynQCoZvqp2W9RCLYCkKHlMVnSN4YT/L58d"));
        SupportTool::write(m_tool->file(u"home/Library/Logs/QenCloud/Logs/QenCloud-Info-1.log"_s), log.toUtf8());
        SupportTool::write(m_tool->file(u"root/Library/Logs/QenCloud/v5/Logs/agent.log"_s),
            (u"agent says uid="_s + secret("zhao7") + u'\n').toUtf8());
    }

    /// Everything in the archive, names of its files included.
    static QString textOf(const QString& archive) {
        QProcess unpack;
        unpack.start(u"sh"_s, {u"-c"_s, u"unzip -l -p \"$0\" && unzip -p \"$0\""_s, archive});
        return unpack.waitForFinished(10000) ? QString::fromUtf8(unpack.readAllStandardOutput()) : QString();
    }
    QString run(const QStringList& arguments) const { return QString::fromUtf8(m_tool->run(arguments).output); }
    static void archive(const QString& path, const QVariant& value) {
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(value), path));
    }
    std::optional<SupportTool> m_tool;
    QStringList m_secrets;
};

QTEST_GUILESS_MAIN(tst_mavctlReport)
#include "tst_mavctlReport.moc"
