#include "CheckWorld.h"

#include <QElapsedTimer>

using namespace Qt::StringLiterals;

namespace {

const QString Prefix = u"[QenCheck] DomainLogin: "_s;
constexpr std::chrono::milliseconds Tick{4};

} // namespace

/// The probe that makes a session of the last console user's domain account.
class tst_QenCheckDomainLogin : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_world.emplace();
        m_requests.clear();
        m_sessions.clear();
        m_hasRecord = false;
        m_clock.start();
        m_world->tool("defaults",
            R"(test "$*" = "read /Library/Preferences/com.apple.loginwindow.plist lastUserName" && echo lisi)");
        m_world->tool("dscl", R"(test "$*" = ". -read /Users/lisi OriginalNodeName" || echo unknown >&2
echo 'OriginalNodeName: /Active Directory/CORP/corp.example')");
        m_world->tool("dsconfigad", "echo 'Active Directory Domain = corp.example'");
    }
    void cleanupTestCase() { Platform::HostTools::setFolders({}); }

    void stops_data() {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QString>("lastLine");
        const QString start = u"Start check Domain login status"_s;
        const QString differs = u"The domain of mobile account is not be same the current domain."_s;
        const auto row = [](const char* name, const char* tool, const char* script, const QString& line) {
            QTest::newRow(name) << QString::fromLatin1(tool) << QByteArray(script) << Prefix + line;
        };
        row("signed in", "record", "", u"NGN is start or Qen has been logined."_s);
        row("no last user", "defaults", "exit 0", start);
        row("defaults fails", "defaults", "echo lisi; echo bad >&2", start);
        row("no domain account", "dscl", "echo none >&2", u" The login user account isn`t domain mobile account."_s);
        row("no answer", "dscl", "exit 0", differs);
        row("another domain", "dscl", "echo OriginalNodeName: /Active Directory/X/x.example", differs);
        row("not joined", "dsconfigad", "exit 0", differs);
        row("no answer and not joined", "dscl,dsconfigad", "exit 0", differs);
        row("escaped name that is none", "defaults", R"(printf '%s\n' '\u4e09\')",
            u" The login user account isn`t domain mobile account."_s);
    }
    void stops() {
        QFETCH(QString, tool);
        QFETCH(QByteArray, script);
        m_hasRecord = tool == u"record";
        for (const QString& name : tool.split(u','))
            m_world->tool(name, script);
        {
            QenCheck check(world(), Tick);
            check.checkDomainLogin();
        } // its end waits for the commands
        QTest::qWait(1);
        QTEST(m_world->lines().last(), "lastLine");
        QVERIFY(m_requests.isEmpty());
    }

    void answers_data() {
        QTest::addColumn<bool>("isValid");
        QTest::addColumn<QString>("name");
        QTest::newRow("valid") << true << "李四";
        QTest::newRow("valid without a name") << true << QString();
        QTest::newRow("invalid") << false << QString();
    }
    void answers() {
        QFETCH(bool, isValid);
        QFETCH(QString, name);
        QenCheck check(world(), Tick);
        check.checkDomainLogin();
        QTRY_COMPARE(m_requests.size(), 1);
        m_requests[0].answer(isValid, name.isNull() ? std::nullopt : std::optional(name), {});
        QTest::qWait(20 * Tick.count());
        QCOMPARE(m_requests.size(), 1); // an answer ends it
        QCOMPARE(m_sessions.size(), isValid ? 1 : 0);
        if (!isValid) {
            QCOMPARE(m_world->lines().last(), Prefix + " The Domain login check AD accoount is invalid.");
            return;
        }
        QCOMPARE(m_world->lines().last(), Prefix + " The account model save result: 1.");
        QCOMPARE(m_sessions[0], QStringList({u"lisi"_s, name, u"CORP"_s}));
    }

    void theAccountIsAskedForByItsShortName_data() {
        QTest::addColumn<QByteArray>("written");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("account");
        const auto row = [](const char* written, const char* name, const char* account) {
            QTest::newRow(written) << QByteArray(written) << QByteArray(name) << QString::fromUtf8(account);
        };
        row("'lisi'", "lisi", "lisi");
        row("'lisi@corp.example'", "lisi@corp.example", "lisi");
        row("'CORP\\lisi'", "CORP\\lisi", "lisi");
        row("'CORP\\ursula'", "CORP\\ursula", "ursula"); // what follows the domain looks like an escape
        row("'\\u674e' '\\u56db'", "李四", "李四");      // as the preferences write it, split over lines
    }
    void theAccountIsAskedForByItsShortName() {
        QFETCH(QByteArray, written);
        QFETCH(QByteArray, name);
        m_world->tool("defaults", "printf '%s\\n' " + written);
        m_world->tool("dscl",
            "test \"$3\" = '/Users/" + name +
                "' || echo unknown >&2\necho 'OriginalNodeName: /Active Directory/CORP/corp.example'");
        QenCheck check(world(), Tick);
        check.checkDomainLogin();
        QTRY_COMPARE(m_requests.size(), 1);
        QTEST(m_requests[0].account, "account");
        QCOMPARE(m_requests[0].domain, u"corp.example"_s);
    }

    void asksAgainAfterFifteenTicks() {
        QenCheck check(world(), Tick);
        check.checkDomainLogin();
        qint64 failedAt = 0;
        for (int attempt = 1; attempt <= 3; ++attempt) {
            QTRY_COMPARE(m_requests.size(), attempt);
            // The first tick comes at once.
            if (attempt > 1)
                QVERIFY(m_requests.last().at - failedAt >= 14 * Tick.count() - 1);
            failedAt = m_clock.elapsed();
            m_requests.last().answer(false, {}, Platform::Error({}, Platform::Error::TimedOut));
            QTRY_COMPARE(m_world->lines().last(), Prefix + " This is not network request.");
        }
        // Somebody signs in meanwhile.
        m_hasRecord = true;
        QTest::qWait(40 * Tick.count());
        QCOMPARE(m_requests.size(), 3);
    }

    void lateAnswer() {
        {
            QenCheck check(world(), Tick);
            check.checkDomainLogin();
            QTRY_COMPARE(m_requests.size(), 1);
        }
        m_requests[0].answer(true, u"x"_s, {});
        m_requests[0].answer(false, {}, Platform::Error({}, Platform::Error::TimedOut));
        QTest::qWait(2 * Tick.count());
        QVERIFY(m_sessions.isEmpty());
        QVERIFY(m_world->lines().last().contains("current joined domain: corp.example"));
    }

private:
    struct Request {
        QString account;
        QString domain;
        DomainAccountLink::Answer answer;
        /// Milliseconds on the clock.
        qint64 at;
    };

    QenCheck::World world() {
        const auto check = [this](const QString& account, const QString& domain, DomainAccountLink::Answer answer) {
            m_requests.append({account, domain, std::move(answer), m_clock.elapsed()});
        };
        const auto signIn = [this](const QString& userid, const QString& username, const QString& domainName,
                                const std::function<void(bool)>& done) {
            m_sessions.append({userid, username, domainName});
            done(true);
        };
        return m_world->checks(m_tasks, {[this] { return m_hasRecord; }, check, signIn});
    }

    bool m_hasRecord = false;
    QList<QStringList> m_sessions;
    const TaskHelper m_tasks;
    std::optional<CheckWorld> m_world;
    QList<Request> m_requests;
    QElapsedTimer m_clock;
};

QTEST_GUILESS_MAIN(tst_QenCheckDomainLogin)
#include "tst_QenCheckDomainLogin.moc"
