#include "QenCheck.h"

#include "CheckWorld.h"
#include "MavResources.h"
#include "QenComplianceManager.h"
#include "StringTable.h"

#include <algorithm>

using namespace Qt::StringLiterals;

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

    void checks_data() {
        QTest::addColumn<QString>("selector");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QVariantMap>("access");
        QTest::addColumn<bool>("isWarn");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("note"); // not looked at when null
        const auto row = [](const char* name, const char* selector, const char* file, const QByteArray& content,
                             bool isWarn, const QString& line, const QVariantMap& access = {},
                             const QString& note = {}) {
            QTest::addRow("%s %s", selector, name) << QString::fromLatin1(selector) << QString::fromLatin1(file)
                                                   << content << access << isWarn << u"[QenCheck] "_s + line << note;
        };
        const auto disk = [&](const char* name, const QByteArray& script, bool isWarn, const QString& line) {
            row(name, "checkFileVault:", "tools/fdesetup", script, isWarn, line);
        };
        disk("on", "echo 'FileVault is On.'", false, "FileVault is On.\n");
        disk("off", "echo 'FileVault is Off.'", true, "FileVault is Off.\n");
        disk("silent", "exit 0", true, "(null)");
        disk("other language", "echo 'FileVault 已打开。'", true, "FileVault 已打开。\n");
        disk("not UTF-8", R"(printf 'FileVault is On\377')", true, "(null)");
        disk("also an error", "echo 'FileVault is On.'; echo odd >&2", true, "(null)");
        disk("hangs", "exec sleep 30", true, "(null)");
        disk("floods", "exec yes no", true, "no\nno");
        disk("answers, then hangs", "echo 'FileVault is On.'; exec sleep 30", false, "FileVault is On.\n");
        const auto wall = [&](const char* name, const QByteArray& script, bool isWarn, const QString& line) {
            row(name, "checkFireWall:", "tools/defaults", script, isWarn, "check FireWall " + line);
        };
        wall("on", R"(test "$*" = "read /Library/Preferences/com.apple.alf globalstate" && echo 1)", false,
            "state : 1\n");
        wall("off", "echo 0", true, "state : 0\n");
        wall("a zero among others", "echo 2; echo 10", true, "state : 2\n10\n");
        wall("silent", "exit 0", true, "failed : (null)");
        wall("error", "echo 1; echo denied >&2", true, "failed : Error Domain= Code=-1 (denied\n)");
        wall("not UTF-8", R"(printf '\377')", true, "failed : (null)");
        const auto domain = [&](const char* name, const QByteArray& joined, const QVariantMap& access, bool isWarn,
                                const char* note) {
            const QString line = joined.isEmpty() ? u"(null)"_s : QString::fromUtf8(joined + '\n');
            row(name, "checkJoinDomain:", "tools/dsconfigad",
                "test \"$1\" = -show && test -n '" + joined + "' && echo 'Active Directory Domain  = " + joined + "'",
                isWarn, "check JoinDomain state : " + line, access, QString::fromUtf8(note));
        };
        // The answer keeps its line end, so only a name with one equals it.
        const QVariantMap required{{"ent_domain", "corp.example\n"}};
        domain("joined", "corp.example", required, false, "");
        domain("the line end counts", "corp.example", {{"ent_domain", "corp.example"}}, true, "WhyDomainLineEnd");
        domain("another one", "other.example", required, true, "WhyDomainOther（corp.example）");
        domain("none", {}, required, true, "WhyDomainNone");
        domain("no policy", "corp.example", {}, true, "WhyPolicyNotStated");
        domain("neither", {}, {}, true, "WhyDomainNone");
        domain("a number", "5", {{"ent_domain", 5}}, true, "WhyPolicyNotStated");
        const auto version = [&](const char* name, const QByteArray& installed, const QString& minimum, bool isWarn) {
            const QString line = u"check Qen local version: %1, min version: %2"_s;
            row(name, "checkQenVersion:", installed.isNull() ? "other.plist" : "Mav.app/Contents/Info.plist",
                "<plist version=\"1.0\"><dict><key>CFBundleVersion</key><string>" + installed +
                    "</string></dict></plist>",
                isWarn, line.arg(orNull(QString::fromUtf8(installed)), orNull(minimum)),
                minimum.isNull() ? QVariantMap() : QVariantMap{{"ent_qen", minimum}});
        };
        version("before", "2.1", "2.10", false);
        version("later", "2.10", "2.1", true);
        version("equal", "2.1", "2.1", true);
        version("as text", "10.0", "9.0", false);
        version("no minimum", "1.0", {}, true);
        version("no bundle", {}, "9.0", true);
    }
    void checks() {
        QFETCH(QString, selector);
        QFETCH(QString, file);
        QFETCH(QByteArray, content);
        QFETCH(QVariantMap, access);
        QFETCH(QString, line);
        QFETCH(QString, note);
        file.startsWith(u"tools/") ? m_world->tool(file.mid(6), content) : m_world->write(file, content);
        if (!access.isEmpty())
            m_world->policy(access, {});
        m_world->policy({{"ent_domain", "other.example\n"}}, ".archive"); // is for others
        const auto model = run(selector);
        QTEST(model->isWarn(), "isWarn");
        const QStringList lines = m_world->lines();
        QVERIFY2(std::any_of(lines.begin(), lines.end(), [&](const QString& one) { return one.startsWith(line); }),
            qPrintable(lines.join(u'|')));
        QVERIFY(!model->reason().isEmpty() && model->reason().size() < 200 && !model->reason().contains(u'\n'));
        if (!note.isNull())
            QCOMPARE(model->note(), words(line.section(u" : "_s, 1).trimmed()));
    }

    void reasons_data() {
        QTest::addColumn<QString>("probe");
        QTest::addColumn<QByteArray>("reason");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("note");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* name, const char* probe, const QByteArray& reason, Outcome outcome,
                             const char* code, const char* note, const char* text = "in words") {
            QTest::newRow(name) << probe << reason << outcome << code << QString::fromUtf8(note) << text;
        };
        constexpr Outcome Running = Outcome::Running;
        constexpr Outcome Unknown = Outcome::Unknown;
        const char* const off = "echo 'FileVault is Off.'";
        const char* const unknown = "echo 'fdesetup: no' >&2; exit 1";
        const auto says = [](const char* state, const char* code, const char* place = "") {
            return QByteArray("test \"$*\" = 'reason disk' && echo '{\"state\":\"") + state + "\",\"code\":\"" + code +
                "\",\"subject\":\"sdb1\",\"place\":\"" + place + "\",\"text\":\"in words\"}'";
        };
        const char* const isOff = "fdesetup answers \"FileVault is Off.\"";
        row("on", "echo 'FileVault is On.'", says("off", "disk.plain"), Running, "", "",
            "fdesetup answers \"FileVault is On.\"");
        row("off", off, says("off", "disk.plain", "/home"), Running, "disk.plain", "WhyDiskPlain（/home）");
        row("off in swap", off, says("off", "disk.plain", "swap"), Running, "disk.plain", "WhyDiskPlain（Swap）");
        row("unknown", unknown, says("unknown", "disk.silent"), Unknown, "disk.silent", "WhyDiskSilent");
        row("a code of a later pack", unknown, says("unknown", "disk.new"), Unknown, "disk.new", "");
        row("changed meanwhile", off, says("on", ""), Running, "", "", isOff);
        row("no reason for off", off, "exit 2", Running, "", "", isOff);
        for (const char* nothing : {"exit 2", "echo '[]'", "echo '{\"state\":\"off\"'", "exec sleep 30",
                 "echo '{\"state\":1,\"code\":2}'", "yes"})
            row(nothing, unknown, nothing, Unknown, "probe.silent", "WhyProbeSilent",
                "the probe failed: \"fdesetup: no\"");
        row("too late", "exec sleep 30", says("off", "disk.plain"), Unknown, "probe.late", "WhyProbeLate",
            "the probe took too long and was stopped");
        row("odd texts", off,
            "printf '{\"state\":\"off\",\"code\":\"disk.plain\",\"subject\":\"sdb1\",\"text\":\"a\\\\u202eb\\\\nc\"}'",
            Running, "disk.plain", "WhyDiskPlain", "a?b c");
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

    void withoutResult() {
        for (const QString& selector :
            {QString(), u"checkPasswordSecurity:"_s, u"checkFileVault"_s, u"noSuchCheck:"_s}) {
            run(selector, 0);
            QVERIFY(m_world->lines().isEmpty());
        }
    }

    void escapes() {
        const auto plain = [](const char* text) { return QenCheck::replaceUnicode(QString::fromUtf8(text)); };
        QCOMPARE(plain(R"(a\ud83d\ude00b)"), u"a\U0001f600b"_s);
        QCOMPARE(plain(R"(\u41-\u)"), u"A-"_s + QChar(0));
        QCOMPARE(plain(R"(\u4e09"x")"), u"三\"x\""_s);
        QCOMPARE(plain(R"(\u4e09\\r\\nx)"), u"三\nx"_s); // four characters
        QCOMPARE(plain(R"(\u4e09\101\t)"), u"三A\t"_s);
        for (const char* cut : {R"(\u4e09\)", R"(\u4e09\"x)"})
            QVERIFY(plain(cut).isNull());
    }

    /// The firewall's question goes to the disk's tool and the other way round.
    void manager() {
        m_world->tool("fdesetup", "echo FileVault is On.");
        m_world->tool("defaults", "echo 0; echo bad >&2");
        m_world->tool("open", "test \"$2\" = '/Applications/App Store.app' && echo 'Active Directory'");
        QStringList answers;
        const auto note = [&answers](bool result, const Platform::Error& error) {
            answers << (error ? error.localizedFailureReason() : result ? u"yes"_s : u"no"_s);
        };
        QenComplianceManager::checkFireWallWithCompletion(note);
        QenComplianceManager::checkFileVaultWithCompletion(note);
        QenComplianceManager::checkAppStoreDisableWithCompletion(note);
        m_world->tool("defaults", "echo 0");
        QenComplianceManager::checkFileVaultWithCompletion(note);
        QCOMPARE(answers, QStringList({u"yes"_s, u"bad\n"_s, u"yes"_s, u"yes"_s}));
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
        QenCheck check(m_world->checks(tasks));
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
