#include "QenCheck.h"

#include "CheckWorld.h"
#include "MavResources.h"
#include "QenComplianceManager.h"
#include "StringTable.h"

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;
using Outcome = QenCheckModel::Outcome;

Q_DECLARE_METATYPE(QenCheckModel::Outcome)

namespace {

/// A command that takes this long hangs.
constexpr double Limit = 0.4;

} // namespace

class tst_QenCheck : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        initMavResources();
        QVERIFY(installStringTable());
    }

    void probes_data() {
        QTest::addColumn<QString>("selector");
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<bool>("isWarn");
        QTest::addColumn<QString>("line");
        const auto disk = [](const char* name, const QByteArray& script, bool isWarn, const char* line) {
            QTest::addRow("disk: %s", name) << "checkFileVault:"
                                            << "fdesetup" << script << isWarn << QString::fromUtf8(line);
        };
        disk("on", "echo 'FileVault is On.'", false, "[QenCheck] FileVault is On.\n");
        disk("off", "echo 'FileVault is Off.'", true, "[QenCheck] FileVault is Off.\n");
        disk("silent", "exit 0", true, "[QenCheck] (null)");
        disk("other language", "echo 'FileVault 已打开。'", true, "[QenCheck] FileVault 已打开。\n");
        disk("not UTF-8", R"(printf 'FileVault is On\377')", true, "[QenCheck] (null)");
        disk("also an error", "echo 'FileVault is On.'; echo odd >&2", true, "[QenCheck] (null)");
        disk("hangs", "exec sleep 30", true, "[QenCheck] (null)");
        disk("floods", "exec yes no", true, "[QenCheck] no\nno");
        disk("answers, then hangs", "echo 'FileVault is On.'; exec sleep 30", false, "[QenCheck] FileVault is On.\n");
        const auto wall = [](const char* name, const QByteArray& script, bool isWarn, const char* line) {
            QTest::addRow("firewall: %s", name) << "checkFireWall:"
                                                << "defaults" << script << isWarn << QString::fromUtf8(line);
        };
        wall("on", R"(test "$*" = "read /Library/Preferences/com.apple.alf globalstate" && echo 1)", false,
            "[QenCheck] check FireWall state : 1\n");
        wall("off", "echo 0", true, "[QenCheck] check FireWall state : 0\n");
        wall("a zero among others", "echo 2; echo 10", true, "[QenCheck] check FireWall state : 2\n10\n");
        wall("silent", "exit 0", true, "[QenCheck] check FireWall failed : (null)");
        wall("error", "echo 1; echo denied >&2", true,
            "[QenCheck] check FireWall failed : Error Domain= Code=-1 (denied\n)");
        wall("not UTF-8", R"(printf '\377')", true, "[QenCheck] check FireWall failed : (null)");
    }
    void probes() {
        QFETCH(QString, selector);
        QFETCH(QString, tool);
        QFETCH(QByteArray, script);
        QFETCH(QString, line);
        m_world->tool(tool, script);
        const auto model = run(selector);
        QTEST(model->isWarn(), "isWarn");
        const QStringList lines = m_world->lines();
        QVERIFY2(lines.size() >= 2 && lines[1].startsWith(line), qPrintable(lines.join(u'|')));
        QVERIFY(!model->reason().isEmpty() && model->reason().size() < 200 && !model->reason().contains(u'\n'));
    }

    void reasons_data() {
        QTest::addColumn<QString>("probe");
        QTest::addColumn<QByteArray>("reason");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("note");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* name, const char* probe, const QByteArray& reason, Outcome outcome,
                             const char* code, const char* note, const char* text) {
            QTest::newRow(name) << probe << reason << outcome << code << QString::fromUtf8(note) << text;
        };
        const char* const off = "echo 'FileVault is Off.'";
        const char* const unknown = "echo 'fdesetup: no' >&2; exit 1";
        const auto says = [](const char* state, const char* code, const char* place = "") {
            return QByteArray("test \"$*\" = 'reason disk' && echo '{\"state\":\"") + state + "\",\"code\":\"" + code +
                "\",\"subject\":\"sdb1\",\"place\":\"" + place + "\",\"text\":\"in words\"}'";
        };
        row("on", "echo 'FileVault is On.'", says("off", "disk.plain"), Outcome::Running, "", "",
            "fdesetup answers \"FileVault is On.\"");
        row("off", off, says("off", "disk.plain", "/home"), Outcome::Running, "disk.plain", "WhyDiskPlain（/home）",
            "in words");
        row("off in swap", off, says("off", "disk.plain", "swap"), Outcome::Running, "disk.plain",
            "WhyDiskPlain（Swap）", "in words");
        row("unknown", unknown, says("unknown", "disk.silent"), Outcome::Unknown, "disk.silent", "WhyDiskSilent",
            "in words");
        row("a code of a later pack", unknown, says("unknown", "disk.new"), Outcome::Unknown, "disk.new", "",
            "in words");
        row("changed meanwhile", off, says("on", ""), Outcome::Running, "", "",
            "fdesetup answers \"FileVault is Off.\"");
        row("no reason for off", off, "exit 2", Outcome::Running, "", "", "fdesetup answers \"FileVault is Off.\"");
        for (const char* nothing : {"exit 2", "echo '[]'", "echo '{\"state\":\"off\"'", "exec sleep 30",
                 "echo '{\"state\":1,\"code\":2}'", "yes"})
            row(nothing, unknown, nothing, Outcome::Unknown, "probe.silent", "WhyProbeSilent",
                "the probe failed: \"fdesetup: no\"");
        row("too late", "exec sleep 30", says("off", "disk.plain"), Outcome::Unknown, "probe.late", "WhyProbeLate",
            "the probe took too long and was stopped");
        row("odd texts", off,
            "printf '{\"state\":\"off\",\"code\":\"disk.plain\",\"subject\":\"sdb1\",\"text\":\"a\\\\u202eb\\\\nc\"}'",
            Outcome::Running, "disk.plain", "WhyDiskPlain", "a?b c");
    }
    void reasons() {
        QFETCH(QString, probe);
        QFETCH(QByteArray, reason);
        m_world->tool("fdesetup", probe.toUtf8());
        m_world->tool("mav-hosttools", "echo asked >>\"$0.asked\"\n" + reason);
        const auto model = run("checkFileVault:");
        QTEST(model->outcome(), "outcome");
        QTEST(model->reasonCode(), "code");
        QCOMPARE(model->note(), words(u"sdb1"_s));
        QTEST(model->reason(), "text");
        // Not when there is nothing to explain, nor after a probe that hung: a check's time is bounded.
        const bool isAsked = QFile::exists(m_world->file("tools/mav-hosttools.asked"));
        QCOMPARE(isAsked, model->isWarn() && model->reasonCode() != u"probe.late");
    }

    void domain_data() {
        QTest::addColumn<QString>("joined");
        QTest::addColumn<QVariantMap>("access");
        QTest::addColumn<bool>("isWarn");
        QTest::addColumn<QString>("note");
        const auto required = [](const QString& domain) { return QVariantMap{{"ent_domain", domain}}; };
        // The answer keeps its line end, so only a name with one equals it.
        QTest::newRow("joined") << "corp.example" << required("corp.example\n") << false << "";
        QTest::newRow("the line end counts")
            << "corp.example" << required("corp.example") << true << "WhyDomainLineEnd";
        QTest::newRow("another one") << "other.example" << required("corp.example\n") << true
                                     << "WhyDomainOther（corp.example）";
        QTest::newRow("none") << QString() << required("corp.example\n") << true << "WhyDomainNone";
        QTest::newRow("no policy") << "corp.example" << QVariantMap() << true << "WhyPolicyNotStated";
        QTest::newRow("neither") << QString() << QVariantMap() << true << "WhyDomainNone";
        QTest::newRow("a number") << "5" << QVariantMap{{"ent_domain", 5}} << true << "WhyPolicyNotStated";
    }
    void domain() {
        QFETCH(QString, joined);
        QFETCH(QVariantMap, access);
        m_world->policy(access, {});
        m_world->policy({{"ent_domain", "other.example\n"}}, ".archive"); // is for others
        m_world->tool("dsconfigad",
            "test \"$1\" = -show || exit 1\n" +
                (joined.isEmpty() ? "exit 0" : "echo 'Active Directory Domain          = " + joined.toUtf8() + "'"));
        const auto model = run("checkJoinDomain:");
        QTEST(model->isWarn(), "isWarn");
        QCOMPARE(model->note(), words(joined));
        QCOMPARE(m_world->lines().value(1),
            u"[QenCheck] check JoinDomain state : %1"_s.arg(joined.isEmpty() ? "(null)" : joined + u'\n'));
    }

    void version_data() {
        QTest::addColumn<QString>("installed");
        QTest::addColumn<QString>("minimum");
        QTest::addColumn<bool>("isWarn");
        const auto row = [](const char* name, const QString& installed, const QString& minimum, bool isWarn) {
            QTest::newRow(name) << installed << minimum << isWarn;
        };
        row("before", "2.1", "2.10", false);
        row("later", "2.10", "2.1", true);
        row("equal", "2.1", "2.1", true);
        row("as text", "10.0", "9.0", false);
        row("no bundle", {}, "9.0", true);
        row("no minimum", "1.0", {}, true);
    }
    void version() {
        QFETCH(QString, installed);
        QFETCH(QString, minimum);
        if (!installed.isNull())
            m_world->write("Mav.app/Contents/Info.plist",
                "<plist version=\"1.0\"><dict><key>CFBundleVersion</key><string>" + installed.toUtf8() +
                    "</string></dict></plist>");
        if (!minimum.isNull())
            m_world->policy({{"ent_qen", minimum}}, {});
        const auto model = run("checkQenVersion:");
        QTEST(model->isWarn(), "isWarn");
        const auto shown = [](const QString& text) { return text.isNull() ? u"(null)"_s : text; };
        QCOMPARE(m_world->lines(),
            QStringList{
                u"[QenCheck] check Qen local version: %1, min version: %2"_s.arg(shown(installed), shown(minimum))});
    }

    void withoutResult() {
        for (const QString& selector :
            {QString(), u"checkPasswordSecurity:"_s, u"checkFileVault"_s, u"noSuchCheck:"_s}) {
            run(selector, 0);
            QVERIFY(m_world->lines().isEmpty());
        }
    }

    void escapes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("plain");
        const auto row = [](const char* name, const char* text, const QString& plain) {
            QTest::newRow(name) << QString::fromUtf8(text) << plain;
        };
        row("pair", R"(a\ud83d\ude00b)", "a\U0001f600b");
        row("short", R"(\u41-\u)", u"A-"_s + QChar(0));
        row("quote", R"(\u4e09"x")", "三\"x\"");
        row("four characters", R"(\u4e09\\r\\nx)", "三\nx");
        row("octal and letters", R"(\u4e09\101\t)", "三A\t");
        row("open end", R"(\u4e09\)", {});
        row("closed early", R"(\u4e09\"x)", {});
    }
    void escapes() {
        QFETCH(QString, text);
        QTEST(QenCheck::replaceUnicode(text), "plain");
    }

    void manager_data() {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QString>("answers"); // firewall, disk, application store
        const auto row = [](const char* name, const char* tool, const char* script, const char* answers) {
            QTest::newRow(name) << QString::fromLatin1(tool) << QByteArray(script) << QString::fromLatin1(answers);
        };
        // The firewall's question goes to the disk's tool and the other way round.
        row("disk on", "fdesetup", "echo FileVault is On.", "yes no no");
        row("state 0", "defaults", "echo 0", "no yes no");
        row("store", "open", "test \"$2\" = '/Applications/App Store.app' && echo 'Active Directory'", "no no yes");
        row("error wins", "defaults", "echo 0; echo bad >&2", "no bad\n no");
    }
    void manager() {
        QFETCH(QString, tool);
        QFETCH(QByteArray, script);
        for (const char* name : {"fdesetup", "defaults", "open"})
            m_world->tool(name, "exit 0");
        m_world->tool(tool, script);
        QStringList answers;
        const auto note = [&](bool result, const Platform::Error& error) {
            answers << (error ? error.localizedFailureReason() : result ? u"yes"_s : u"no"_s);
        };
        QenComplianceManager::checkFireWallWithCompletion(note);
        QenComplianceManager::checkFileVaultWithCompletion(note);
        QenComplianceManager::checkAppStoreDisableWithCompletion(note);
        QTEST(answers.join(u' '), "answers");
    }

    void init() { m_world.emplace(); }
    void cleanupTestCase() { Platform::HostTools::setFolders({}); }

private:
    /// The words for the row's note, a key with what follows it.
    static QString words(const QString& subject) {
        QFETCH(QString, note);
        const QString key = note.section(u"（"_s, 0, 0);
        return localizedString(key).replace(u"%1"_s, subject) +
            note.mid(key.size()).replace(u"Swap"_s, localizedString(u"Swap"_s));
    }

    /// Runs a check and looks at how its result is posted.
    QenCheckModelPointer run(const QString& selector, int results = 1) {
        const TaskHelper tasks(Limit);
        QenCheck check({.log = m_world->log(),
            .tasks = tasks,
            .center = m_world->center,
            .agentState = m_world->agent(),
            .applicationBundle = m_world->bundle()});
        QList<CheckResult> posted;
        const auto observer =
            m_world->center.observe("kCheckNotificationName", [&](const Platform::Notification& note) {
                QVERIFY(Platform::isMainThread());
                posted << note.object.value<CheckResult>();
            });
        const auto model = checkModel(selector, "the key");
        Platform::SerialQueue queue("check");
        queue.async([&] { check.checkWithModel(model); });
        queue.drain();
        QTest::qWait(1);
        const auto expected = results ? QList<CheckResult>{{{u"the key"_s, model}}} : QList<CheckResult>();
        [&] { QCOMPARE(posted, expected); }();
        return model;
    }

    std::optional<CheckWorld> m_world;
};

QTEST_GUILESS_MAIN(tst_QenCheck)
#include "tst_QenCheck.moc"
